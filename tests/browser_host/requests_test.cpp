// Every operation of the launcher as a request, and every event as a message.

#include "tests/browser_host/native_program.h"
#include "tests/host/kit/kit_program.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/game_installation.h"
#include "tests/support/scoped_handle.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

class BrowserHostRequests : public NativeProgramTest {
 protected:
  BrowserHostRequests() : program(Arguments()) { Hello(program); }

  Json Result(const std::string& method, const Json& params = Json::object()) {
    return program.Call(method, params)["result"];
  }

  const EnvironmentVariable installation{L"KOVLAUNCH_INSTDIR", ProgramDirectory()};
  const EnvironmentVariable mode{L"KIT_HELPER_PING_MODE", L"fixed"};
  // A game that no launcher reaches ends by itself. Under Wine it would keep the output of a failed
  // test open, and whoever reads that would wait for it.
  const EnvironmentVariable gameOptions{L"KIT_GAME_OPTIONS", L"--wait 60"};
  NativeProgram program;
};

const Json kSolano = {{"appId", "SOLANO-GAME"}};

Json WithAppId(Json params) {
  params["appId"] = "SOLANO-GAME";
  return params;
}

TEST_F(BrowserHostRequests, UnknownMethodsAreRefused) {
  EXPECT_EQ(program.CallForError("getNextEvent"), "unknown_method");
  EXPECT_EQ(program.CallForError(""), "unknown_method");
}

TEST_F(BrowserHostRequests, UnknownApplicationsAreRefused) {
  for (const char* const method :
       {"isInstalled", "getVersion", "getExtraArguments", "kill", "launch", "isRunning"}) {
    EXPECT_EQ(program.CallForError(method, {{"appId", "solano-game"}}), "unknown_application")
        << method;
    EXPECT_EQ(program.CallForError(method), "invalid_params") << method;
  }
}

TEST_F(BrowserHostRequests, LooksUpAGame) {
  EXPECT_EQ(Result("isInstalled", kSolano), false);
  EXPECT_EQ(Result("getVersion", kSolano), "NOT_INSTALLED");
  EXPECT_EQ(Result("getExtraArguments", kSolano), "NOT_INSTALLED");
  EXPECT_EQ(Result("isRunning", kSolano), false);
  EXPECT_EQ(Result("kill", kSolano), false);
  EXPECT_EQ(Result("launch", kSolano), false);

  const GameInstallation game(kSolanoKey, kSolanoName);
  game.Directory().WriteFile(L"version.json", "2.1.0");
  game.Directory().MakeDirectory(L"Update\\Xpack1");
  EXPECT_EQ(Result("isInstalled", kSolano), true);
  EXPECT_EQ(Result("getVersion", kSolano), "2.1.0");
  EXPECT_EQ(Result("getParameter", WithAppId({{"key", "EXPANSIONS_INSTALLED"}})), "Xpack1");
  EXPECT_EQ(Result("setParameter", WithAppId({{"key", "EXTRA_ARGUMENTS"}, {"value", "-a"}})), true);
  EXPECT_EQ(Result("getExtraArguments", kSolano), "-a");
}

TEST_F(BrowserHostRequests, TellsItsVersion) { EXPECT_EQ(Result("getLauncherVersion"), "162"); }

TEST_F(BrowserHostRequests, TextsMustBeTextsOfMeasure) {
  const std::string long4096(4096, 'x');
  EXPECT_EQ(Result("getParameter", WithAppId({{"key", long4096}})), "");
  EXPECT_EQ(program.CallForError("getParameter", WithAppId({{"key", long4096 + "x"}})),
            "invalid_params");
  EXPECT_EQ(program.CallForError("getParameter", WithAppId({{"key", 7}})), "invalid_params");
  EXPECT_EQ(program.CallForError("getParameter", WithAppId({{"key", std::string("a\0b", 3)}})),
            "invalid_params");
  EXPECT_EQ(program.CallForError("launch", WithAppId({{"flag", "yes"}})), "invalid_params");
}

