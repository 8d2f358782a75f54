// The exchange with a game server, against real sockets on this computer.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <map>
#include <optional>
#include <regex>
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
using testing::IsEmpty;
using testing::SizeIs;

const std::string kChallenge = BytesOf("\xA0\xB0\xC0\xD0");

/// What one query against a server of the test came to.
struct Outcome {
  unsigned int port = 0;
  Exchange exchange;
  std::optional<Event> event;
  std::string log;
};

Outcome Query(const wchar_t* gameIdText, const std::string& challengeResponse,
              const std::string& queryResponse, unsigned int portHighBits = 0) {
  Outcome outcome;
  DllHost host;
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  outcome.port = server.Port();
  StreamCapture log;
  host->QueryServer(L"request", L"text", gameIdText, L"127.0.0.1", server.Port() | portHighBits);
  outcome.exchange = Serve(server, challengeResponse, queryResponse);
  outcome.event = host.WaitForEvent(L"QueryServerResult");
  host->WaitForThreads();
  log.Stop();
  outcome.log = log.Text();
  return outcome;
}

/// Like `Query`, for a challenge response to which no query request follows.
Outcome Challenge(const std::string& challengeResponse) {
  Outcome outcome;
  DllHost host;
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  StreamCapture log;
  host->QueryServer(L"request", L"text", L"1", L"127.0.0.1", server.Port());
  if (const auto challenge = server.Receive(kPatienceMs)) {
    server.SendTo(challengeResponse, challenge->sender);
  }
  outcome.event = host.WaitForEvent(L"QueryServerResult");
  host->WaitForThreads();
  log.Stop();
  outcome.log = log.Text();
  EXPECT_FALSE(server.Receive(0));
  return outcome;
}

/// Queries that end without a server's answer.
struct Failure {
  std::optional<Event> event;
  std::string log;
};

Failure Fail(const wchar_t* gameIdText, const wchar_t* address, unsigned int port) {
  Failure failure;
  DllHost host;
  StreamCapture log;
  host->QueryServer(L"request", L"text", gameIdText, address, port);
  failure.event = host.WaitForEvent(L"QueryServerResult");
  host->WaitForThreads();
  log.Stop();
  failure.log = log.Text();
  return failure;
}

TEST(QueryExchange, Succeeds) {
  DllHost host;
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  StreamCapture log;
  host->QueryServer(L"request 7", L"my text", L"1", L"127.0.0.1", server.Port());
  const Exchange exchange = Serve(server, kChallenge, SmallResponse());
  host->WaitForThreads();
  log.Stop();
  EXPECT_EQ(exchange.challengeRequest, BytesOf("\xFF\xFF\xFF\xFF\x51\x50\x5F"
                                               "\x00\x00\x00\x00\x00\x00\x00\x01"));
  EXPECT_EQ(exchange.queryRequest, BytesOf("\xFF\xFF\xFF\xFF\x51\x50\x5F"
                                           "\x00\x00\x00\x00\x00\x00\x00\x01"
                                           "\xA0\xB0\xC0\xD0"));
  EXPECT_THAT(
      host.Drain(),
      ElementsAre(Event{L"request 7", L"QueryServerResult", {L"my text", SmallResponseJson()}}));
  EXPECT_EQ(host.Notifications().CallCount(), 1);
  EXPECT_EQ(log.Text(),
            "AppLauncher::QueryThreadProc: Sending query challenge to 127.0.0.1:" +
                std::to_string(server.Port()) +
                "\n"
                "AppLauncher::QueryThreadProc: Sending challenge request for gameId "
                "0000000000000001\n"
                "AppLauncher::QueryThreadProc: Got reply to challenge request of 4 bytes with "
                "challengeId a0b0c0d0\n"
                "AppLauncher::QueryThreadProc: Sending query request with gameId "
                "0000000000000001 and challengeId a0b0c0d0\n"
                "AppLauncher::QueryThreadProc: Got query response of size 16\n");
}

TEST(QueryExchange, ArgumentsAreCopied) {
  DllHost host;
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  wchar_t texts[][10] = {L"request", L"text", L"5", L"127.0.0.1"};
  // The thread starts when the texts are gone.
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
  EXPECT_EQ(exchange.challengeRequest.substr(7), BytesOf("\x00\x00\x00\x00\x00\x00\x00\x05"));
  EXPECT_THAT(host.Drain(),
              ElementsAre(Event{L"request", L"QueryServerResult", {L"text", SmallResponseJson()}}));
}

