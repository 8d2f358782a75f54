// Replays the kit's test vectors against the DLL: what integrators hold their programs against has to be
// what the library does.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/host/kit/kit_program.h"
#include "tests/host/query/query_server.h"
#include "tests/support/dll_host.h"
#include "tests/support/game_installation.h"
#include "tests/support/helper_installation.h"
#include "tests/support/ping_helper.h"
#include "tests/support/pipe_server.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/text.h"
#include "tests/support/udp_peer.h"

namespace test_support {
namespace {

using nlohmann::json;

// The vectors lie beside the test program. An empty list would make a test that checks nothing.
json LoadVectors(const std::string& file, const std::string& list) {
  std::ifstream input(Narrow(ProgramDirectory()) + "\\vectors\\" + file);
  json vectors = json::parse(input).at(list);
  EXPECT_FALSE(vectors.empty());
  return vectors;
}

std::string Text(const json& vector, const char* key) { return vector.at(key).get<std::string>(); }

std::wstring WideText(const json& vector, const char* key) { return Widen(Text(vector, key)); }

std::string Bytes(const json& vector, const char* key) {
  std::string digits;
  for (const char character : Text(vector, key)) {
    if (character != ' ') digits += character;
  }
  EXPECT_EQ(digits.size() % 2, 0U) << digits;
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

// "<pipe>" and "<dir>" stand for what is known at run time only.
std::wstring Replaced(std::wstring text, const std::wstring& placeholder,
                      const std::wstring& value) {
  for (std::size_t at = text.find(placeholder); at != std::wstring::npos;
       at = text.find(placeholder, at + value.size())) {
    text.replace(at, placeholder.size(), value);
  }
  return text;
}

TEST(Vectors, FramesFromTheGameBecomeEvents) {
  DllHost host;
  PipeServer game(L"\\\\.\\pipe\\solano_pellmar");
  host->PollApps();
  ASSERT_TRUE(game.Accept(kPatienceMs));
  host.Drain();
  for (const json& vector : LoadVectors("frames.json", "frames")) {
    SCOPED_TRACE(vector.dump());
    ASSERT_TRUE(game.Write(Bytes(vector, "hex"), kPatienceMs));
    const std::optional<Event> event =
        host.WaitForEvent(WideText(vector, "name"), kPatienceMs, DllHost::Polling::kPollApps);
    ASSERT_TRUE(event.has_value());
    EXPECT_EQ(event->source, L"SOLANO-GAME");
    const auto words = vector.at("words").get<std::vector<std::string>>();
    for (std::size_t i = 0; i < event->arg.size(); ++i) {
      EXPECT_EQ(event->arg[i], i < words.size() ? Widen(words[i]) : L"") << i;
    }
  }
}

TEST(Vectors, CommandsToTheGameBecomeFrames) {
  DllHost host;
  PipeServer game(L"\\\\.\\pipe\\solano_pellmar");
  host->PollApps();
  ASSERT_TRUE(game.Accept(kPatienceMs));
  for (const json& vector : LoadVectors("frames.json", "frames")) {
    SCOPED_TRACE(vector.dump());
    const std::string frame = Bytes(vector, "hex");
    EXPECT_TRUE(host->SendCommand(L"SOLANO-GAME", WideText(vector, "name").c_str(),
                                  WideText(vector, "args").c_str(), L"", L"", L""));
    EXPECT_EQ(game.Read(frame.size(), kPatienceMs), frame);
  }
}

TEST(Vectors, Queries) {
  DllHost host;
  const PatientSelect patience(host.Module());
  for (const json& vector : LoadVectors("query.json", "queries")) {
    SCOPED_TRACE(Text(vector, "name"));
    const UdpPeer server;
    host->QueryServer(L"request", L"text", WideText(vector, "gameId").c_str(), L"127.0.0.1",
                      server.Port());
    const Exchange exchange =
        Serve(server, Bytes(vector, "challengeResponse"), Bytes(vector, "response"));
    EXPECT_EQ(exchange.challengeRequest, Bytes(vector, "challengeRequest"));
    EXPECT_EQ(exchange.queryRequest, Bytes(vector, "queryRequest"));
    const std::optional<Event> event = host.WaitForEvent(L"QueryServerResult");
    ASSERT_TRUE(event.has_value());
    EXPECT_EQ(event->arg[1], WideText(vector, "json"));
  }
}

// The kit reads a server's answers with code of its own.
TEST(Vectors, QueriesOfTheDemoLauncher) {
  for (const json& vector : LoadVectors("query.json", "queries")) {
    SCOPED_TRACE(Text(vector, "name"));
    const UdpPeer server;
    KitProgram launcher(L"demo_launcher.exe", L"query 127.0.0.1:" + std::to_wstring(server.Port()) +
                                                  L" --timeout 60" + L" --game-id " +
                                                  WideText(vector, "gameId"));
    const Exchange exchange =
        Serve(server, Bytes(vector, "challengeResponse"), Bytes(vector, "response"));
    EXPECT_EQ(exchange.challengeRequest, Bytes(vector, "challengeRequest"));
    EXPECT_EQ(exchange.queryRequest, Bytes(vector, "queryRequest"));
    const std::string status = launcher.WaitForLine("status: ");
    EXPECT_TRUE(Text(vector, "json").starts_with("{\n  \"status\": \"" + status + "\"")) << status;
    EXPECT_EQ(launcher.ExitCode(), status == "SUCCESS" ? 0U : 1U);
  }
}

TEST(Vectors, PingBatches) {
  for (const json& vector : LoadVectors("ping.json", "batches")) {
    SCOPED_TRACE(Text(vector, "name"));
    DllHost host;
    const PingHelper helper(host.Module(),
                            PingReply(vector.at("times").get<std::vector<std::uint32_t>>()));
    std::vector<std::wstring> addresses;
    for (const json& address : vector.at("addresses")) {
      addresses.push_back(Widen(address.get<std::string>()));
    }
    std::vector<const wchar_t*> pointers;
    for (const std::wstring& address : addresses) pointers.push_back(address.c_str());
    host->PingBatch(L"batch", pointers.data(), pointers.size());
    const std::optional<Event> event = host.WaitForEvent(L"PingBatchResult");
    host->WaitForThreads();
    ASSERT_TRUE(event.has_value());
    EXPECT_EQ(event->arg[1], WideText(vector, "json"));
    const std::vector<HelperStart> starts = helper.Starts();
    ASSERT_EQ(starts.size(), 1U);
    const std::wstring& request = starts[0].request;
    EXPECT_EQ(request, Replaced(WideText(vector, "request"), L"<pipe>", PipeNameOf(request)));
  }
}

TEST(Vectors, HelperLines) {
  const std::wstring tavrKey = L"SOFTWARE\\Brightwater Games\\Ironvale Sentry";
  RegistryFixture store;
  store.SetText(L"SOFTWARE\\Ostrel", L"ClientVersion", L"1");
  for (const json& vector : LoadVectors("helper_lines.json", "launches")) {
    SCOPED_TRACE(Text(vector, "name"));
    const std::wstring appId = WideText(vector, "appId");
    const GameInstallation game =
        appId == L"TAVR-GAME" ? GameInstallation(tavrKey, L"TAVR.exe") : GameInstallation();
    const HelperInstallation helper;
    DllHost host;
    const ShellRecorder shell(host.Module());
    EXPECT_TRUE(host->Launch(appId.c_str(), WideText(vector, "commandLine").c_str(),
                             vector.at("flag").get<bool>(), L"", L"", L"", L""));
    const std::vector<ShellCall> calls = shell.Calls();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].parameters, Replaced(WideText(vector, "line"), L"<dir>", game.InstallDir()));
  }
}

}  // namespace
}  // namespace test_support