TEST_F(BrowserHostRequests, OnlyTrustedPagesNameProgramsOfTheirOwn) {
  for (const char* const key :
       {"probeMethod", "registryKey", "workingDirectory", "binaryPath", "binaryName", "other"}) {
    EXPECT_EQ(program.CallForError("setParameter", WithAppId({{"key", key}, {"value", "x"}})),
              "not_permitted")
        << key;
  }
  NativeProgram trusted(Arguments());
  EXPECT_EQ(Hello(trusted, kTrustedPage)["result"]["permissions"], Json::array({"probe"}));
  const Json params = WithAppId({{"key", "probeMethod"}, {"value", "path"}});
  EXPECT_EQ(trusted.Call("setParameter", params)["result"], true);
  EXPECT_EQ(trusted.Call("getParameter", params)["result"], "path");
  EXPECT_EQ(
      trusted.CallForError("setParameter", WithAppId({{"key", "binaryPath"}, {"value", "a|b"}})),
      "invalid_params");
}

TEST_F(BrowserHostRequests, ACommandLineCannotBecomeAnotherField) {
  for (const char* const commandLine : {"a|b", "a\nb", "\x01",
                                        "a\xEF\xBD\x9C"
                                        "b"}) {
    EXPECT_EQ(program.CallForError("launch", WithAppId({{"commandLine", commandLine}})),
              "invalid_params")
        << commandLine;
  }
}

TEST_F(BrowserHostRequests, TheStoreClientGetsALink) {
  for (const char* const commandLine : {"a b", "a\"b", "a\\b", "a<b", "\xC3\xA9", "a^b"}) {
    EXPECT_EQ(
        program.CallForError("launch", {{"appId", "OSTREL-APP"}, {"commandLine", commandLine}}),
        "invalid_params")
        << commandLine;
  }
  EXPECT_EQ(Result("launch",
                   {{"appId", "OSTREL-APP"}, {"commandLine", "store/a-b._~:?#[]@!$&'()*+,;=%20"}}),
            false);  // it is not installed
}

TEST_F(BrowserHostRequests, LaunchesFollowsAndCommandsAGame) {
  const GameInstallation game(kSolanoKey, L"placeholder.exe");
  game.Directory().CopyFile(ProgramDirectory() + L"\\demo_game.exe", kSolanoName);
  EXPECT_EQ(Result("sendCommand", WithAppId({{"command", "echo"}, {"arguments", {"a"}}})), false);
  EXPECT_EQ(Result("launch", WithAppId({{"commandLine", ""}, {"flag", true}})), true);
  EXPECT_EQ(program.ReceiveEvent("StateChanged"), Json::parse(R"({
      "source": "SOLANO-GAME", "name": "StateChanged", "arguments": ["PENDING"]})"));
  EXPECT_EQ(program.ReceiveEvent("StateChanged")["arguments"], Json::array({"READY"}));
  EXPECT_EQ(Result("isRunning", kSolano), true);
  const Json echo = WithAppId({{"command", "echo"}, {"arguments", {"a", "b", "c", "d"}}});
  EXPECT_EQ(Result("sendCommand", echo), true);
  EXPECT_EQ(program.ReceiveEvent("echo"), Json::parse(R"({
      "source": "SOLANO-GAME", "name": "echo", "arguments": ["a", "b", "c", "d"]})"));
  // A name alone makes no result.
  Result("sendCommand",
         WithAppId({{"command", "send"}, {"arguments", {"QueryServerResult", "x", "y"}}}));
  EXPECT_EQ(program.ReceiveEvent("QueryServerResult"), Json::parse(R"({
      "source": "SOLANO-GAME", "name": "QueryServerResult", "arguments": ["x", "y"]})"));
  EXPECT_EQ(Result("kill", kSolano), true);
  EXPECT_EQ(program.ReceiveEvent("StateChanged")["arguments"], Json::array({"GAMEISGONE"}));
}

TEST_F(BrowserHostRequests, AGameThatReadsNothingIsSentSoMuch) {
  const ScopedHandle pipe{CreateNamedPipeW(LR"(\\.\pipe\solano_pellmar)", PIPE_ACCESS_DUPLEX, 0, 1,
                                           4096, 4096, 0, nullptr)};
  ASSERT_EQ(program.ReceiveEvent("StateChanged")["arguments"], Json::array({"READY"}));
  const std::string longest(4096, 'x');
  const Json command =
      WithAppId({{"command", "x"}, {"arguments", {longest, longest, longest, longest}}});
  int sent = 0;
  Json answer = program.Call("sendCommand", command);
  for (; answer.value("result", false) && sent < 200; ++sent) {
    answer = program.Call("sendCommand", command);
  }
  EXPECT_EQ(answer["error"]["code"], "busy");
  EXPECT_GE(sent, 63);  // a mebibyte, and a little more as time goes by
}

