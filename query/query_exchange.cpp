#include "query/query_exchange.h"

#include <cstdio>
#include <cwchar>
#include <optional>
#include <utility>

#include "core/handles.h"
#include "core/log.h"
#include "core/text.h"
#include "query/net_message.h"
#include "query/query_response.h"

namespace launcher {
namespace {

constexpr wchar_t kLabel[] = L"AppLauncher::QueryThreadProc";

constexpr std::uint8_t kRequestHeader[] = {0xFF, 0xFF, 0xFF, 0xFF, 'Q', 'P', '_'};
constexpr int kQueryRequestSize = 19;

// A challenge response of this length repeats the request's first bytes before the challenge.
constexpr int kLongChallengeSize = 12;
constexpr std::size_t kLongChallengeOffset = 8;

constexpr long kResponseTimeoutSeconds = 1;

// The texts that differ between the two steps of the exchange.
struct StepTexts {
  const wchar_t* selectFailed;
  const wchar_t* receiveFailed;
};

constexpr StepTexts kChallengeTexts = {
    L"%s: select (of challenge response) failed with result %d %08x\n",
    L"%s: recvfrom (of challenge response) failed with result %d %08x\n"};
constexpr StepTexts kQueryTexts = {
    L"%s: select (of query response) failed with result %d %08x\n",
    L"%s: recvfrom (of query response) failed with result %d %08x\n"};

unsigned int LastSocketError() { return static_cast<unsigned int>(WSAGetLastError()); }

// The runtime's scan decides what a number is: it skips leading blanks, stops at the first
// character that is no digit and needs only one digit.
std::optional<std::uint64_t> ParseGameId(const std::wstring& text) {
  unsigned long long value = 0;
  if (_snwscanf(text.c_str(), text.size(), L"%llu", &value) != 1) return std::nullopt;
  return value;
}

// What both requests begin with; it is all of the challenge request.
void WriteRequest(NetMessage& message, std::uint64_t gameId) {
  message.SegmentWrite(kRequestHeader);
  message.SegmentWrite(gameId);
}

int SendTo(const UniqueSocket& socket, NetMessage& message, const sockaddr_in& server) {
  return sendto(socket.get(), reinterpret_cast<const char*>(message.Buffer()),
                static_cast<int>(message.Cursor()), 0, reinterpret_cast<const sockaddr*>(&server),
                sizeof(server));
}

// Waits for a response and receives it. On failure logs, sets the status and returns nothing; the
// socket is then closed by the caller, after the error was taken.
std::optional<NetMessage> ReceiveResponse(const UniqueSocket& socket, const StepTexts& texts,
                                          QueryResult& result) {
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(socket.get(), &readable);
  timeval timeout = {kResponseTimeoutSeconds, 0};
  const int ready = select(0, &readable, nullptr, nullptr, &timeout);
  if (ready != 1) {
    LogLine(texts.selectFailed, kLabel, ready, LastSocketError());
    result.status = QueryStatus::kSelectFailed;
    return std::nullopt;
  }
  NetMessage message = NetMessage::MakeIncoming();
  // Not compared with the server's address: servers behind several addresses answer from another.
  sockaddr_in source = {};
  int sourceSize = sizeof(source);
  const int size = recvfrom(socket.get(), reinterpret_cast<char*>(message.Buffer()),
                            static_cast<int>(NetMessage::kCapacity), 0,
                            reinterpret_cast<sockaddr*>(&source), &sourceSize);
  if (size < 1) {
    LogLine(texts.receiveFailed, kLabel, size, LastSocketError());
    result.status = QueryStatus::kReceiveFailed;
    return std::nullopt;
  }
  message.SetSize(static_cast<std::size_t>(size));
  return message;
}

std::optional<std::uint32_t> ReceiveChallengeId(const UniqueSocket& socket, QueryResult& result) {
  std::optional<NetMessage> response = ReceiveResponse(socket, kChallengeTexts, result);
  if (!response) return std::nullopt;
  if (response->Size() == kLongChallengeSize) {
    std::uint8_t skipped[kLongChallengeOffset];
    response->SegmentRead(skipped, sizeof(skipped));
  }
  const std::uint32_t challengeId = response->Read32();
  LogLine(L"%s: Got reply to challenge request of %d bytes with challengeId %08x\n", kLabel,
          static_cast<int>(response->Size()), static_cast<unsigned int>(challengeId));
  return challengeId;
}

UniqueSocket OpenBoundSocket() {
  UniqueSocket socket(::socket(AF_INET, SOCK_DGRAM, 0));
  sockaddr_in local = {};
  local.sin_family = AF_INET;
  local.sin_addr.s_addr = htonl(INADDR_ANY);
  if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) {
    LogLine(L"%s: bind() failed with %08x\n", kLabel, LastSocketError());
    socket.reset();
  }
  return socket;
}

// Connects, then checks the game identifier, in this order: a bad address is reported before a bad
// identifier.
std::optional<std::uint64_t> ConnectToServer(UniqueSocket& socket, const sockaddr_in& server,
                                             QueryRequest& request) {
  if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&server), sizeof(server)) != 0) {
    socket.reset();
    LogLine(L"%s: connect() failed with %08x\n", kLabel, LastSocketError());
    request.result.status = QueryStatus::kConnectFailed;
    return std::nullopt;
  }
  const std::optional<std::uint64_t> gameId = ParseGameId(request.gameIdText);
  if (!gameId) {
    socket.reset();
    LogLine(L"%s: Unable to convert '%s' to unsigned long long (64-bit)\n", kLabel,
            request.gameIdText.c_str());
    request.result.status = QueryStatus::kInvalidArgument;
  }
  return gameId;
}

