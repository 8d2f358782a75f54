#include <algorithm>
#include <sstream>

#include "tests/host/robustness/hostile_peers.h"
#include "tests/support/pipe_server.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

constexpr wchar_t kGameId[] = L"SOLANO-GAME";
constexpr wchar_t kGamePipe[] = LR"(\\.\pipe\solano_pellmar)";
constexpr DWORD kPollIntervalMs = 2;

const Event kReady = {kGameId, L"StateChanged", {L"READY"}};
const Event kGone = {kGameId, L"StateChanged", {L"GAMEISGONE"}};

std::size_t Byte(const std::string& bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

std::string TwoBytes(std::size_t value) {
  return {static_cast<char>(value & 0xFF), static_cast<char>(value >> 8 & 0xFF)};
}

// Converted with its terminator, which matters to an unfinished character at its end, and taken up
// to the first zero, as every text of the interface.
std::wstring Text(const std::string& bytes) {
  return Widen(std::string(bytes.c_str()) + '\0').c_str();
}

std::vector<std::string> Words(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  for (const char letter : text + ' ') {
    if (letter != ' ') {
      word += letter;
    } else if (!word.empty()) {
      words.push_back(word);
      word.clear();
    }
  }
  return words;
}

// Queues nothing of its own: the events that came during this poll.
void Poll(DllHost& host, std::vector<Event>& events) {
  host->PollApps();
  for (Event& event : host.Drain()) events.push_back(std::move(event));
}

// Polls until `isDone`; whether it became true in time.
template <typename IsDone>
bool PollUntil(DllHost& host, std::vector<Event>& events, const IsDone& isDone) {
  const ULONGLONG deadline = GetTickCount64() + kPatienceMs;
  for (;;) {
    Poll(host, events);
    if (isDone()) return true;
    if (GetTickCount64() >= deadline) return false;
    WaitForSingleObject(host.Notifications().CalledEvent(), kPollIntervalMs);
  }
}

std::string FirstDifference(const std::vector<Event>& events, const std::vector<Event>& expected) {
  if (events == expected) return "";
  std::size_t at = 0;
  while (at < std::min(events.size(), expected.size()) && events[at] == expected[at]) ++at;
  std::ostringstream text;
  text << "of " << events.size() << " events in place of " << expected.size() << ", number " << at;
  if (at < events.size()) text << " is " << events[at];
  if (at < expected.size()) text << " in place of " << expected[at];
  return text.str();
}

}  // namespace

void FrameReader::Feed(const std::string& bytes) {
  pending += bytes;
  while (!isBroken && pending.size() >= 5) {
    if (pending[0] != 'K' || pending[1] != 'E') {
      isBroken = true;
      return;
    }
    const std::size_t total = Byte(pending, 2) + 256 * Byte(pending, 3);
    const std::size_t nameLength = Byte(pending, 4);
    if (pending.size() < total || pending.size() < nameLength + 7) return;
    const std::size_t argsLength =
        Byte(pending, nameLength + 5) + 256 * Byte(pending, nameLength + 6);
    const std::size_t end = nameLength + 7 + argsLength;
    if (pending.size() < end) return;
    Event event = {source, Text(pending.substr(5, nameLength)), {}};
    const std::vector<std::string> words = Words(pending.substr(nameLength + 7, argsLength));
    for (std::size_t i = 0; i < std::min(words.size(), event.arg.size()); ++i) {
      event.arg[i] = Text(words[i]);
    }
    events.push_back(event);
    pending.erase(0, end);
  }
}

std::string HostileGame::RandomText(std::size_t length) {
  std::string text;
  // Blanks and zeroes more often than by chance, and the letters of a frame's beginning.
  static constexpr char kLetters[] = {' ', ' ', ' ', '\0', 'K', 'E', '\x08', '\x7F', 'a', 'b', 'c'};
  while (text.size() < length) text += kLetters[Below(std::size(kLetters))];
  return text;
}

std::string HostileGame::RandomPiece() {
  const std::string name = RandomText(Below(20));
  const std::string args = RandomText(Below(30) == 0 ? Below(9000) : Below(60));
  std::size_t total = name.size() + args.size() + 7;
  std::size_t nameLength = name.size();
  std::size_t argsLength = args.size();
  switch (Below(40)) {
    case 0:
      return RandomText(1 + Below(50));
    case 1:
      nameLength = Below(256);
      break;
    case 2:
      argsLength = Below(400);
      break;
    case 3:
      total = Below(300);
      break;
    default:
      // Too small a total changes nothing.
      if (Below(4) == 0) total = Below(total + 1);
      break;
  }
  return "KE" + TwoBytes(total) + static_cast<char>(nameLength) + name + TwoBytes(argsLength) +
         args;
}

std::string HostileGame::Live() {
  PipeServer game(kGamePipe);
  std::vector<Event> events;
  if (!PollUntil(host, events, [&] { return !events.empty(); }) || events != std::vector{kReady} ||
      !game.Accept(kPatienceMs)) {
    return "no connection";
  }
  events.clear();

  std::string bytes;
  for (std::size_t pieces = Below(30); pieces > 0; --pieces) bytes += RandomPiece();
  if (Below(3) == 0) bytes.resize(bytes.size() - Below(bytes.size() + 1));
  sentBytes += bytes.size();

  FrameReader reader(kGameId);
  reader.Feed(bytes);
  // Small pieces of long texts would only take long.
  const std::size_t longest = 1 + Below(bytes.size() < 200 ? 3 : 5000);
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t count = std::min(1 + Below(longest), bytes.size() - at);
    // Fails when the launcher has hung up.
    if (!game.Write(bytes.substr(at, count), kPatienceMs)) break;
    at += count;
    if (Below(3) != 0) Poll(host, events);
    if (Below(10) == 0) {
      host->SendCommand(kGameId, L"Command", L"1", Widen(RandomText(Below(50))).c_str(), L"", L"");
    }
    if (Below(10) == 0) game.Read(std::min<DWORD>(game.Available().value_or(0), 100), kPatienceMs);
  }

  std::vector<Event> expected = reader.Events();
  seenEvents += expected.size();
  if (!reader.IsBroken()) {
    // What was sent is read before the pipe breaks.
    if (!PollUntil(host, events, [&] { return events.size() >= expected.size(); })) {
      return "events are missing";
    }
    game.Close();
  }
  expected.push_back(kGone);
  if (!PollUntil(host, events, [&] { return !events.empty() && events.back() == kGone; })) {
    return "the end went unnoticed";
  }
  return FirstDifference(events, expected);
}

}  // namespace test_support