TEST_F(BrowserHostRequests, ChecksCommands) {
  EXPECT_EQ(program.CallForError("sendCommand", WithAppId({{"command", "x"}})), "invalid_params");
  EXPECT_EQ(program.CallForError("sendCommand",
                                 WithAppId({{"command", ""}, {"arguments", Json::array()}})),
            "invalid_params");
  EXPECT_EQ(
      program.CallForError("sendCommand",
                           WithAppId({{"command", "x"}, {"arguments", {"1", "2", "3", "4", "5"}}})),
      "invalid_params");
  EXPECT_EQ(program.CallForError("sendCommand", WithAppId({{"command", "x"}, {"arguments", {1}}})),
            "invalid_params");
}

TEST_F(BrowserHostRequests, PostsEvents) {
  const Json event = {{"source", "me"}, {"name", "Hello"}, {"arguments", {"1", "", "3"}}};
  EXPECT_EQ(Result("postEvent", event), nullptr);
  EXPECT_EQ(program.ReceiveEvent("Hello"), event);
  for (const char* const name : {"PingBatchResult", "QueryServerResult"}) {
    EXPECT_EQ(program.CallForError("postEvent",
                                   {{"source", ""}, {"name", name}, {"arguments", Json::array()}}),
              "not_permitted");
  }
}

TEST_F(BrowserHostRequests, Pings) {
  const Json params = {{"batchId", "one"}, {"addresses", {"127.0.0.1", "127.0.0.2"}}};
  EXPECT_EQ(Result("pingBatch", params), true);
  EXPECT_EQ(program.ReceiveEvent("PingBatchResult"), Json::parse(R"({
      "source": "", "name": "PingBatchResult", "arguments": ["one"],
      "result": [{"address": "127.0.0.1", "milliseconds": 1},
                 {"address": "127.0.0.2", "milliseconds": 2}]})"));
}

TEST_F(BrowserHostRequests, TellsNoAnswerFromATime) {
  mode.Set(L"echo");
  NativeProgram other(Arguments());
  Hello(other);
  other.Call("pingBatch", {{"batchId", "one"}, {"addresses", {"127.255.255.255"}}});
  EXPECT_EQ(other.ReceiveEvent("PingBatchResult")["result"], Json::parse(R"([
      {"address": "127.255.255.255", "milliseconds": null}])"));
}

TEST_F(BrowserHostRequests, TellsAMissingHelperFromATime) {
  for (const char* const helperMode : {"silent", "short1023"}) {
    mode.Set(Widen(helperMode));
    NativeProgram other(Arguments());
    Hello(other);
    other.Call("pingBatch", {{"batchId", "one"}, {"addresses", {"127.0.0.1"}}});
    const Json event = other.ReceiveEvent("PingBatchResult");
    EXPECT_EQ(event["arguments"], Json::array({"one"})) << helperMode;
    EXPECT_EQ(event["result"], nullptr) << helperMode;
    EXPECT_EQ(event["code"], "helper_missing") << helperMode;
  }
}

TEST_F(BrowserHostRequests, EveryAddressOfTheLargestBatchHasATime) {
  const Json params = {{"batchId", "one"},
                       {"addresses", std::vector<std::string>(255, "127.0.0.1")}};
  EXPECT_EQ(Result("pingBatch", params), true);
  const Json result = program.ReceiveEvent("PingBatchResult")["result"];
  ASSERT_EQ(result.size(), 255U);
  EXPECT_EQ(result[254]["milliseconds"], 255);
}

TEST_F(BrowserHostRequests, ChecksAddresses) {
  for (const char* const address : {"localhost", "127.0.0.1|127.0.0.2", "", "1.2.3"}) {
    EXPECT_EQ(program.CallForError("pingBatch", {{"batchId", "a"}, {"addresses", {address}}}),
              "invalid_params")
        << address;
  }
  const Json tooMany = std::vector<std::string>(256, "127.0.0.1");
  EXPECT_EQ(program.CallForError("pingBatch", {{"batchId", "a"}, {"addresses", tooMany}}),
            "invalid_params");
}

