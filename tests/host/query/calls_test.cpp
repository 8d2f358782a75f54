// The calls that a query makes to Windows Sockets, in order, with the log lines between them. The
// sockets are played by the test, so that each call can fail.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
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

constexpr SOCKET kSocket = 77;

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

/// Windows Sockets of one query. Answers from a script and writes down each call, and before it the
/// log lines that have been written since the last one.
class FakeSockets {
 public:
  FakeSockets(HMODULE module, const StreamCapture& capturedLog)
      : log(capturedLog),
        sockets(module,
                [this](int family, int type, int protocol) {
                  Note("socket(" + std::to_string(family) + ", " + std::to_string(type) + ", " +
                       std::to_string(protocol) + ")");
                  return kSocket;
                }),
        binds(module,
              [this](SOCKET socket, const sockaddr* address, int size) {
                Note("bind(" + std::to_string(socket) + ", " + AddressText(address) + ", " +
                     std::to_string(size) + ")");
                return bindResult;
              }),
        connects(module,
                 [this](SOCKET socket, const sockaddr* address, int size) {
                   Note("connect(" + std::to_string(socket) + ", " + AddressText(address) + ", " +
                        std::to_string(size) + ")");
                   return connectResult;
                 }),
        sends(module,
              [this](SOCKET socket, const char* bytes, int size, int flags, const sockaddr* address,
                     int addressSize) {
                Note("sendto(" + std::to_string(socket) + ", " + HexOf(bytes, size) + ", " +
                     std::to_string(flags) + ", " + AddressText(address) + ", " +
                     std::to_string(addressSize) + ")");
                return Next(sendResults);
              }),
        selects(
            module,
            [this](int, fd_set* readable, fd_set* writable, fd_set* failed, const PTIMEVAL limit) {
              EXPECT_EQ(writable, nullptr);
              EXPECT_EQ(failed, nullptr);
              EXPECT_EQ(readable->fd_count, 1U);
              Note("select(" + std::to_string(readable->fd_array[0]) + ", " +
                   std::to_string(limit->tv_sec) + " s " + std::to_string(limit->tv_usec) + " us)");
              return Next(selectResults);
            }),
        receives(module,
                 [this](SOCKET socket, char* buffer, int size, int flags, sockaddr* source,
                        int* sourceSize) {
                   Note("recvfrom(" + std::to_string(socket) + ", " + std::to_string(size) + ", " +
                        std::to_string(flags) + ", " + std::to_string(*sourceSize) + ")");
                   EXPECT_NE(source, nullptr);
                   // From somebody else than the server.
                   std::memset(source, 9, static_cast<std::size_t>(*sourceSize));
                   const std::string datagram = Next(datagrams);
                   std::memcpy(buffer, datagram.data(), datagram.size());
                   return datagram.empty() ? receiveFailure : static_cast<int>(datagram.size());
                 }),
        closes(module,
               [this](SOCKET socket) {
                 Note("closesocket(" + std::to_string(socket) + ")");
                 return 0;
               }),
        errors(module, [this] {
          Note("WSAGetLastError()");
          return 0x2745;
        }) {}

  int bindResult = 0;
  int connectResult = 0;
  std::vector<int> sendResults = {15, 19};
  std::vector<int> selectResults = {1, 1};
  /// An empty one stands for `receiveFailure`.
  std::vector<std::string> datagrams = {BytesOf("\xA0\xB0\xC0\xD0"), SmallResponse()};
  int receiveFailure = -1;

  /// Adds a call of another function.
  void Note(const std::string& call) {
    AddLines();
    trace.push_back(call);
  }

  /// Runs one query to its end. The calls and lines behind the first `skipped`.
  std::vector<std::string> Query(DllHost& host, std::size_t skipped = 0,
                                 const wchar_t* gameIdText = L"1",
                                 const wchar_t* address = L"127.0.0.2", unsigned int port = 4660) {
    host->QueryServer(L"request", L"text", gameIdText, address, port);
    host->WaitForThreads();
    AddLines();
    if (skipped > trace.size()) return {"<fewer calls and lines>"};
    return {trace.begin() + static_cast<std::ptrdiff_t>(skipped), trace.end()};
  }

