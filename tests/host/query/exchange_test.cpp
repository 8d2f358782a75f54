// The exchange with a game server, against real sockets on this computer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/host/query/query_server.h"
#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/stream_capture.h"
#include "tests/support/text.h"
#include "tests/support/udp_peer.h"

namespace test_support {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

const std::string kChallenge = BytesOf("\xA0\xB0\xC0\xD0");

// The query's thread begins when the host's texts are gone.
TEST(QueryExchange, AnswersWithCopiesOfTheHostsTexts) {
  DllHost host;
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  wchar_t texts[][10] = {L"request", L"text", L"5", L"127.0.0.1"};
  HANDLE thread = nullptr;
  IMPORT_HOOK(CreateThread) creates(host.Module());
  creates.SetReplacement([&](SECURITY_ATTRIBUTES* security, SIZE_T stackSize,
                             LPTHREAD_START_ROUTINE procedure, void* context, DWORD flags,
                             DWORD* id) {
    thread =
        creates.CallOriginal(security, stackSize, procedure, context, flags | CREATE_SUSPENDED, id);
    return thread;
  });
  host->QueryServer(texts[0], texts[1], texts[2], texts[3], server.Port());
  for (wchar_t* const text : texts) std::wmemset(text, L'X', 10);
  ResumeThread(thread);
  const Exchange exchange = Serve(server, kChallenge, SmallResponse());
  host->WaitForThreads();
  EXPECT_EQ(exchange.challengeRequest, BytesOf("\xFF\xFF\xFF\xFF\x51\x50\x5F"
                                               "\x00\x00\x00\x00\x00\x00\x00\x05"));
  EXPECT_EQ(exchange.queryRequest, BytesOf("\xFF\xFF\xFF\xFF\x51\x50\x5F"
                                           "\x00\x00\x00\x00\x00\x00\x00\x05"
                                           "\xA0\xB0\xC0\xD0"));
  EXPECT_THAT(host.Drain(),
              ElementsAre(Event{L"request", L"QueryServerResult", {L"text", SmallResponseJson()}}));
  EXPECT_EQ(host.Notifications().CallCount(), 1);
}

/// A query that ends without a server's answer: its status, and the last line of the log.
std::pair<std::wstring, std::string> Fail(DllHost& host, const wchar_t* gameId,
                                          const wchar_t* address, unsigned int port) {
  StreamCapture log;
  host->QueryServer(L"request", L"text", gameId, address, port);
  const std::optional<Event> event = host.WaitForEvent(L"QueryServerResult");
  host->WaitForThreads();
  log.Stop();
  return {StatusOf(event), Lines(log.Text()).back()};
}

// No name is looked up, and what is no address is the system's to refuse.
TEST(QueryExchange, BadAddressFailsToConnect) {
  DllHost host;
  IMPORT_HOOK(connect) connects(host.Module());
  for (const wchar_t* const address : {L"localhost", L"not.an.address", L"127.0.0.256", L"::1"}) {
    const auto [status, line] = Fail(host, L"1", address, 9);
    EXPECT_EQ(status, L"ERROR_CONNECT_FAILED");
    EXPECT_THAT(line, StartsWith("AppLauncher::QueryThreadProc: connect() failed with 0000"));
  }
  EXPECT_EQ(connects.CallCount(), 4U);
}

TEST(QueryExchange, WithoutASocketBindingFails) {
  DllHost host;
  IMPORT_HOOK(socket) sockets(host.Module());
  sockets.FailAlways(INVALID_SOCKET);
  IMPORT_HOOK(connect) connects(host.Module());
  const auto [status, line] = Fail(host, L"1", L"127.0.0.1", 9);
  EXPECT_EQ(status, L"");
  EXPECT_EQ(line, "AppLauncher::QueryThreadProc: bind() failed with 00002736");
  EXPECT_EQ(connects.CallCount(), 0U);
}

// Windows tells the next receive that nobody listens there; Wine may let the time pass instead.
TEST(QueryExchange, ClosedPortFailsToReceiveOrTimesOut) {
  DllHost host;
  const auto [status, line] = Fail(host, L"1", L"127.0.0.1", UdpPeer().Port());
  EXPECT_THAT(status, AnyOf(L"ERROR_RECVFROM_FAILED", L"ERROR_SELECT_FAILED_OR_TIMEDOUT"));
  EXPECT_THAT(line,
              AnyOf(StartsWith("AppLauncher::QueryThreadProc: recvfrom (of challenge response) "
                               "failed with result -1 "),
                    StartsWith("AppLauncher::QueryThreadProc: select (of challenge response) "
                               "failed with result ")));
}

// Three servers are silent at the same time: one always, one after the challenge, and one whose
// answer comes from another port, where the connected socket does not see it.
TEST(QueryExchange, SilenceTimesOutOnceForEachStep) {
  DllHost host;
  const UdpPeer silent;
  const UdpPeer stranger;
  StreamCapture log;
  host->QueryServer(L"silent", L"", L"1", L"127.0.0.1", silent.Port());
  host->QueryServer(L"elsewhere", L"", L"2", L"127.0.0.1", silent.Port());
  std::vector<sockaddr_in> clients;
  for (int i = 0; i < 2; ++i) {
    const auto challenge = silent.Receive(kPatienceMs);
    ASSERT_TRUE(challenge);
    clients.push_back(challenge->sender);
    if (challenge->bytes.back() == '\x02') stranger.SendTo(kChallenge, challenge->sender);
  }
  host->WaitForThreads();
  log.Stop();
  std::map<std::wstring, std::wstring> results;
  for (const Event& event : host.Drain()) results[event.source] = event.arg[1];
  EXPECT_THAT(results, SizeIs(2));
  EXPECT_EQ(results[L"silent"], JsonWithoutData(L"ERROR_SELECT_FAILED_OR_TIMEDOUT"));
  EXPECT_EQ(results[L"elsewhere"], JsonWithoutData(L"ERROR_SELECT_FAILED_OR_TIMEDOUT"));
  EXPECT_EQ(CountOf(log.Text(),
                    "AppLauncher::QueryThreadProc: select (of challenge response) "
                    "failed with result 0 "),
            2U)
      << log.Text();
  // An answer that is too late meets nobody, and a later query does not see it.
  for (const sockaddr_in& client : clients) silent.SendTo(kChallenge, client);
  const PatientSelect patience(host.Module());
  host->QueryServer(L"later", L"", L"3", L"127.0.0.1", silent.Port());
  Serve(silent, kChallenge, SmallResponse());
  host->WaitForThreads();
  const std::vector<Event> events = host.Drain();
  ASSERT_THAT(events, SizeIs(1));
  EXPECT_EQ(events[0].source, L"later");
  EXPECT_EQ(events[0].arg[1], SmallResponseJson());
}

TEST(QueryExchange, SilenceAfterTheChallengeTimesOut) {
  DllHost host;
  const PatientSelect patience(host.Module(), 1);
  const UdpPeer server;
  StreamCapture log;
  host->QueryServer(L"", L"", L"1", L"127.0.0.1", server.Port());
  const auto challenge = server.Receive(kPatienceMs);
  ASSERT_TRUE(challenge);
  server.SendTo(kChallenge, challenge->sender);
  const std::optional<Event> event = host.WaitForEvent(L"QueryServerResult");
  host->WaitForThreads();
  log.Stop();
  ASSERT_TRUE(event);
  EXPECT_EQ(event->arg[1], JsonWithoutData(L"ERROR_SELECT_FAILED_OR_TIMEDOUT"));
  EXPECT_THAT(Lines(log.Text()).back(),
              StartsWith("AppLauncher::QueryThreadProc: select (of query response) failed "
                         "with result 0 "));
}

// Each step takes the first datagram that arrives: a challenge that comes twice is also the
// response.
TEST(QueryExchange, ChallengeThatComesTwiceIsTakenForTheResponse) {
  DllHost host;
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  host->QueryServer(L"", L"", L"1", L"127.0.0.1", server.Port());
  const auto challenge = server.Receive(kPatienceMs);
  ASSERT_TRUE(challenge);
  server.SendTo(BytesOf("\x02\x00\x00\x00"), challenge->sender);
  server.SendTo(BytesOf("\x02\x00\x00\x00"), challenge->sender);
  EXPECT_EQ(StatusOf(host.WaitForEvent(L"QueryServerResult")), L"ERROR_PROTOCOL_VERSION");
  host->WaitForThreads();
}

TEST(QueryExchange, StrangersAnswerDoesNotHideTheServers) {
  DllHost host;
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  const UdpPeer stranger;
  host->QueryServer(L"", L"", L"1", L"127.0.0.1", server.Port());
  const auto challenge = server.Receive(kPatienceMs);
  ASSERT_TRUE(challenge);
  stranger.SendTo(BytesOf("\x11\x11\x11\x11"), challenge->sender);
  server.SendTo(kChallenge, challenge->sender);
  const auto query = server.Receive(kPatienceMs);
  ASSERT_TRUE(query);
  EXPECT_EQ(query->bytes.substr(15), kChallenge);
  EXPECT_EQ(query->sender.sin_port, challenge->sender.sin_port);
  server.SendTo(SmallResponse(), query->sender);
  EXPECT_EQ(StatusOf(host.WaitForEvent(L"QueryServerResult")), L"SUCCESS");
  host->WaitForThreads();
}

// A server tells the queries apart by the game identifier, which it sends back.
TEST(QueryExchange, FiftyAtOnce) {
  constexpr unsigned int kQueries = 50;
  DllHost host;
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  for (unsigned int i = 0; i < kQueries; ++i) {
    const std::wstring id = std::to_wstring(i);
    host->QueryServer((L"request " + id).c_str(), (L"text " + id).c_str(), id.c_str(), L"127.0.0.1",
                      server.Port());
  }
  // All are under way before the first gets an answer.
  std::vector<UdpPeer::Datagram> challenges;
  std::set<u_short> ports;
  for (unsigned int i = 0; i < kQueries; ++i) {
    const auto challenge = server.Receive(kPatienceMs);
    ASSERT_TRUE(challenge);
    challenges.push_back(*challenge);
    ports.insert(challenge->sender.sin_port);
  }
  EXPECT_THAT(ports, SizeIs(kQueries));
  EXPECT_EQ(host.Notifications().CallCount(), 0);
  EXPECT_EQ(host.GetVersion(L"nobody"), L"INVALID_APP_ID");
  for (const UdpPeer::Datagram& challenge : challenges) {
    server.SendTo(BytesOf("\x77\x00\x00") + challenge.bytes.back(), challenge.sender);
  }
  for (unsigned int i = 0; i < kQueries; ++i) {
    const auto query = server.Receive(kPatienceMs);
    ASSERT_TRUE(query);
    ASSERT_EQ(query->bytes.size(), 19U);
    EXPECT_EQ(query->bytes.substr(15), BytesOf("\x77\x00\x00") + query->bytes[14]);
    std::string response = SmallResponse();
    response[8] = query->bytes[14];
    server.SendTo(response, query->sender);
  }
  host->WaitForThreads();
  std::set<std::wstring> requests;
  for (const Event& event : host.Drain()) {
    const std::wstring id = event.source.substr(8);
    requests.insert(event.source);
    EXPECT_EQ(event.arg[0], L"text " + id);
    EXPECT_THAT(Narrow(event.arg[1]), HasSubstr("  \"gameId\": \"" + Narrow(id) + "\", \n"));
    EXPECT_EQ(StatusOf(event), L"SUCCESS");
  }
  EXPECT_THAT(requests, SizeIs(kQueries));
}

}  // namespace
}  // namespace test_support
