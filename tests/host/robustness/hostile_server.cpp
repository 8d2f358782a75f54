#include <set>
#include <utility>

#include "tests/host/query/query_server.h"
#include "tests/host/robustness/hostile_peers.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

std::size_t Byte(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

// In place of the library's select: waits as long as a test may take, so that a busy machine fails
// nothing. A PatientSelect would remember every call, and the calls are too many for that.
int WSAAPI SelectPatiently(int count, fd_set* readable, fd_set* writable, fd_set* failed,
                           const timeval*) {
  timeval limit = {kPatienceMs / 1000, 0};
  return select(count, readable, writable, failed, &limit);
}

std::string BigEndian(std::uint64_t value, int bytes) {
  std::string text;
  while (bytes-- > 0) text += static_cast<char>(value >> 8 * bytes & 0xFF);
  return text;
}

std::string ShortText(const std::string& text) { return static_cast<char>(text.size()) + text; }

// What a query may end with whose response is this.
std::set<std::wstring> StatusesOfResponse(const std::string& response) {
  if (response.empty()) return {L"ERROR_RECVFROM_FAILED"};
  const std::size_t version = Byte(response, 0);
  if (version < 3 || version > 10) return {L"ERROR_PROTOCOL_VERSION"};
  // The version and the game identifier.
  if (response.size() < 9) return {L"ERROR_MARSHALLING_EXCEPTION"};
  return {L"SUCCESS", L"ERROR_MARSHALLING_EXCEPTION"};
}

// The same for a challenge; empty when the query goes on. A challenge that comes twice is taken for
// the response, too.
std::set<std::wstring> StatusesOfChallenge(const std::string& challenge, std::size_t copies) {
  if (challenge.empty()) return {L"ERROR_RECVFROM_FAILED"};
  if (challenge.size() < 4) return {L"ERROR_MARSHALLING_EXCEPTION"};
  if (copies > 1) return StatusesOfResponse(challenge);
  return {};
}

}  // namespace

HostileServer::HostileServer(DllHost& testedHost, std::uint64_t serverSeed)
    : host(testedHost), seed(serverSeed), patience(host.Module()), thread([this] { Serve(); }) {
  patience.Redirect("select", reinterpret_cast<void*>(&SelectPatiently));
}

HostileServer::~HostileServer() {
  stops = true;
  peer.SendToItself("stop");
  thread.join();
}

void HostileServer::Serve() {
  while (!stops) {
    const auto request = peer.Receive(kPatienceMs);
    if (request && request->bytes.size() >= 15) Answer(*request);
  }
}

void HostileServer::Answer(const UdpPeer::Datagram& request) {
  std::uint64_t gameId = 0;
  for (std::size_t i = 7; i < 15; ++i) gameId = gameId << 8 | Byte(request.bytes, i);
  const bool isChallenge = request.bytes.size() == 15;
  std::mt19937_64 random(seed + 2 * gameId + (isChallenge ? 1 : 0));
  const auto below = [&](std::size_t limit) { return random() % limit; };
  const auto noise = [&](std::size_t length) {
    std::string bytes;
    while (bytes.size() < length) bytes += static_cast<char>(random());
    return bytes;
  };

  std::string answer;
  if (isChallenge) {
    // Mostly good, so that many queries come to their response.
    const std::size_t length = below(8) == 0 ? below(20) : below(2) == 0 ? 4 : 12;
    answer = noise(length);
  } else {
    static constexpr const char* kModes[] = {"FrontierLarge0", "Breach0",         "KillRace0",
                                             "ArmsLadder0",    "SeizeTheBanner0", "VesselStrike0",
                                             "Other"};
    const std::size_t version = 2 + below(10);
    answer = static_cast<char>(version);
    if (version > 3) answer += static_cast<char>(below(5));
    if (version >= 9) answer += noise(17);
    answer += BigEndian(gameId, 8) + ShortText(kModes[below(std::size(kModes))]) + noise(1);
    const std::string section = noise(below(40));
    answer += ShortText(section) + ShortText(noise(below(20)));
    answer += noise(below(below(4) == 0 ? 3000 : 100));
    for (std::size_t flips = below(4); flips > 0; --flips) {
      answer[below(answer.size())] = static_cast<char>(random());
    }
    if (below(10) == 0) answer.resize(below(answer.size() + 1));
    // The largest datagram there is.
    if (below(50) == 0) answer += noise(65507 - answer.size());
  }
  const std::size_t copies = 1 + (below(5) == 0 ? 1 : 0);
  {
    const std::lock_guard guard(mutex);
    const auto found = statuses.find(gameId);
    if (isChallenge) {
      statuses[gameId] = StatusesOfChallenge(answer, copies);
    } else if (found != statuses.end() && found->second.empty()) {
      // Else its challenge has settled its end, or it is over.
      found->second = StatusesOfResponse(answer);
    }
  }
  if (below(8) == 0) stranger.SendTo(noise(below(100)), request.sender);
  for (std::size_t copy = 0; copy < copies; ++copy) peer.SendTo(answer, request.sender);
  sentBytes += copies * answer.size();
}

std::set<std::wstring> HostileServer::TakeStatuses(std::uint64_t gameId) {
  const std::lock_guard guard(mutex);
  const auto found = statuses.extract(gameId);
  return found.empty() ? std::set<std::wstring>() : std::move(found.mapped());
}

std::string HostileServer::Ask(std::size_t count) {
  std::set<std::wstring> expected;
  for (std::size_t i = 0; i < count; ++i) {
    const std::wstring gameId = std::to_wstring(nextGameId++);
    expected.insert(gameId);
    host->QueryServer(gameId.c_str(), L"text", gameId.c_str(), L"127.0.0.1", peer.Port());
  }
  host->WaitForThreads();
  for (const Event& event : host.Drain()) {
    if (event.name != L"QueryServerResult" || expected.erase(event.source) != 1) return "an event";
    const std::wstring& json = event.arg[1];
    const std::wstring status = StatusOf(event);
    if (!TakeStatuses(std::stoull(event.source)).contains(status) ||
        !json.starts_with(L"{\n  \"status\": \"") || !json.ends_with(L"  }\n}\n")) {
      return "the result of query " + Narrow(event.source) + ": " + Narrow(json);
    }
  }
  return expected.empty() ? "" : "a result is missing";
}

}  // namespace test_support
