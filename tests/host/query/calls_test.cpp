// The calls that a query makes to Windows Sockets, in order, with the log lines between them. The
// sockets are played by the test, so that each call can fail and any bytes can come.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/host/query/query_server.h"
#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/stream_capture.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using Trace = std::vector<std::string>;

constexpr SOCKET kSocket = 77;

/// A call as "name(argument, argument)".
template <typename... Arguments>
std::string Call(const char* name, const Arguments&... arguments) {
  std::ostringstream text;
  const char* separator = "(";
  text << name;
  ((text << std::exchange(separator, ", ") << arguments), ...);
  text << ')';
  return text.str();
}

std::string AddressText(const sockaddr* address) {
  sockaddr_in internet;
  std::memcpy(&internet, address, sizeof(internet));
  const auto& bytes = internet.sin_addr.S_un.S_un_b;
  char text[64];
  std::snprintf(text, sizeof(text), "family %d, %d.%d.%d.%d:%d", internet.sin_family, bytes.s_b1,
                bytes.s_b2, bytes.s_b3, bytes.s_b4, ntohs(internet.sin_port));
  return text;
}

std::string HexOf(const char* bytes, int size) {
  std::string text;
  for (int i = 0; i < size; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02X", static_cast<unsigned char>(bytes[i]));
    text += digits;
  }
  return text;
}

/// A query, and what the sockets answer to it.
struct Script {
  const wchar_t* text = L"text";
  const wchar_t* gameId = L"1";
  const wchar_t* address = L"127.0.0.2";
  unsigned int port = 4660;
  int bindResult = 0;
  int connectResult = 0;
  std::vector<int> sendResults = {15, 19};
  std::vector<int> selectResults = {1, 1};
  /// In place of an empty one, `receiveFailure`.
  std::vector<std::string> datagrams = {BytesOf("\xA0\xB0\xC0\xD0"), SmallResponse()};
  int receiveFailure = -1;
};

/// Windows Sockets of one query. Writes down each call, and before it the log lines that have been
/// written since the last one.
class FakeSockets {
 public:
  FakeSockets(HMODULE module, const StreamCapture& capturedLog, const Script& whole)
      : log(capturedLog),
        script(whole),
        sockets(module,
                [this](int family, int type, int protocol) {
                  Note(Call("socket", family, type, protocol));
                  return kSocket;
                }),
        addresses(module,
                  [this](const char* text) {
                    Note(Call("inet_addr", text));
                    return inet_addr("10.1.2.3");
                  }),
        ports(module,
              [this](u_short port) {
                Note(Call("htons", port));
                return htons(port);
              }),
        binds(module,
              [this](SOCKET socket, const sockaddr* address, int size) {
                Note(Call("bind", socket, AddressText(address), size));
                return script.bindResult;
              }),
        connects(module,
                 [this](SOCKET socket, const sockaddr* address, int size) {
                   Note(Call("connect", socket, AddressText(address), size));
                   return script.connectResult;
                 }),
        sends(module,
              [this](SOCKET socket, const char* bytes, int size, int flags, const sockaddr* address,
                     int addressSize) {
                Note(Call("sendto", socket, HexOf(bytes, size), flags, AddressText(address),
                          addressSize));
                return Next(script.sendResults);
              }),
        selects(
            module,
            [this](int, fd_set* readable, fd_set* writable, fd_set* failed, const PTIMEVAL limit) {
              EXPECT_EQ(writable, nullptr);
              EXPECT_EQ(failed, nullptr);
              EXPECT_EQ(readable->fd_count, 1U);
              Note(Call("select", readable->fd_array[0], limit->tv_sec, limit->tv_usec));
              return Next(script.selectResults);
            }),
        receives(module,
                 [this](SOCKET socket, char* buffer, int size, int flags, sockaddr* source,
                        int* sourceSize) {
                   Note(Call("recvfrom", socket, size, flags, *sourceSize));
                   // From somebody else than the server.
                   std::memset(source, 9, static_cast<std::size_t>(*sourceSize));
                   const std::string datagram = Next(script.datagrams);
                   std::memcpy(buffer, datagram.data(), datagram.size());
                   return datagram.empty() ? script.receiveFailure
                                           : static_cast<int>(datagram.size());
                 }),
        closes(module,
               [this](SOCKET socket) {
                 Note(Call("closesocket", socket));
                 return 0;
               }),
        errors(module, [this] {
          Note("WSAGetLastError()");
          return 0x2745;
        }) {}