 private:
  void AddLines() {
    const std::string text = log.Text(mark);
    mark += text.size();
    for (const std::string& line : Lines(text)) trace.push_back(line);
  }
  template <typename Value>
  static Value Next(std::vector<Value>& script) {
    if (script.empty()) {
      ADD_FAILURE() << "more calls than expected";
      return {};
    }
    Value value = script.front();
    script.erase(script.begin());
    return value;
  }

  const StreamCapture& log;
  std::size_t mark = log.Mark();
  std::vector<std::string> trace;
  IMPORT_HOOK(socket) sockets;
  IMPORT_HOOK(bind) binds;
  IMPORT_HOOK(connect) connects;
  IMPORT_HOOK(sendto) sends;
  IMPORT_HOOK(select) selects;
  IMPORT_HOOK(recvfrom) receives;
  IMPORT_HOOK(closesocket) closes;
  IMPORT_HOOK(WSAGetLastError) errors;
};

// The calls and lines of a query that goes well.
const std::vector<std::string> kGoodQuery = {
    "socket(2, 2, 0)",
    "bind(77, family 2, 0.0.0.0:0, 16)",
    "AppLauncher::QueryThreadProc: Sending query challenge to 127.0.0.2:4660",
    "connect(77, family 2, 127.0.0.2:4660, 16)",
    "AppLauncher::QueryThreadProc: Sending challenge request for gameId 0000000000000001",
    "sendto(77, FFFFFFFF51505F0000000000000001, 0, family 2, 127.0.0.2:4660, 16)",
    "select(77, 1 s 0 us)",
    "recvfrom(77, 65536, 0, 16)",
    "AppLauncher::QueryThreadProc: Got reply to challenge request of 4 bytes with challengeId "
    "a0b0c0d0",
    "AppLauncher::QueryThreadProc: Sending query request with gameId 0000000000000001 and "
    "challengeId a0b0c0d0",
    "sendto(77, FFFFFFFF51505F0000000000000001A0B0C0D0, 0, family 2, 127.0.0.2:4660, 16)",
    "select(77, 1 s 0 us)",
    "recvfrom(77, 65536, 0, 16)",
    "AppLauncher::QueryThreadProc: Got query response of size 16",
    "closesocket(77)"};

// How many of them come up to and including these.
constexpr std::size_t kUpToBind = 2;
constexpr std::size_t kUpToConnect = 4;
constexpr std::size_t kUpToChallenge = 6;
constexpr std::size_t kUpToFirstSelect = 7;
constexpr std::size_t kUpToFirstReceive = 8;
constexpr std::size_t kUpToQuery = 11;
constexpr std::size_t kUpToSecondSelect = 12;
constexpr std::size_t kUpToSecondReceive = 13;

class QueryCalls : public testing::Test {
 protected:
  void ExpectResult(const std::wstring& json) {
    EXPECT_THAT(host.Drain(),
                ElementsAre(Event{L"request", L"QueryServerResult", {L"text", json}}));
  }

  DllHost host;
  StreamCapture log;
  FakeSockets sockets{host.Module(), log};
};

TEST_F(QueryCalls, OfAQueryThatGoesWell) {
  EXPECT_THAT(sockets.Query(host), ElementsAreArray(kGoodQuery));
  ExpectResult(SmallResponseJson());
}