TEST_F(BrowserHostRequests, QueriesAServer) {
  KitProgram server(L"demo_server.exe", L"--name \"Aldo \\\"the Rock\\\"\"");
  const int port = std::stoi(server.WaitForLine("server: listening on 127.0.0.1:"));
  const Json params = {{"requestId", "q1"},
                       {"text", "t"},
                       {"gameId", "1"},
                       {"address", "127.0.0.1"},
                       {"port", port}};
  EXPECT_EQ(Result("queryServer", params), nullptr);
  const Json event = program.ReceiveEvent("QueryServerResult");
  EXPECT_EQ(event["source"], "q1");
  EXPECT_EQ(event["arguments"], Json::array({"t"}));
  EXPECT_EQ(event["result"]["status"], "SUCCESS");
  EXPECT_EQ(event["result"]["teams"][0]["players"][0]["name"], "Aldo \"the Rock\"");
}

TEST_F(BrowserHostRequests, ChecksQueries) {
  const Json good = {
      {"requestId", "q1"}, {"gameId", "1"}, {"address", "127.0.0.1"}, {"port", 25200}};
  const std::vector<std::pair<const char*, Json>> changes{{"requestId", "SOLANO-GAME"},
                                                          {"gameId", "12abc"},
                                                          {"gameId", ""},
                                                          {"gameId", 1},
                                                          {"address", "localhost"},
                                                          {"port", 0},
                                                          {"port", 65536},
                                                          {"port", "25200"},
                                                          {"port", -1}};
  for (const auto& [name, value] : changes) {
    Json params = good;
    params[name] = value;
    EXPECT_EQ(program.CallForError("queryServer", params), "invalid_params") << name << value;
  }
}

TEST_F(BrowserHostRequests, WaitForThreadsIsAnsweredLast) {
  const Json params = {{"batchId", "one"}, {"addresses", {"127.0.0.1"}}};
  EXPECT_EQ(Result("pingBatch", params), true);
  program.Send(R"({"id": 900, "method": "waitForThreads"})");
  const Json first = program.ReceiveJson();
  ASSERT_TRUE(first.contains("event")) << first;
  EXPECT_EQ(first["event"]["name"], "PingBatchResult");
  EXPECT_EQ(program.ReceiveJson(), Json::parse(R"({"id": 900, "result": null})"));
  EXPECT_EQ(Result("waitForThreads"), nullptr);
}

/// Helpers that answer when they are told.
class BrowserHostBusy : public NativeProgramTest {
 protected:
  BrowserHostBusy() : program(Arguments()) { Hello(program); }

  const std::wstring gateName = UniqueName(L"ping_gate");
  const ScopedHandle gate{CreateEventW(nullptr, TRUE, FALSE, gateName.c_str())};
  const EnvironmentVariable installation{L"KOVLAUNCH_INSTDIR", ProgramDirectory()};
  const EnvironmentVariable mode{L"KIT_HELPER_PING_MODE", L"late"};
  const EnvironmentVariable gateVariable{L"KIT_HELPER_PING_GATE", gateName};
  NativeProgram program;
  const Json batch = {{"batchId", "a"}, {"addresses", Json::array()}};
};

TEST_F(BrowserHostBusy, OnlySoManyPingsAreUnderWay) {
  for (int i = 0; i < 16; ++i) EXPECT_EQ(program.Call("pingBatch", batch)["result"], true);
  EXPECT_EQ(program.CallForError("pingBatch", batch), "busy");
  SetEvent(gate.Get());
  for (int i = 0; i < 16; ++i) program.ReceiveEvent("PingBatchResult");
  EXPECT_EQ(program.Call("pingBatch", batch)["result"], true);
  program.ReceiveEvent("PingBatchResult");
}

TEST_F(BrowserHostBusy, OnlySoManyRequestsWait) {
  program.Call("pingBatch", batch);
  for (int i = 100; i < 117; ++i) {
    program.Send(Json{{"id", i}, {"method", "waitForThreads"}}.dump());
  }
  program.Send(R"({"id": 117, "method": "echo"})");
  const Json refused = program.ReceiveJson();
  EXPECT_EQ(refused["id"], 116);
  EXPECT_EQ(refused["error"]["code"], "busy");
  EXPECT_EQ(program.ReceiveJson()["id"], 117);
  SetEvent(gate.Get());
  program.ReceiveEvent("PingBatchResult");
  for (int i = 100; i < 116; ++i) EXPECT_EQ(program.ReceiveJson()["id"], i);
}

TEST_F(BrowserHostRequests, PollsOnRequest) { EXPECT_EQ(Result("pollApps"), nullptr); }

}  // namespace
}  // namespace test_support