  Trace TakeTrace() {
    AddLines();
    return std::move(trace);
  }

 private:
  void Note(const std::string& call) {
    AddLines();
    trace.push_back(call);
  }
  void AddLines() {
    const std::string text = log.Text(mark);
    mark += text.size();
    for (const std::string& line : Lines(text)) trace.push_back(line);
  }
  template <typename Value>
  static Value Next(std::vector<Value>& answers) {
    if (answers.empty()) {
      ADD_FAILURE() << "more calls than expected";
      return {};
    }
    Value value = answers.front();
    answers.erase(answers.begin());
    return value;
  }

  const StreamCapture& log;
  Script script;
  std::size_t mark = log.Mark();
  Trace trace;
  IMPORT_HOOK(socket) sockets;
  IMPORT_HOOK(inet_addr) addresses;
  IMPORT_HOOK(htons) ports;
  IMPORT_HOOK(bind) binds;
  IMPORT_HOOK(connect) connects;
  IMPORT_HOOK(sendto) sends;
  IMPORT_HOOK(select) selects;
  IMPORT_HOOK(recvfrom) receives;
  IMPORT_HOOK(closesocket) closes;
  IMPORT_HOOK(WSAGetLastError) errors;
};

// How many calls and lines of a query that goes well come up to and including these.
constexpr std::size_t kUpToBind = 2;
constexpr std::size_t kUpToConnect = 6;
constexpr std::size_t kUpToChallenge = 8;
constexpr std::size_t kUpToFirstSelect = 9;
constexpr std::size_t kUpToFirstReceive = 10;
constexpr std::size_t kUpToQuery = 13;
constexpr std::size_t kUpToSecondSelect = 14;
constexpr std::size_t kUpToSecondReceive = 15;
constexpr std::size_t kWhole = 17;

/// The first calls and lines of a query that goes well, with other texts in place of some.
Trace GoodQuery(std::size_t count = kWhole,
                const std::vector<std::pair<std::string, std::string>>& changes = {}) {
  Trace trace = {
      "socket(2, 2, 0)",
      "bind(77, family 2, 0.0.0.0:0, 16)",
      "AppLauncher::QueryThreadProc: Sending query challenge to 127.0.0.2:4660",
      "inet_addr(127.0.0.2)",
      "htons(4660)",
      "connect(77, family 2, 10.1.2.3:4660, 16)",
      "AppLauncher::QueryThreadProc: Sending challenge request for gameId 0000000000000001",
      "sendto(77, FFFFFFFF51505F0000000000000001, 0, family 2, 10.1.2.3:4660, 16)",
      "select(77, 1, 0)",
      "recvfrom(77, 65536, 0, 16)",
      "AppLauncher::QueryThreadProc: Got reply to challenge request of 4 bytes with challengeId "
      "a0b0c0d0",
      "AppLauncher::QueryThreadProc: Sending query request with gameId 0000000000000001 and "
      "challengeId a0b0c0d0",
      "sendto(77, FFFFFFFF51505F0000000000000001A0B0C0D0, 0, family 2, 10.1.2.3:4660, 16)",
      "select(77, 1, 0)",
      "recvfrom(77, 65536, 0, 16)",
      "AppLauncher::QueryThreadProc: Got query response of size 16",
      "closesocket(77)"};
  trace.resize(count);
  for (std::string& line : trace) {
    for (const auto& [from, to] : changes) {
      if (const std::size_t at = line.find(from); at != line.npos)
        line.replace(at, from.size(), to);
    }
  }
  return trace;
}