// The address becomes narrow text before there is a socket, and a number behind the line that names it.
TEST_F(QueryCalls, AddressAndPortAreReadForTheConnection) {
  IMPORT_HOOK(WideCharToMultiByte)
  narrowings(host.Module(),
             [&](UINT codePage, DWORD flags, const wchar_t* wide, int size, char* bytes,
                 int capacity, const char* defaultChar, BOOL* usedDefault) {
               sockets.Note("WideCharToMultiByte(" + Narrow(wide) + ")");
               return narrowings.CallOriginal(codePage, flags, wide, size, bytes, capacity,
                                              defaultChar, usedDefault);
             });
  IMPORT_HOOK(inet_addr)
  addresses(host.Module(), [&](const char* text) {
    sockets.Note("inet_addr(" + std::string(text) + ")");
    return addresses.CallOriginal(text);
  });
  IMPORT_HOOK(htons)
  ports(host.Module(), [&](u_short port) {
    sockets.Note("htons(" + std::to_string(port) + ")");
    return ports.CallOriginal(port);
  });
  const std::vector<std::string> calls = sockets.Query(host);
  ASSERT_GE(calls.size(), 7U);
  EXPECT_EQ(calls[0], "WideCharToMultiByte(127.0.0.2)");
  EXPECT_EQ(calls[1], kGoodQuery[0]);
  EXPECT_EQ(calls[2], kGoodQuery[1]);
  EXPECT_EQ(calls[3], kGoodQuery[2]);
  EXPECT_THAT(std::vector(calls.begin() + 4, calls.begin() + 6),
              testing::UnorderedElementsAre("inet_addr(127.0.0.2)", "htons(4660)"));
  EXPECT_EQ(calls[6], kGoodQuery[3]);
}

// The address goes to the system as it is, and whatever the system takes for a dotted one is one. The
// port is shown as a signed number, and 0 is one like any other.
TEST_F(QueryCalls, AddressAndPortAreNotChecked) {
  struct Target {
    const wchar_t* address;
    unsigned int port;
    std::string shown;
    std::string connected;
  };
  const Target targets[] = {
      {L"127.1", 4660, "127.1:4660", "127.0.0.1:4660"},
      {L"", 4660, ":4660", ""},
      {L" 127.0.0.1 ", 4660, " 127.0.0.1 :4660", ""},
      {L"127.0.0.1", 0, "127.0.0.1:0", "127.0.0.1:0"},
      {L"127.0.0.1", 0xFFFF0007, "127.0.0.1:-65529", "127.0.0.1:7"},
  };
  std::vector<std::string> read;
  IMPORT_HOOK(inet_addr)
  addresses(host.Module(), [&](const char* text) {
    read.emplace_back(text);
    return addresses.CallOriginal(text);
  });
  for (const Target& target : targets) {
    SCOPED_TRACE(target.shown);
    FakeSockets target_sockets(host.Module(), log);
    target_sockets.connectResult = -1;
    const std::vector<std::string> calls =
        target_sockets.Query(host, 0, L"1", target.address, target.port);
    EXPECT_EQ(read.back(), Narrow(target.address));
    EXPECT_THAT(calls,
                testing::Contains("AppLauncher::QueryThreadProc: Sending query challenge to " +
                                  target.shown));
    EXPECT_THAT(
        calls, testing::Contains(testing::StartsWith("connect(77, family 2, " + target.connected)));
  }
}

TEST_F(QueryCalls, EachTextOfAResponseIsConvertedByTheSystem) {
  std::vector<std::string> conversions;
  IMPORT_HOOK(MultiByteToWideChar)
  widenings(host.Module(), [&](UINT codePage, DWORD flags, const char* bytes, int size,
                               wchar_t* wide, int capacity) {
    conversions.push_back(std::to_string(codePage) + " " + std::to_string(flags) + " '" + bytes +
                          "' " + std::to_string(size) + " into " + std::to_string(capacity));
    return widenings.CallOriginal(codePage, flags, bytes, size, wide, capacity);
  });
  sockets.datagrams[1] = BytesOf(
      "\x03"
      "\0\0\0\0\0\0\0\x2A"  // game identifier
      "\x01"
      "C"     // mode
      "\x05"  // map variant
      "\0"    // no section
      "\x04"
      "MP_1"                // map
      "\x20\x01"            // most players, waiting players
      "\0"                  // one team
      "\x01"                // of one player
      "\0\0\0\0\0\0\0\x09"  // the player's identifier
      "\x03"
      "Ann"       // name
      "\0"        // tag
      "\x0C"      // rank
      "\0\0\0\0"  // score
      "\0\0"      // kills
      "\0\0"      // deaths
      "\0");      // squad
  sockets.Query(host);
  EXPECT_THAT(conversions, ElementsAre("65001 0 'C' 2 into 3", "65001 0 'MP_1' 5 into 6",
                                       "65001 0 'Ann' 4 into 5", "65001 0 '' 1 into 2"));
  EXPECT_EQ(StatusOf(host.WaitForEvent(L"QueryServerResult")), L"SUCCESS");
}