struct GameIdCase {
  const wchar_t* text;
  std::string bytes;
  const char* hex;
};

TEST(QueryExchange, GameIdIsReadByTheRuntimesScan) {
  const GameIdCase cases[] = {
      {L"0", BytesOf("\x00\x00\x00\x00\x00\x00\x00\x00"), "0000000000000000"},
      {L"72623859790382856", BytesOf("\x01\x02\x03\x04\x05\x06\x07\x08"), "0102030405060708"},
      {L"18446744073709551615", BytesOf("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), "ffffffffffffffff"},
      {L"12abc", BytesOf("\x00\x00\x00\x00\x00\x00\x00\x0C"), "000000000000000c"},
      {L"  7", BytesOf("\x00\x00\x00\x00\x00\x00\x00\x07"), "0000000000000007"},
      {L"\t\n8 9", BytesOf("\x00\x00\x00\x00\x00\x00\x00\x08"), "0000000000000008"},
      {L"0010", BytesOf("\x00\x00\x00\x00\x00\x00\x00\x0A"), "000000000000000a"},
      {L"+5", BytesOf("\x00\x00\x00\x00\x00\x00\x00\x05"), "0000000000000005"},
      {L"-1", BytesOf("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), "ffffffffffffffff"},
      {L"0x1F", BytesOf("\x00\x00\x00\x00\x00\x00\x00\x00"), "0000000000000000"},
  };
  for (const GameIdCase& test : cases) {
    SCOPED_TRACE(Narrow(test.text));
    const Outcome outcome = Query(test.text, kChallenge, SmallResponse());
    EXPECT_EQ(outcome.exchange.challengeRequest, BytesOf("\xFF\xFF\xFF\xFFQP_") + test.bytes);
    EXPECT_EQ(outcome.exchange.queryRequest,
              BytesOf("\xFF\xFF\xFF\xFFQP_") + test.bytes + BytesOf("\xA0\xB0\xC0\xD0"));
    EXPECT_THAT(outcome.log,
                HasSubstr(std::string("AppLauncher::QueryThreadProc: Sending challenge request for "
                                      "gameId ") +
                          test.hex + "\n"));
    EXPECT_THAT(outcome.log,
                HasSubstr(std::string("AppLauncher::QueryThreadProc: Sending query request with "
                                      "gameId ") +
                          test.hex + " and challengeId a0b0c0d0\n"));
    ASSERT_TRUE(outcome.event);
    EXPECT_EQ(outcome.event->arg[1], SmallResponseJson());
  }
}

// The status of the unknown mode gives way to that of the response's end.
TEST(QueryExchange, UnknownModeThatIsCutShort) {
  const Outcome outcome = Query(L"1", kChallenge,
                                BytesOf("\x03"
                                        "\0\0\0\0\0\0\0\x2A"  // game identifier
                                        "\x05"
                                        "Chess"
                                        "\x04"         // map variant
                                        "\x03"         // a section of three bytes
                                        "\x01\x02"));  // of which two have come
  EXPECT_EQ(StatusOf(outcome.event), L"ERROR_MARSHALLING_EXCEPTION");
  ASSERT_TRUE(outcome.event);
  EXPECT_NE(outcome.event->arg[1].find(L"\n  \"gameMode\": \"Chess\", \n"), std::wstring::npos);
  EXPECT_THAT(outcome.log,
              HasSubstr("AppLauncher::QueryParseResponse: UNKNOWN_GAME_MODE: Chess\n"
                        "NetMessage::SegmentRead: Attempting read 1 bytes from offset 19 from "
                        "stream of 19 bytes\n"
                        "AppLauncher::QueryThreadWrap: Query request text (1) failed with "
                        "exception\n"));
}

TEST(QueryExchange, GameIdThatIsNoNumberSendsNothing) {
  for (const wchar_t* const text : {L"abc", L"", L"   ", L"x12", L"-", L"\u0664"}) {
    SCOPED_TRACE(Narrow(text));
    const UdpPeer server;
    const Failure failure = Fail(text, L"127.0.0.1", server.Port());
    ASSERT_TRUE(failure.event);
    EXPECT_EQ(*failure.event,
              (Event{L"request",
                     L"QueryServerResult",
                     {L"text", JsonWithoutData(L"ERROR_CONNECT_INVALID_ARGUMENT")}}));
    EXPECT_EQ(failure.log, "AppLauncher::QueryThreadProc: Sending query challenge to 127.0.0.1:" +
                               std::to_string(server.Port()) +
                               "\n"
                               "AppLauncher::QueryThreadProc: Unable to convert '" +
                               Narrow(text) + "' to unsigned long long (64-bit)\n");
    EXPECT_FALSE(server.Receive(0));
  }
}

TEST(QueryExchange, OnlyTheLow16BitsOfThePortAreUsed) {
  const Outcome outcome = Query(L"1", kChallenge, SmallResponse(), 0x30000);
  EXPECT_EQ(outcome.exchange.queryRequest.size(), 19U);
  EXPECT_EQ(StatusOf(outcome.event), L"SUCCESS");
  // The line shows the number as the host gave it.
  EXPECT_THAT(outcome.log,
              testing::StartsWith("AppLauncher::QueryThreadProc: Sending query challenge to "
                                  "127.0.0.1:" +
                                  std::to_string(0x30000 + outcome.port) + "\n"));
}

// An answer's last four bytes of exactly twelve, else the first four.
TEST(QueryExchange, ChallengeOfExactlyTwelveBytesIsReadAtItsEnd) {
  struct Case {
    std::string response;
    std::string id;
    const char* line;
  };
  const Case cases[] = {
      {BytesOf("\x12\x34\x56\x78"), BytesOf("\x12\x34\x56\x78"),
       "4 bytes with challengeId 12345678\n"},
      {BytesOf("\x00\x00\x00\x07\xFF"), BytesOf("\x00\x00\x00\x07"),
       "5 bytes with challengeId 00000007\n"},
      {BytesOf("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B"), BytesOf("\x01\x02\x03\x04"),
       "11 bytes with challengeId 01020304\n"},
      {BytesOf("\xFF\xFF\xFF\xFF\x00\x00\x00\x00\x12\x34\x56\x78"), BytesOf("\x12\x34\x56\x78"),
       "12 bytes with challengeId 12345678\n"},
      // Whatever the first eight are.
      {BytesOf("\x01\x02\x03\x04\x05\x06\x07\x08\x9A\xBC\xDE\xF0"), BytesOf("\x9A\xBC\xDE\xF0"),
       "12 bytes with challengeId 9abcdef0\n"},
      {BytesOf("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D"), BytesOf("\x01\x02\x03\x04"),
       "13 bytes with challengeId 01020304\n"},
      {BytesOf("\xFE\xDC\xBA\x98") + std::string(65503, '\x55'), BytesOf("\xFE\xDC\xBA\x98"),
       "65507 bytes with challengeId fedcba98\n"},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.response.size());
    const Outcome outcome = Query(L"1", test.response, SmallResponse());
    EXPECT_EQ(outcome.exchange.queryRequest,
              BytesOf("\xFF\xFF\xFF\xFFQP_\x00\x00\x00\x00\x00\x00\x00\x01") + test.id);
    EXPECT_THAT(outcome.log, HasSubstr(std::string("AppLauncher::QueryThreadProc: Got reply to "
                                                   "challenge request of ") +
                                       test.line));
    EXPECT_EQ(StatusOf(outcome.event), L"SUCCESS");
  }
}

TEST(QueryExchange, ChallengeOfFewerThanFourBytesEndsTheQuery) {
  for (const std::string& response :
       {BytesOf("\x01"), BytesOf("\x01\x02"), BytesOf("\x01\x02\x03")}) {
    const Outcome outcome = Challenge(response);
    ASSERT_TRUE(outcome.event);
    EXPECT_EQ(outcome.event->arg[1], JsonWithoutData(L"ERROR_MARSHALLING_EXCEPTION"));
    EXPECT_TRUE(outcome.log.ends_with(
        "AppLauncher::QueryThreadProc: Sending challenge request for gameId 0000000000000001\n"
        "NetMessage::SegmentRead: Attempting read 4 bytes from offset 0 from stream of " +
        std::to_string(response.size()) +
        " bytes\n"
        "AppLauncher::QueryThreadWrap: Query request text (1) failed with exception\n"))
        << outcome.log;
  }
}

TEST(QueryExchange, LargestDatagramIsReceivedWhole) {
  // What follows the teams is ignored.
  const Outcome outcome =
      Query(L"1", kChallenge, SmallResponse() + std::string(65507 - 16, '\x55'));
  ASSERT_TRUE(outcome.event);
  EXPECT_EQ(outcome.event->arg[1], SmallResponseJson());
  EXPECT_EQ(Lines(outcome.log).back(),
            "AppLauncher::QueryThreadProc: Got query response of size 65507");
}

TEST(QueryExchange, CutResponseKeepsWhatWasReadAndIsLogged) {
  const Outcome outcome = Query(L"1", kChallenge, SmallResponse().substr(0, 11));
  ASSERT_TRUE(outcome.event);
  EXPECT_THAT(
      Narrow(outcome.event->arg[1]),
      testing::AllOf(HasSubstr("  \"status\": \"ERROR_MARSHALLING_EXCEPTION\", \n"),
                     HasSubstr("  \"gameId\": \"42\", \n"), HasSubstr("  \"mapVariant\": 5,\n")));
  EXPECT_TRUE(outcome.log.ends_with(
      "AppLauncher::QueryThreadProc: Got query response of size 11\n"
      "NetMessage::SegmentRead: Attempting read 1 bytes from offset 11 from stream of 11 bytes\n"
      "AppLauncher::QueryThreadWrap: Query request text (1) failed with exception\n"))
      << outcome.log;
}

TEST(QueryExchange, ExceptionLineNamesTheTextsOfTheHost) {
  DllHost host;
  const PatientSelect patience(host.Module());
  const UdpPeer server;
  StreamCapture log;
  host->QueryServer(L"request", L"\u00e4 %s", L"12abc", L"127.0.0.1", server.Port());
  Serve(server, kChallenge, BytesOf("\x03"));
  host->WaitForThreads();
  log.Stop();
  EXPECT_EQ(Lines(log.Text()).back(),
            "AppLauncher::QueryThreadWrap: Query request \u00e4 %s (12abc) failed with exception");
}

TEST(QueryExchange, BadAddressFailsToConnect) {
  // No name is looked up.
  for (const wchar_t* const address : {L"localhost", L"not.an.address", L"127.0.0.256", L"::1"}) {
    const Failure failure = Fail(L"1", address, 9);
    SCOPED_TRACE(failure.log);
    ASSERT_TRUE(failure.event);
    EXPECT_EQ(*failure.event, (Event{L"request",
                                     L"QueryServerResult",
                                     {L"text", JsonWithoutData(L"ERROR_CONNECT_FAILED")}}));
    const std::vector<std::string> lines = Lines(failure.log);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0],
              "AppLauncher::QueryThreadProc: Sending query challenge to " + Narrow(address) + ":9");
    EXPECT_TRUE(std::regex_match(
        lines[1],
        std::regex("AppLauncher::QueryThreadProc: connect\\(\\) failed with 0000[0-9a-f]{4}")))
        << lines[1];
  }
}

TEST(QueryExchange, BadAddressIsReportedBeforeABadGameId) {
  EXPECT_EQ(StatusOf(Fail(L"abc", L"not.an.address", 9).event), L"ERROR_CONNECT_FAILED");
}

// Windows tells the next receive that nobody listens there; Wine may let the time pass instead.
TEST(QueryExchange, ClosedPortFailsToReceiveOrTimesOut) {
  const unsigned short port = UdpPeer().Port();
  const Failure failure = Fail(L"1", L"127.0.0.1", port);
  EXPECT_THAT(StatusOf(failure.event),
              AnyOf(L"ERROR_RECVFROM_FAILED", L"ERROR_SELECT_FAILED_OR_TIMEDOUT"));
  EXPECT_THAT(Lines(failure.log).back(),
              AnyOf(testing::StartsWith("AppLauncher::QueryThreadProc: recvfrom (of challenge "
                                        "response) failed with result -1 "),
                    testing::StartsWith("AppLauncher::QueryThreadProc: select (of challenge "
                                        "response) failed with result ")));
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
              testing::StartsWith("AppLauncher::QueryThreadProc: select (of query response) failed "
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