Trace operator+(Trace first, const Trace& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

class QueryCalls : public testing::Test {
 protected:
  /// Runs a query to its end. Its calls and lines, all of them before the host is notified; the event
  /// has to hold this JSON text.
  Trace Query(const Script& script, const std::wstring& json) {
    FakeSockets sockets(host.Module(), log, script);
    Trace trace;
    host.Notifications().SetInsideCall([&] { trace = sockets.TakeTrace(); });
    host->QueryServer(L"request", script.text, script.gameId, script.address, script.port);
    host->WaitForThreads();
    host.Notifications().SetInsideCall({});
    EXPECT_THAT(sockets.TakeTrace(), IsEmpty());
    EXPECT_THAT(host.Drain(),
                ElementsAre(Event{L"request", L"QueryServerResult", {script.text, json}}));
    return trace;
  }

  /// One that ends with this status before anything was decoded.
  void ExpectFailure(const Script& script, const wchar_t* status, const Trace& expected) {
    EXPECT_THAT(Query(script, JsonWithoutData(status)), ElementsAreArray(expected));
  }

  const std::string error = "WSAGetLastError()";
  const std::string close = "closesocket(77)";
  DllHost host;
  StreamCapture log;
};

TEST_F(QueryCalls, OfAQueryThatGoesWell) {
  EXPECT_THAT(Query({}, SmallResponseJson()), ElementsAreArray(GoodQuery()));
}

TEST_F(QueryCalls, TheAddressBecomesNarrowBeforeThereIsASocket) {
  IMPORT_HOOK(WideCharToMultiByte) narrowings(host.Module());
  std::size_t narrowed = 0;
  IMPORT_HOOK(socket)
  sockets(host.Module(), [&](int, int, int) {
    narrowed = narrowings.CallCount();
    return INVALID_SOCKET;
  });
  host->QueryServer(L"request", L"text", L"1", L"127.0.0.2", 4660);
  host->WaitForThreads();
  EXPECT_EQ(narrowed, 1U);
}

// The address goes to the system as it is. The port is shown as a signed number; its low 16 bits are
// used, and 0 is one like any other.
TEST_F(QueryCalls, AddressAndPortAreNotChecked) {
  const struct {
    const wchar_t* address;
    unsigned int port;
    std::string shownPort;
    std::string usedPort;
  } cases[] = {{L"127.1", 4660, "4660", "4660"},
               {L"", 4660, "4660", "4660"},
               {L" 127.0.0.1 ", 4660, "4660", "4660"},
               {L"\u00e4 %s", 4660, "4660", "4660"},
               {L"127.0.0.2", 0, "0", "0"},
               {L"127.0.0.2", 0x30007, "196615", "7"},
               {L"127.0.0.2", 0xFFFF0007, "-65529", "7"}};
  for (const auto& [address, port, shownPort, usedPort] : cases) {
    EXPECT_THAT(
        Query({.address = address, .port = port}, SmallResponseJson()),
        ElementsAreArray(GoodQuery(kWhole, {{"127.0.0.2", Narrow(address)},
                                            {":4660", ":" + shownPort},
                                            {"htons(4660)", "htons(" + usedPort + ")"},
                                            {"10.1.2.3:" + shownPort, "10.1.2.3:" + usedPort}})));
  }
}

// The run-time's scan decides: leading blanks, a sign, and as many digits as there are.
TEST_F(QueryCalls, GameIdIsReadByTheRuntimesScan) {
  ImportHook<"_snwscanf", int(const wchar_t*, std::size_t, const wchar_t*, void*)> scans(
      host.Module());
  scans.SetReplacement([&](auto text, auto size, const wchar_t* format, void* value) {
    EXPECT_STREQ(format, L"%llu");
    return scans.CallOriginal(text, size, format, value);
  });
  const struct {
    const wchar_t* text;
    std::string upper;
    std::string lower;
  } cases[] = {{L"0", "0000000000000000", "0000000000000000"},
               {L"72623859790382856", "0102030405060708", "0102030405060708"},
               {L"18446744073709551615", "FFFFFFFFFFFFFFFF", "ffffffffffffffff"},
               {L"12abc", "000000000000000C", "000000000000000c"},
               {L" \t\n8 9", "0000000000000008", "0000000000000008"},
               {L"0010", "000000000000000A", "000000000000000a"},
               {L"+5", "0000000000000005", "0000000000000005"},
               {L"-1", "FFFFFFFFFFFFFFFF", "ffffffffffffffff"},
               {L"0x1F", "0000000000000000", "0000000000000000"}};
  for (const auto& [text, upper, lower] : cases) {
    EXPECT_THAT(
        Query({.gameId = text}, SmallResponseJson()),
        ElementsAreArray(GoodQuery(kWhole, {{"51505F0000000000000001", "51505F" + upper},
                                            {"gameId 0000000000000001", "gameId " + lower}})));
  }
  for (const wchar_t* const text : {L"abc", L"", L"   ", L"x12", L"-", L"\u0664"}) {
    ExpectFailure({.gameId = text}, L"ERROR_CONNECT_INVALID_ARGUMENT",
                  GoodQuery(kUpToConnect) +
                      Trace{close, "AppLauncher::QueryThreadProc: Unable to convert '" +
                                       Narrow(text) + "' to unsigned long long (64-bit)"});
  }
}

// An answer's last four bytes of exactly twelve, whatever the first eight are, else the first four.
TEST_F(QueryCalls, ChallengeOfExactlyTwelveBytesIsReadAtItsEnd) {
  const struct {
    std::string response;
    std::string id;
    std::string logged;
  } cases[] = {{BytesOf("\x12\x34\x56\x78"), "12345678", "4 bytes with challengeId 12345678"},
               {BytesOf("\x00\x00\x00\x07\xFF"), "00000007", "5 bytes with challengeId 00000007"},
               {"\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B", "01020304",
                "11 bytes with challengeId 01020304"},
               {BytesOf("\xFF\xFF\xFF\xFF\x00\x00\x00\x00\x12\x34\x56\x78"), "12345678",
                "12 bytes with challengeId 12345678"},
               {"\x01\x02\x03\x04\x05\x06\x07\x08\x9A\xBC\xDE\xF0", "9ABCDEF0",
                "12 bytes with challengeId 9abcdef0"},
               {"\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C\x0D", "01020304",
                "13 bytes with challengeId 01020304"},
               {"\xFE\xDC\xBA\x98" + std::string(65532, '\x55'), "FEDCBA98",
                "65536 bytes with challengeId fedcba98"}};
  for (const auto& [response, id, logged] : cases) {
    EXPECT_THAT(Query({.datagrams = {response, SmallResponse()}}, SmallResponseJson()),
                ElementsAreArray(
                    GoodQuery(kWhole, {{"A0B0C0D0", id},
                                       {"of 4 bytes with challengeId a0b0c0d0", "of " + logged},
                                       {"a0b0c0d0", logged.substr(logged.size() - 8)}})));
  }
}

// An empty one, too, each for itself with its terminator.
TEST_F(QueryCalls, TextsOfAResponseAreConvertedByTheSystem) {
  Trace conversions;
  IMPORT_HOOK(MultiByteToWideChar) widenings(host.Module());
  widenings.SetReplacement(
      [&](UINT codePage, DWORD flags, const char* bytes, int size, wchar_t* wide, int capacity) {
        conversions.push_back(Call("widen", codePage, flags, bytes, size, capacity));
        return widenings.CallOriginal(codePage, flags, bytes, size, wide, capacity);
      });
  const std::string response = BytesOf(
      "\x03"
      "\0\0\0\0\0\0\0\x2A"  // game identifier
      "\x01"
      "C"     // mode
      "\x05"  // map variant
      "\0"    // no section
      "\x04"
      "MP_1"                // map
      "\x20\x01"            // most players, waiting players
      "\0\x01"              // one team, of one player
      "\0\0\0\0\0\0\0\x09"  // its identifier
      "\x03"
      "Ann"                       // name
      "\0"                        // tag
      "\x0C\0\0\0\0\0\0\0\0\0");  // rank, score, kills, deaths, squad
  const FakeSockets sockets(host.Module(), log, {.datagrams = {"\xA0\xB0\xC0\xD0", response}});
  host->QueryServer(L"request", L"text", L"1", L"127.0.0.2", 4660);
  EXPECT_EQ(StatusOf(host.WaitForEvent(L"QueryServerResult")), L"SUCCESS");
  host->WaitForThreads();
  EXPECT_THAT(conversions, ElementsAre("widen(65001, 0, C, 2, 3)", "widen(65001, 0, MP_1, 5, 6)",
                                       "widen(65001, 0, Ann, 4, 5)", "widen(65001, 0, , 1, 2)"));
}

// As large as the buffer: the last byte is received, none after it is written.
TEST_F(QueryCalls, ResponseMayFillTheBuffer) {
  const std::string response = SmallResponse() + std::string(65536 - 16, '\x55');
  EXPECT_THAT(Query({.datagrams = {"\xA0\xB0\xC0\xD0", response}}, SmallResponseJson()),
              ElementsAreArray(GoodQuery(kWhole, {{"of size 16", "of size 65536"}})));
}

TEST_F(QueryCalls, ChallengeThatIsSentInPartIsNoFailure) {
  for (const int sent : {0, 14, 16}) {
    EXPECT_THAT(Query({.sendResults = {sent, 19}}, SmallResponseJson()),
                ElementsAreArray(GoodQuery()));
  }
}

TEST_F(QueryCalls, SocketIsClosedBeforeTheResponseIsDecoded) {
  ExpectFailure({.datagrams = {"\xA0\xB0\xC0\xD0", "\x02"}}, L"ERROR_PROTOCOL_VERSION",
                GoodQuery(kWhole, {{"of size 16", "of size 1"}}) +
                    Trace{"AppLauncher::QueryParseResponse: Query response has unexpected protocol "
                          "version of 02 (expected 03 - 09)"});
}

// A step that fails, and what follows the calls that a good query makes up to it.
TEST_F(QueryCalls, Failures) {
  // Where nothing else is said, the error is taken and the line written before the socket is closed.
  const auto line = [&](const std::string& text) {
    return Trace{error, "AppLauncher::QueryThreadProc: " + text + " 00002745", close};
  };
  const auto closedFirst = [&](const std::string& text) {
    return Trace{close, error, "AppLauncher::QueryThreadProc: " + text + " 00002745"};
  };
  const wchar_t* const notSent = L"ERROR_SENDTO_FAILED";
  ExpectFailure({.bindResult = -1}, L"", GoodQuery(kUpToBind) + line("bind() failed with"));
  // Before the game identifier is looked at.
  ExpectFailure({.gameId = L"abc", .connectResult = -1}, L"ERROR_CONNECT_FAILED",
                GoodQuery(kUpToConnect) + closedFirst("connect() failed with"));
  ExpectFailure(
      {.sendResults = {-1}}, notSent,
      GoodQuery(kUpToChallenge) + closedFirst("sendto (of challenge) failed with result -1"));
  for (const int sent : {-1, 0, 18, 20}) {
    ExpectFailure({.sendResults = {15, sent}}, notSent,
                  GoodQuery(kUpToQuery) +
                      line("sendto (of query request) failed with result " + std::to_string(sent)));
  }
  // A time-out is 0; exactly one socket must be ready. An empty datagram is a failure, too.
  const std::string responses[] = {"challenge", "query"};
  for (std::size_t step = 0; step < 2; ++step) {
    const std::string response = " (of " + responses[step] + " response) failed with result ";
    for (const int ready : {-1, 0, 2}) {
      Script script;
      script.selectResults[step] = ready;
      ExpectFailure(script, L"ERROR_SELECT_FAILED_OR_TIMEDOUT",
                    GoodQuery(step == 0 ? kUpToFirstSelect : kUpToSecondSelect) +
                        line("select" + response + std::to_string(ready)));
    }
    for (const int received : {-1, 0}) {
      Script script{.receiveFailure = received};
      script.datagrams[step] = "";
      ExpectFailure(script, L"ERROR_RECVFROM_FAILED",
                    GoodQuery(step == 0 ? kUpToFirstReceive : kUpToSecondReceive) +
                        line("recvfrom" + response + std::to_string(received)));
    }
  }
}

// What is cut short ends the query with a line that names the texts of the host.
TEST_F(QueryCalls, CutAnswers) {
  for (const std::string challenge : {"a", "ab", "abc"}) {
    ExpectFailure(
        {.text = L"\u00e4 %s", .gameId = L"1x", .datagrams = {challenge}},
        L"ERROR_MARSHALLING_EXCEPTION",
        GoodQuery(kUpToFirstReceive) +
            Trace{"NetMessage::SegmentRead: Attempting read 4 bytes from offset 0 from "
                  "stream of " +
                      std::to_string(challenge.size()) + " bytes",
                  close,
                  "AppLauncher::QueryThreadWrap: Query request \u00e4 %s (1x) failed with "
                  "exception"});
  }
  // What was read before the end is kept, also of a mode that nobody knows.
  std::wstring json = JsonWithoutData(L"ERROR_MARSHALLING_EXCEPTION");
  json.replace(json.find(L"\"gameId\": \"0\""), 13, L"\"gameId\": \"42\"");
  json.replace(json.find(L"\"gameMode\": \"\""), 14, L"\"gameMode\": \"Chess\"");
  json.replace(json.find(L"\"mapVariant\": 0"), 15, L"\"mapVariant\": 4");
  const std::string response = BytesOf(
      "\x03"
      "\0\0\0\0\0\0\0\x2A"  // game identifier
      "\x05"
      "Chess"
      "\x04"        // map variant
      "\x03"        // a section of three bytes
      "\x01\x02");  // of which two have come
  EXPECT_THAT(
      Query({.datagrams = {"\xA0\xB0\xC0\xD0", response}}, json),
      ElementsAreArray(GoodQuery(kWhole, {{"of size 16", "of size 19"}}) +
                       Trace{"AppLauncher::QueryParseResponse: UNKNOWN_GAME_MODE: Chess",
                             "NetMessage::SegmentRead: Attempting read 1 bytes from offset 19 from "
                             "stream of 19 bytes",
                             "AppLauncher::QueryThreadWrap: Query request text (1) failed with "
                             "exception"}));
}

// Each of the four messages takes a buffer of 65,536 bytes, where it is needed.
TEST_F(QueryCalls, WithoutMemoryForAMessageTheSocketIsClosedAndTheHostNotified) {
  const std::size_t upTo[] = {kUpToBind, kUpToFirstSelect, kUpToFirstReceive + 1,
                              kUpToSecondSelect};
  for (std::size_t failing = 0; failing < 4; ++failing) {
    std::size_t buffers = 0;
    ImportHook<"malloc", void*(std::size_t)> allocations(host.Module());
    allocations.SetReplacement([&](std::size_t size) {
      if (size == 65536 && buffers++ == failing) return static_cast<void*>(nullptr);
      return std::malloc(size);
    });
    ExpectFailure({}, L"ERROR_MARSHALLING_EXCEPTION",
                  GoodQuery(upTo[failing]) +
                      Trace{close,
                            "AppLauncher::QueryThreadWrap: Query request text (1) failed with "
                            "exception"});
  }
}

}  // namespace
}  // namespace test_support