TEST_F(QueryCalls, SocketIsClosedBeforeTheResponseIsDecoded) {
  sockets.datagrams[1] = "\x02";
  EXPECT_THAT(
      sockets.Query(host, kUpToSecondReceive),
      ElementsAre("AppLauncher::QueryThreadProc: Got query response of size 1", "closesocket(77)",
                  "AppLauncher::QueryParseResponse: Query response has unexpected protocol "
                  "version of 02 (expected 03 - 09)"));
  ExpectResult(JsonWithoutData(L"ERROR_PROTOCOL_VERSION"));
}

// A step that fails, and what follows the calls that a good query makes up to it.
TEST_F(QueryCalls, Failures) {
  struct Failure {
    std::function<void(FakeSockets&)> arrange;
    std::size_t upTo;
    std::vector<std::string> rest;
    const wchar_t* status;
  };
  const std::string error = "WSAGetLastError()";
  const std::string close = "closesocket(77)";
  // Where nothing else is said, the error is taken and the line written before the socket is closed.
  const auto line = [&](const std::string& text) {
    return std::vector<std::string>{error, "AppLauncher::QueryThreadProc: " + text + " 00002745",
                                    close};
  };
  // These close the socket first.
  const auto closedFirst = [&](const std::string& text) {
    return std::vector<std::string>{close, error,
                                    "AppLauncher::QueryThreadProc: " + text + " 00002745"};
  };
  const wchar_t* const notSent = L"ERROR_SENDTO_FAILED";
  const wchar_t* const notReady = L"ERROR_SELECT_FAILED_OR_TIMEDOUT";
  const wchar_t* const notReceived = L"ERROR_RECVFROM_FAILED";
  std::vector<Failure> failures = {
      {[](FakeSockets& with) { with.bindResult = -1; }, kUpToBind, line("bind() failed with"), L""},
      {[](FakeSockets& with) { with.connectResult = -1; }, kUpToConnect,
       closedFirst("connect() failed with"), L"ERROR_CONNECT_FAILED"},
      {[](FakeSockets& with) { with.sendResults[0] = -1; }, kUpToChallenge,
       closedFirst("sendto (of challenge) failed with result -1"), notSent},
      {[](FakeSockets& with) { with.datagrams[0] = "abc"; },
       kUpToFirstReceive,
       {"NetMessage::SegmentRead: Attempting read 4 bytes from offset 0 from stream of 3 bytes",
        close, "AppLauncher::QueryThreadWrap: Query request text (1) failed with exception"},
       L"ERROR_MARSHALLING_EXCEPTION"},
  };
  for (const int sent : {-1, 0, 18, 20}) {
    failures.push_back(
        {[sent](FakeSockets& with) { with.sendResults[1] = sent; }, kUpToQuery,
         line("sendto (of query request) failed with result " + std::to_string(sent)), notSent});
  }
  // A time-out is 0; exactly one socket must be ready. An empty datagram is a failure, too.
  const std::string responses[] = {"challenge", "query"};
  for (std::size_t step = 0; step < 2; ++step) {
    const std::string response = " (of " + responses[step] + " response) failed with result ";
    for (const int ready : {-1, 0, 2}) {
      failures.push_back({[=](FakeSockets& with) { with.selectResults[step] = ready; },
                          step == 0 ? kUpToFirstSelect : kUpToSecondSelect,
                          line("select" + response + std::to_string(ready)), notReady});
    }
    for (const int received : {-1, 0}) {
      failures.push_back({[=](FakeSockets& with) {
                            with.datagrams[step] = "";
                            with.receiveFailure = received;
                          },
                          step == 0 ? kUpToFirstReceive : kUpToSecondReceive,
                          line("recvfrom" + response + std::to_string(received)), notReceived});
    }
  }
  for (const Failure& failure : failures) {
    SCOPED_TRACE(testing::PrintToString(failure.rest));
    FakeSockets failing(host.Module(), log);
    failure.arrange(failing);
    std::vector<std::string> expected(
        kGoodQuery.begin(), kGoodQuery.begin() + static_cast<std::ptrdiff_t>(failure.upTo));
    expected.insert(expected.end(), failure.rest.begin(), failure.rest.end());
    EXPECT_THAT(failing.Query(host), ElementsAreArray(expected));
    ExpectResult(JsonWithoutData(failure.status));
  }
}

