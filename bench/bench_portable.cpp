// Measures the portable code: frames, query responses, JSON texts.
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <msgpack.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "bench/measure.h"
#include "core/launcher/event_queue.h"
#include "core/text.h"
#include "gamepipe/frame.h"
#include "ping/ping_json.h"
#include "query/query_json.h"
#include "query/query_response.h"

namespace {

using bench::Compare;
using bench::PrintFigure;
using bench::PrintRatio;
using bench::PrintTimesFaster;
using bench::Use;

// ---- Query responses -------------------------------------------------------------------------

class ResponseBytes {
 public:
  void Number(std::uint64_t value, int size) {
    for (int i = size - 1; i >= 0; --i)
      bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
  void Text(const std::string& text) {
    Number(text.size(), 1);
    bytes.insert(bytes.end(), text.begin(), text.end());
  }
  std::vector<std::uint8_t> bytes;
};

std::vector<std::uint8_t> MakeResponse(unsigned int playersInTeam) {
  ResponseBytes response;
  response.Number(10, 1);  // version
  response.Number(3, 1);   // serverState: in round
  response.Number(2, 1);   // platform
  response.Number(0x1234567890ABCDEF, 8);
  response.Number(0xFEDCBA0987654321, 8);
  response.Number(123456789012, 8);  // gameId
  response.Text("FrontierLarge0");
  response.Number(1, 1);   // mapVariant
  response.Number(10, 1);  // two entries
  for (unsigned int team = 1; team <= 2; ++team) {
    response.Number(team, 1);
    response.Number(300 - team, 2);
    response.Number(500, 2);
  }
  response.Text("MP_Harbor");
  response.Number(1234, 4);
  response.Number(100, 4);
  response.Number(64, 1);
  response.Number(3, 1);
  response.Number(1, 1);  // two teams
  response.Number(playersInTeam, 1);
  response.Number(playersInTeam, 1);
  response.Number(1, 1);  // faction of the second team
  for (unsigned int i = 0; i < 2 * playersInTeam; ++i) {
    response.Number(100000000000 + i * 7919ULL, 8);
    response.Text("Player_" + std::to_string(10 + i) + "_x");
    response.Text("TAG");
    response.Number(100 + i, 2);
    response.Number(5000 + i * 13, 4);
    response.Number(10 + i % 20, 2);
    response.Number(i % 17, 2);
    response.Number(i % 8, 1);
    response.Number(i % 3, 1);
  }
  return response.bytes;
}

void Decode(const std::vector<std::uint8_t>& bytes, launcher::QueryResult& result) {
  launcher::NetMessage message = launcher::NetMessage::MakeIncoming();
  std::memcpy(message.Buffer(), bytes.data(), bytes.size());
  message.SetSize(bytes.size());
  launcher::QueryParseResponse(result, message);
}

launcher::EventPtr MakeEvent(const launcher::QueryResult& result) {
  launcher::EventFields fields;
  fields.source = L"request";
  fields.name = L"QueryServerResult";
  fields.arguments[0] = L"text";
  return launcher::MakeQueryEvent(fields, result);
}

// The plain way: each text a string of its own, each line a line of the program.
struct PlainPlayer {
  std::uint64_t id;
  std::wstring name;
  std::wstring tag;
  unsigned int rank, score, kills, deaths, squad, role;
};

class PlainReader {
 public:
  explicit PlainReader(const std::vector<std::uint8_t>& response) : bytes(response) {}
  std::uint64_t Number(int size) {
    std::uint64_t value = 0;
    for (int i = 0; i < size; ++i) value = value << 8 | bytes.at(cursor++);
    return value;
  }
  unsigned int Small(int size) { return static_cast<unsigned int>(Number(size)); }
  std::wstring Text() {
    std::string text;
    for (std::uint64_t left = Number(1); left > 0; --left) {
      text += static_cast<char>(bytes.at(cursor++));
    }
    return launcher::Utf8ToWide(text);
  }

