#include "tests/host/query/query_server.h"

#include <gtest/gtest.h>

namespace test_support {
namespace {

constexpr long kPatienceSeconds = kPatienceMs / 1000;

}  // namespace

PatientSelect::PatientSelect(HMODULE module, std::size_t realFrom)
    : hook(module, [this, realFrom](int count, fd_set* readable, fd_set* writable, fd_set* failed,
                                    const PTIMEVAL limit) {
        EXPECT_EQ(limit->tv_sec, 1);
        EXPECT_EQ(limit->tv_usec, 0);
        timeval patience = *limit;
        if (hook.CallCount() <= realFrom) patience.tv_sec = kPatienceSeconds;
        return hook.CallOriginal(count, readable, writable, failed, &patience);
      }) {}

Exchange Serve(const UdpPeer& server, const std::string& challengeResponse,
               const std::string& queryResponse) {
  Exchange exchange;
  const std::optional<UdpPeer::Datagram> challenge = server.Receive(kPatienceMs);
  if (!challenge) return exchange;
  exchange.challengeRequest = challenge->bytes;
  exchange.client = challenge->sender;
  server.SendTo(challengeResponse, challenge->sender);
  const std::optional<UdpPeer::Datagram> query = server.Receive(kPatienceMs);
  if (!query) return exchange;
  exchange.queryRequest = query->bytes;
  server.SendTo(queryResponse, query->sender);
  return exchange;
}

std::string SmallResponse() {
  return BytesOf(
      "\x03"                              // version
      "\x00\x00\x00\x00\x00\x00\x00\x2A"  // game identifier
      "\x00"                              // no mode
      "\x05"                              // map variant
      "\x00"                              // no section
      "\x00"                              // no map
      "\x20\x01"                          // most players, waiting players
      "\x80");                            // no teams
}

std::wstring JsonWithoutData(std::wstring_view status) {
  return L"{\n  \"status\": \"" + std::wstring(status) +
         L"\", \n"
         L"  \"platform\": \"0\", \n"
         L"  \"persistedIdPart1\": \"0\", \n"
         L"  \"persistedIdPart2\": \"0\", \n"
         L"  \"gameId\": \"0\", \n"
         L"  \"gameMode\": \"\", \n"
         L"  \"mapVariant\": 0,\n"
         L"  \"currentMap\": \"\", \n"
         L"  \"roundTime\": \"0\", \n"
         L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
         L"  \"maxPlayers\": 0,\n"
         L"  \"waitingPlayers\": 0,\n"
         L"  \"teamInfo\": \n"
         L"  {\n"
         L"  }\n"
         L"}\n";
}

std::wstring SmallResponseJson() {
  return L"{\n"
         L"  \"status\": \"SUCCESS\", \n"
         L"  \"platform\": \"0\", \n"
         L"  \"persistedIdPart1\": \"0\", \n"
         L"  \"persistedIdPart2\": \"0\", \n"
         L"  \"gameId\": \"42\", \n"
         L"  \"gameMode\": \"\", \n"
         L"  \"mapVariant\": 5,\n"
         L"  \"currentMap\": \"\", \n"
         L"  \"roundTime\": \"0\", \n"
         L"  \"defaultRoundTimeMultiplier\": \"0\", \n"
         L"  \"maxPlayers\": 32,\n"
         L"  \"waitingPlayers\": 1,\n"
         L"  \"teamInfo\": \n"
         L"  {\n"
         L"  }\n"
         L"}\n";
}

std::wstring StatusOf(const std::optional<Event>& event) {
  const std::wstring beginning = L"{\n  \"status\": \"";
  if (!event || !event->arg[1].starts_with(beginning)) return L"<none>";
  const std::size_t end = event->arg[1].find(L"\", \n");
  return event->arg[1].substr(beginning.size(), end - beginning.size());
}

}  // namespace test_support