TEST_F(QueryCalls, BadGameId) {
  EXPECT_THAT(sockets.Query(host, kUpToConnect, L"abc"),
              ElementsAre("closesocket(77)",
                          "AppLauncher::QueryThreadProc: Unable to convert 'abc' to unsigned long "
                          "long (64-bit)"));
  ExpectResult(JsonWithoutData(L"ERROR_CONNECT_INVALID_ARGUMENT"));
}

TEST_F(QueryCalls, ChallengeThatIsSentInPartIsNoFailure) {
  for (const int sent : {0, 14, 16}) {
    sockets.sendResults = {sent, 19};
    sockets.selectResults = {1, 1};
    sockets.datagrams = {BytesOf("\xA0\xB0\xC0\xD0"), SmallResponse()};
    sockets.Query(host);
    ExpectResult(SmallResponseJson());
  }
}

// As large as the buffer: the last byte is received, none behind it is written.
TEST_F(QueryCalls, ResponseMayFillTheBuffer) {
  sockets.datagrams[1] = SmallResponse() + std::string(65536 - 16, '\x55');
  EXPECT_THAT(sockets.Query(host, kUpToSecondReceive),
              ElementsAre("AppLauncher::QueryThreadProc: Got query response of size 65536",
                          "closesocket(77)"));
  ExpectResult(SmallResponseJson());
}

// The number of the error, in place of the one that the test's sockets have.
TEST(QueryWithoutASocket, FailsToBind) {
  DllHost host;
  IMPORT_HOOK(socket) sockets(host.Module());
  sockets.FailAlways(INVALID_SOCKET);
  IMPORT_HOOK(connect) connects(host.Module());
  StreamCapture log;
  host->QueryServer(L"request", L"text", L"1", L"127.0.0.1", 9);
  host->WaitForThreads();
  log.Stop();
  EXPECT_EQ(log.Text(), "AppLauncher::QueryThreadProc: bind() failed with 00002736\n");
  EXPECT_EQ(connects.CallCount(), 0U);
  EXPECT_THAT(
      host.Drain(),
      ElementsAre(Event{L"request", L"QueryServerResult", {L"text", JsonWithoutData(L"")}}));
}

// Each of the four messages takes a buffer of 65,536 bytes.
TEST_F(QueryCalls, WithoutMemoryForAMessageTheSocketIsClosedAndTheHostIsTold) {
  for (std::size_t failing = 0; failing < 4; ++failing) {
    SCOPED_TRACE(failing);
    sockets.sendResults = {15, 19};
    sockets.selectResults = {1, 1};
    sockets.datagrams = {BytesOf("\xA0\xB0\xC0\xD0"), SmallResponse()};
    std::size_t buffers = 0;
    ImportHook<"malloc", void*(std::size_t)> allocations(host.Module());
    allocations.SetReplacement([&](std::size_t size) {
      if (size == 65536 && buffers++ == failing) return static_cast<void*>(nullptr);
      return std::malloc(size);
    });
    const std::vector<std::string> calls = sockets.Query(host);
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[calls.size() - 2], "closesocket(77)");
    EXPECT_EQ(calls.back(),
              "AppLauncher::QueryThreadWrap: Query request text (1) failed with exception");
    ExpectResult(JsonWithoutData(L"ERROR_MARSHALLING_EXCEPTION"));
  }
}

}  // namespace
}  // namespace test_support