 private:
  std::vector<std::uint8_t> bytes;
  std::size_t cursor = 0;
};

std::wstring PlainDecodeAndWrite(const std::vector<std::uint8_t>& response) {
  PlainReader in(response);
  in.Number(2);  // version, serverState
  std::wostringstream json;
  json << L"{" << L"\n";
  json << L"  \"status\": \"" << L"SUCCESS" << L"\", " << L"\n";
  json << L"  \"platform\": \"" << in.Small(1) << L"\", " << L"\n";
  json << L"  \"persistedIdPart1\": \"" << in.Number(8) << L"\", " << L"\n";
  json << L"  \"persistedIdPart2\": \"" << in.Number(8) << L"\", " << L"\n";
  json << L"  \"gameId\": \"" << in.Number(8) << L"\", " << L"\n";
  json << L"  \"gameMode\": \"" << in.Text() << L"\", " << L"\n";
  json << L"  \"mapVariant\": " << in.Small(1) << L"," << L"\n";
  const unsigned int entries = in.Small(1) / 5;
  std::map<unsigned int, std::pair<unsigned int, unsigned int>> scores;
  for (unsigned int i = 0; i < entries; ++i) {
    const unsigned int team = in.Small(1);
    const unsigned int tickets = in.Small(2);
    scores[team] = {tickets, in.Small(2)};
  }
  json << L"  \"currentMap\": \"" << in.Text() << L"\", " << L"\n";
  json << L"  \"roundTime\": \"" << in.Small(4) << L"\", " << L"\n";
  json << L"  \"defaultRoundTimeMultiplier\": \"" << in.Small(4) << L"\", " << L"\n";
  json << L"  \"maxPlayers\": " << in.Small(1) << L"," << L"\n";
  json << L"  \"waitingPlayers\": " << in.Small(1) << L"," << L"\n";
  json << L"  \"frontier\": " << L"\n";
  json << L"  {" << L"\n";
  std::size_t left = scores.size();
  for (const auto& [team, score] : scores) {
    json << L"    \"" << team << L"\":" << L"\n";
    json << L"    {" << L"\n";
    json << L"          \"tickets\": " << score.first << L"," << L"\n";
    json << L"          \"ticketsMax\": " << score.second << L"\n";
    json << L"        }" << (--left == 0 ? L"" : L",") << L"\n";
  }
  json << L"    }," << L"\n";
  json << L"  \"teamInfo\": " << L"\n";
  json << L"  {" << L"\n";
  const unsigned int teamCount = in.Small(1) + 1;
  std::vector<unsigned int> playerCounts;
  for (unsigned int i = 0; i < teamCount; ++i) playerCounts.push_back(in.Small(1));
  std::vector<unsigned int> factions = {0};
  for (unsigned int i = 1; i < teamCount; ++i) factions.push_back(in.Small(1));
  for (unsigned int i = 0; i < teamCount; ++i) {
    std::vector<PlainPlayer> players;
    for (unsigned int j = 0; j < playerCounts[i]; ++j) {
      PlainPlayer player;
      player.id = in.Number(8);
      player.name = in.Text();
      player.tag = in.Text();
      player.rank = in.Small(2);
      player.score = in.Small(4);
      player.kills = in.Small(2);
      player.deaths = in.Small(2);
      player.squad = in.Small(1);
      player.role = in.Small(1);
      players.push_back(player);
    }
    json << L"    \"" << i << L"\":" << L"\n";
    json << L"    {" << L"\n";
    json << L"      \"faction\": " << factions[i] << L"," << L"\n";
    json << L"      \"players\":  " << L"\n";
    json << L"      {" << L"\n";
    left = players.size();
    for (const PlainPlayer& player : players) {
      json << L"        \"" << player.id << L"\":" << L"\n";
      json << L"        {" << L"\n";
      json << L"          \"name\": \"" << player.name << L"\"," << L"\n";
      json << L"          \"tag\": \"" << player.tag << L"\"," << L"\n";
      json << L"          \"rank\": " << player.rank << L"," << L"\n";
      json << L"          \"score\": " << player.score << L"," << L"\n";
      json << L"          \"kills\": " << player.kills << L"," << L"\n";
      json << L"          \"deaths\": " << player.deaths << L"," << L"\n";
      json << L"          \"squad\": " << player.squad << L"," << L"\n";
      json << L"          \"role\": " << player.role << L" " << L"\n";
      json << L"        }" << (--left == 0 ? L"" : L",") << L"\n";
    }
    json << L"      }" << L"\n";
    json << L"    }" << (i + 1 == teamCount ? L"" : L",") << L"\n";
  }
  json << L"  }" << L"\n";
  json << L"}" << L"\n";
  return json.str();
}

// Returns whether both ways agree; a baseline that does something else would measure nothing.
bool MeasureResponse() {
  const std::vector<std::uint8_t> bytes = MakeResponse(32);
  launcher::QueryResult expected;
  Decode(bytes, expected);
  const std::wstring finished = MakeEvent(expected)->GetArg1();
  if (PlainDecodeAndWrite(bytes) != finished) return false;

  const auto copy = std::make_unique<wchar_t[]>(finished.size());
  const auto copyText = [&] {
    std::memcpy(copy.get(), finished.data(), finished.size() * sizeof(wchar_t));
    Use(copy.get());
  };
  const auto ours = [&] {
    launcher::QueryResult result;
    Decode(bytes, result);
    Use(MakeEvent(result)->GetArg1());
  };
  // The copy stands for the socket's; the host fetches and frees the event.
  launcher::EventQueue events;
  const auto wholeWay = [&] {
    launcher::QueryResult result;
    Decode(bytes, result);
    events.Push(MakeEvent(result));
    Use(events.Pop()->GetArg1());
  };
  const auto streamed = [&] { Use(PlainDecodeAndWrite(bytes).data()); };
#ifdef _WIN32
  constexpr double kGoal = 18;
#else
  constexpr double kGoal = 7;
#endif
  PrintRatio("query response, 64 players, decoded and written", "memcpy of the finished text",
             Compare(copyText, 100, ours, 10), kGoal);
  PrintRatio("query response, 64 players, from the datagram to the queued event",
             "memcpy of the finished text", Compare(copyText, 100, wholeWay, 10), 1.5 * kGoal);
  PrintTimesFaster("query response, 64 players, decoded and written: times faster",
                   "plain decoding and std::wostringstream", Compare(streamed, 2, ours, 10), 6);
  for (const unsigned int players : {0U, 8U, 32U, 127U}) {
    const std::vector<std::uint8_t> response = MakeResponse(players);
    const double time = bench::TimeOf(
        [&] {
          launcher::QueryResult result;
          Decode(response, result);
          Use(MakeEvent(result)->GetArg1());
        },
        2000);
    PrintFigure("query response, " + std::to_string(2 * players) + " players", time / 1000,
                "microseconds");
  }
  return true;
}

// ---- Ping results ----------------------------------------------------------------------------

std::wstring StreamedPingJson(const launcher::PingInfos& infos) {
  std::wostringstream json;
  json << L"[\n";
  std::size_t number = 1;
  for (const launcher::PingInfo& info : infos) {
    json << L"\t{\n";
    json << L"\t\t\"ipAddress\": \"" << info.ipAddress << L"\",\n";
    json << L"\t\t\"roundTripMSEC\": " << info.roundTripMsec << L"\n";
    json << (number++ < infos.size() ? L"\t},\n" : L"\t}\n");
  }
  json << L"]\n";
  return json.str();
}

launcher::PingInfos MakePingInfos(unsigned int count) {
  launcher::PingInfos infos;
  for (unsigned int i = 0; i < count; ++i) {
    infos.push_back(
        {L"192.168." + std::to_wstring(i / 256) + L"." + std::to_wstring(i % 256), i * 7 % 400});
  }
  return infos;
}

bool MeasurePingJson() {
  const launcher::PingInfos infos = MakePingInfos(256);
  if (StreamedPingJson(infos) != launcher::BuildPingJson(infos)) return false;
  const auto ours = [&] { Use(launcher::BuildPingJson(infos).c_str()); };
  const auto streamed = [&] { Use(StreamedPingJson(infos).data()); };
  PrintTimesFaster("ping JSON, 256 addresses: times faster", "std::wostringstream",
                   Compare(streamed, 2, ours, 10), 6);
  for (const unsigned int count : {1U, 16U, 256U}) {
    const launcher::PingInfos some = MakePingInfos(count);
    PrintFigure("ping JSON, " + std::to_string(count) + " addresses",
                bench::TimeOf([&] { Use(launcher::BuildPingJson(some).c_str()); }, 2000) / 1000,
                "microseconds");
  }
  return true;
}

// ---- Frames ----------------------------------------------------------------------------------

// 53 bytes in all: 10 of name, 36 of arguments, 7 of frame.
const vorn::PellmarCommand kCommand("PlayerMove", "123456 4711.5 -815.25 17.0 3 idle on");

// Counts what is dispatched to it.
class CountingCommand final : public vorn::PellmarCommand {
 public:
  CountingCommand() : PellmarCommand({}, {}) {}
  void execute(const std::string& receivedName, const std::string& receivedArgs) override {
    Use(receivedName.data());
    Use(receivedArgs.data());
    ++count;
  }
  std::size_t count = 0;
};

constexpr std::size_t kFramesInRead = 77;  // 4081 of 4096 bytes

void MeasureEncoding() {
  launcher::ByteVector frame;
  launcher::EncodeFrame(kCommand, frame);
  std::vector<std::uint8_t> copies;
  const auto copyFrames = [&] {
    copies.resize(kFramesInRead * frame.size());
    std::uint8_t* to = copies.data();
    for (std::size_t i = 0; i < kFramesInRead; ++i, to += frame.size()) {
      std::memcpy(to, frame.data(), frame.size());
    }
    Use(copies.data());
  };
  launcher::ByteVector queue;
  const auto encode = [&] {
    queue.clear();
    for (std::size_t i = 0; i < kFramesInRead; ++i) launcher::AppendFrame(kCommand, queue);
    Use(queue.data());
  };
  PrintRatio("53-byte frames encoded into the send queue", "memcpy of the frames",
             Compare(copyFrames, 100, encode, 30), 4, kFramesInRead);
  msgpack::sbuffer packed;
  const auto pack = [&] {
    packed.clear();
    for (std::size_t i = 0; i < kFramesInRead; ++i) {
      msgpack::pack(
          packed, std::make_pair(std::string_view(kCommand.name), std::string_view(kCommand.args)));
    }
    Use(packed.data());
  };
  PrintFigure("53-byte frames encoded, against msgpack", Compare(pack, 20, encode, 30).ratio,
              "times");
}

// Decodes `count` frames that wait at once.
class WaitingFrames {
 public:
  explicit WaitingFrames(std::size_t count) : handler(std::make_unique<CountingCommand>()) {
    for (std::size_t i = 0; i < count; ++i) launcher::AppendFrame(kCommand, frames);
  }
  void Decode() {
    received.Append(frames);
    launcher::DecodeFrames(handler, received);
  }