// Takes the message, so that its memory is free again while the server takes its time: hundreds of
// queries may wait at once.
bool SendChallengeRequest(UniqueSocket& socket, NetMessage challenge, const sockaddr_in& server,
                          std::uint64_t gameId, QueryResult& result) {
  WriteRequest(challenge, gameId);
  LogLine(L"%s: Sending challenge request for gameId %016llx\n", kLabel,
          static_cast<unsigned long long>(gameId));
  // Only a negative result is a failure here; the query request must go out whole.
  const int sent = SendTo(socket, challenge, server);
  if (sent >= 0) return true;
  socket.reset();
  LogLine(L"%s: sendto (of challenge) failed with result %d %08x\n", kLabel, sent,
          LastSocketError());
  result.status = QueryStatus::kSendFailed;
  return false;
}

bool SendQueryRequest(const UniqueSocket& socket, const sockaddr_in& server, std::uint64_t gameId,
                      std::uint32_t challengeId, QueryResult& result) {
  NetMessage query = NetMessage::MakeOutgoing();
  WriteRequest(query, gameId);
  query.SegmentWrite(challengeId);
  LogLine(L"%s: Sending query request with gameId %016llx and challengeId %08x\n", kLabel,
          static_cast<unsigned long long>(gameId), static_cast<unsigned int>(challengeId));
  const int sent = SendTo(socket, query, server);
  if (sent == kQueryRequestSize) return true;
  LogLine(L"%s: sendto (of query request) failed with result %d %08x\n", kLabel, sent,
          LastSocketError());
  result.status = QueryStatus::kSendFailed;
  return false;
}

}  // namespace

void QueryThreadProc(QueryRequest& request) {
  const std::string address = WideToUtf8(request.address);
  UniqueSocket socket = OpenBoundSocket();
  if (!socket) return;

  NetMessage challenge = NetMessage::MakeOutgoing();
  LogLine(L"%s: Sending query challenge to %s:%d\n", kLabel, request.address.c_str(),
          static_cast<int>(request.port));
  sockaddr_in server = {};
  server.sin_family = AF_INET;
  server.sin_addr.s_addr = inet_addr(address.c_str());
  server.sin_port = htons(static_cast<u_short>(request.port & 0xFFFF));
  const std::optional<std::uint64_t> gameId = ConnectToServer(socket, server, request);
  if (!gameId) return;
  if (!SendChallengeRequest(socket, std::move(challenge), server, *gameId, request.result)) return;

  const std::optional<std::uint32_t> challengeId = ReceiveChallengeId(socket, request.result);
  if (!challengeId) return;
  if (!SendQueryRequest(socket, server, *gameId, *challengeId, request.result)) return;
  std::optional<NetMessage> response = ReceiveResponse(socket, kQueryTexts, request.result);
  if (!response) return;
  LogLine(L"%s: Got query response of size %d\n", kLabel, static_cast<int>(response->Size()));
  socket.reset();
  QueryParseResponse(request.result, *response);
}

}  // namespace launcher