 private:
  launcher::ByteVector frames;
  vorn::CommandHandler handler;
  launcher::ReceiveBuffer received;
};

// What a frame takes when `count` wait, against a frame when ten wait.
bench::Comparison CompareWithTen(std::size_t count) {
  constexpr std::size_t kTen = 10;
  constexpr std::size_t kFramesInRound = 10000;
  WaitingFrames ten(kTen);
  WaitingFrames many(count);
  const auto repetitions = [](std::size_t waiting) {
    return static_cast<int>(kFramesInRound / waiting);
  };
  const bench::Comparison whole = Compare([&] { ten.Decode(); }, repetitions(kTen),
                                          [&] { many.Decode(); }, repetitions(count), 101);
  const double tens = static_cast<double>(kTen);
  const double each = static_cast<double>(count);
  return {whole.baseline / tens, whole.subject / each, whole.ratio * tens / each};
}

bool MeasureDecoding() {
  launcher::ByteVector frames;
  msgpack::sbuffer packed;
  for (std::size_t i = 0; i < kFramesInRead; ++i) {
    launcher::AppendFrame(kCommand, frames);
    msgpack::pack(packed,
                  std::make_pair(std::string_view(kCommand.name), std::string_view(kCommand.args)));
  }
  auto counter = std::make_unique<CountingCommand>();
  CountingCommand& counted = *counter;
  vorn::CommandHandler handler(std::move(counter));
  launcher::ReceiveBuffer received;
  const auto decode = [&] {
    received.Append(frames);
    launcher::DecodeFrames(handler, received);
  };
  decode();
  if (counted.count != kFramesInRead) return false;

  CountingCommand peer;
  const auto unpack = [&] {
    msgpack::unpacker unpacker;
    unpacker.reserve_buffer(packed.size());
    std::memcpy(unpacker.buffer(), packed.data(), packed.size());
    unpacker.buffer_consumed(packed.size());
    msgpack::object_handle object;
    while (unpacker.next(object)) {
      const auto command = object.get().as<std::pair<std::string, std::string>>();
      peer.execute(command.first, command.second);
    }
  };
  unpack();
  if (peer.count != kFramesInRead) return false;
  PrintRatio("53-byte frames decoded out of one read", "msgpack", Compare(unpack, 10, decode, 30),
             0.25, kFramesInRead);

  for (const std::size_t count : {1U, 10U, 77U}) {
    PrintFigure("53-byte frames decoded, a frame when " + std::to_string(count) + " wait",
                CompareWithTen(count).subject, "nanoseconds");
  }
  PrintRatio("53-byte frames decoded, a frame when 1,000 wait", "a frame when 10 wait",
             CompareWithTen(1000), 1.1);
  return true;
}

}  // namespace

int main() {
  if (!MeasureResponse() || !MeasurePingJson() || !MeasureDecoding()) {
    std::fprintf(stderr, "a baseline and the library disagree\n");
    return 1;
  }
  MeasureEncoding();
  return 0;
}
