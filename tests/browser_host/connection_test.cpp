// Who is let in, and what becomes of broken connections.

#include <optional>
#include <string>
#include <string_view>

#include "tests/browser_host/native_program.h"
#include "tests/host/kit/kit_program.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/pipe_server.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

class BrowserHostConnection : public NativeProgramTest {};

constexpr std::size_t kMebibyte = 1048576;

TEST_F(BrowserHostConnection, AListedPageIsLetIn) {
  NativeProgram program(Arguments());
  EXPECT_EQ(Hello(program), Json::parse(R"({"id": 1, "result": {
      "protocol": 1, "launcherVersion": "162", "permissions": [],
      "pipes": {"BRENNA-CTE-GAME": "\\\\.\\pipe\\brenna_pellmar",
                "BRENNA-GAME": "\\\\.\\pipe\\brenna_pellmar",
                "SOLANO-GAME": "\\\\.\\pipe\\solano_pellmar",
                "TAMSIN-BETA2-GAME": "\\\\.\\pipe\\tamsin_pellmar",
                "TAMSIN-CTE-GAME": "\\\\.\\pipe\\tamsin_pellmar",
                "TAMSIN-MAINLINE-GAME": "\\\\.\\pipe\\tamsin_pellmar",
                "TAVR-GAME": "\\\\.\\pipe\\tavr_pellmar"},
      "applications": ["BRENNA-CTE-GAME", "BRENNA-GAME", "OSTREL-APP", "SOLANO-GAME",
                       "TAMSIN-BETA2-GAME", "TAMSIN-CTE-GAME", "TAMSIN-MAINLINE-GAME",
                       "TAVR-GAME"]}})"));
  program.CloseInput();
  EXPECT_EQ(program.ExitCode(), 0U);
}

TEST_F(BrowserHostConnection, AnotherPageIsRefused) {
  for (const char* const origin :
       {"https://evil.example", "https://games.example:443", "null", ""}) {
    NativeProgram program(Arguments());
    EXPECT_EQ(program.CallForError("hello", {{"origin", origin}, {"protocol", 1}}), "refused");
    EXPECT_EQ(program.Receive(), std::nullopt);
    EXPECT_EQ(program.ExitCode(), 1U);
  }
}

TEST_F(BrowserHostConnection, NothingIsDoneBeforeHello) {
  NativeProgram program(Arguments());
  EXPECT_EQ(program.CallForError("getLauncherVersion"), "not_permitted");
  EXPECT_EQ(program.ExitCode(), 1U);
}

TEST_F(BrowserHostConnection, HelloComesOnce) {
  NativeProgram program(Arguments());
  Hello(program);
  EXPECT_EQ(program.CallForError("hello", {{"origin", kTrustedPage}, {"protocol", 1}}),
            "unknown_method");
}

TEST_F(BrowserHostConnection, AnotherProtocolIsRefused) {
  NativeProgram program(Arguments());
  EXPECT_EQ(program.CallForError("hello", {{"origin", kPage}, {"protocol", 0}}), "invalid_params");
  EXPECT_EQ(program.ExitCode(), 1U);
}

TEST_F(BrowserHostConnection, AnotherExtensionIsRefused) {
  NativeProgram other(Arguments("chrome-extension://ponmlkjihgfedcbaponmlkjihgfedcba"));
  EXPECT_EQ(other.Receive(), std::nullopt);
  EXPECT_EQ(other.ExitCode(), 1U);
  // Nor may a page pass for one.
  NativeProgram page(Arguments(kPage));
  EXPECT_EQ(page.Receive(), std::nullopt);
  EXPECT_EQ(page.ExitCode(), 1U);
}

TEST_F(BrowserHostConnection, AListWithAWildcardLetsNobodyIn) {
  work.WriteFile(L"origins.txt", std::string(kExtension) + "\nhttps://*.example\n");
  NativeProgram program(Arguments());
  EXPECT_EQ(program.Receive(), std::nullopt);
  EXPECT_EQ(program.ExitCode(), 2U);
}

TEST_F(BrowserHostConnection, TellsThatTheDllIsMissing) {
  NativeProgram program(L"--dll C:\\none.dll --origins \"" + work.Join(L"origins.txt") + L"\" " +
                        Widen(kExtension) + L"/");
  const Json answer = Hello(program);
  EXPECT_EQ(answer["error"]["code"], "dll_missing");
  EXPECT_TRUE(
      answer["error"]["message"].get<std::string>().starts_with("cannot load C:\\none.dll"));
}

TEST_F(BrowserHostConnection, MalformedMessagesAreAnsweredAndForgotten) {
  NativeProgram program(Arguments());
  Hello(program);
  for (const char* const text :
       {"", "{", "[]", "7", "null", "{}", R"({"id": -1, "method": "echo"})",
        R"({"id": "x", "method": "echo"})", R"({"method": "echo"})", "\xFF\xFE"}) {
    program.Send(text);
    const Json answer = program.ReceiveJson();
    EXPECT_EQ(answer["error"]["code"], "malformed") << text;
    EXPECT_TRUE(answer["id"].is_null()) << text;
  }
  program.Send(R"({"id": 77})");
  Json answer = program.ReceiveJson();
  EXPECT_EQ(answer["error"]["code"], "malformed");
  EXPECT_EQ(answer["id"], 77);
  program.Send(R"({"id": 78, "method": "echo", "params": [1]})");
  answer = program.ReceiveJson();
  EXPECT_EQ(answer["error"]["code"], "malformed");
  EXPECT_EQ(program.Call("echo", {{"value", 5}})["result"]["value"], 5);
}

std::string Nested(std::size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}

TEST_F(BrowserHostConnection, DeepNestingIsRefused) {
  NativeProgram program(Arguments());
  Hello(program);
  const std::string head = R"({"id": 5, "method": "echo", "params": {"value": )";
  program.Send(head + Nested(30) + "}}");
  EXPECT_EQ(program.ReceiveJson()["result"]["value"], Json::parse(Nested(30)));
  for (const std::size_t levels : {31U, 3000U, 12000U, 500000U}) {
    program.Send(head + Nested(levels) + "}}");
    const Json answer = program.ReceiveJson();
    EXPECT_EQ(answer["id"], 5) << levels;
    EXPECT_EQ(answer["error"]["code"], "too_large") << levels;
  }
  program.Send(std::string(kMebibyte, '['));
  EXPECT_EQ(program.ReceiveJson()["error"]["code"], "malformed");
}

TEST_F(BrowserHostConnection, ManyMembersAreRefused) {
  NativeProgram program(Arguments());
  Hello(program);
  const auto answerTo = [&](std::size_t members) {
    std::string text = R"({"id": 5, "method": "echo", "params": {"a0": 0)";
    for (std::size_t i = 1; i < members; ++i) text += ",\"a" + std::to_string(i) + "\":0";
    program.Send(text + "}}");
    return program.ReceiveJson();
  };
  EXPECT_EQ(answerTo(997)["result"].size(), 997U);  // the message's own are three
  EXPECT_EQ(answerTo(998)["error"]["code"], "too_large");
  EXPECT_EQ(answerTo(80000)["error"]["code"], "too_large");
}

TEST_F(BrowserHostConnection, TheLongestMessageIsAccepted) {
  NativeProgram program(Arguments());
  Hello(program);
  std::string text = R"({"id": 5, "method": "echo", "params": {"value": ")";
  text += std::string(kMebibyte - text.size() - 3, 'x') + "\"}}";
  ASSERT_EQ(text.size(), kMebibyte);
  program.Send(text);
  const Json answer = program.ReceiveJson();
  EXPECT_EQ(answer["result"]["value"].get<std::string>().size(), 1048524U);
}

TEST_F(BrowserHostConnection, ALongerOneEndsTheConnection) {
  NativeProgram program(Arguments());
  Hello(program);
  program.Write(std::string("\x01\x00\x10\x00", 4));  // one byte more than a mebibyte
  const Json answer = program.ReceiveJson();
  EXPECT_EQ(answer["error"]["code"], "too_large");
  EXPECT_TRUE(answer["id"].is_null());
  EXPECT_EQ(program.Receive(), std::nullopt);
  EXPECT_EQ(program.ExitCode(), 1U);
}

TEST_F(BrowserHostConnection, AnAnswerIsNeverLongerThanTheBrowserTakes) {
  NativeProgram program(Arguments());
  Hello(program);
  // Each number takes five bytes on the way in and eighteen on the way out.
  std::string text = R"({"id": 5, "method": "echo", "params": {"value": [1e14)";
  for (int i = 0; i < 150000; ++i) text += ",1e14";
  program.Send(text + "]}}");
  const std::optional<std::string> answer = program.Receive();
  ASSERT_TRUE(answer);
  EXPECT_LE(answer->size(), kMebibyte);
  const Json json = Json::parse(*answer);
  EXPECT_EQ(json["id"], 5);
  EXPECT_EQ(json["error"]["code"], "too_large");
}

TEST_F(BrowserHostConnection, ManyMessagesAtOnceAreAnsweredInOrder) {
  NativeProgram program(Arguments());
  Hello(program);
  // More than the queue holds, and few enough for the answers to wait in the pipe meanwhile.
  for (int i = 100; i < 190; ++i) program.Send(Json{{"id", i}, {"method", "echo"}}.dump());
  for (int i = 100; i < 190; ++i) EXPECT_EQ(program.ReceiveJson()["id"], i);
}

TEST_F(BrowserHostConnection, AMessageCutShortIsTheEnd) {
  NativeProgram program(Arguments());
  Hello(program);
  program.Write(std::string("\x10\x00\x00\x00{\"id\"", 9));
  program.CloseInput();
  EXPECT_EQ(program.Receive(), std::nullopt);
  EXPECT_EQ(program.ExitCode(), 0U);
}

TEST_F(BrowserHostConnection, AClosedOutputIsTheEnd) {
  NativeProgram program(Arguments());
  Hello(program);
  program.CloseOutput();
  program.Send(R"({"id": 5, "method": "echo"})");
  EXPECT_EQ(program.ExitCode(), 0U);
}

/// A ping batch whose helper runs as a process of its own.
class BrowserHostBatch : public BrowserHostConnection {
 protected:
  void StartBatch(const wchar_t* helperMode) {
    const EnvironmentVariable installation(L"KOVLAUNCH_INSTDIR", ProgramDirectory());
    const EnvironmentVariable mode(L"KIT_HELPER_PING_MODE", helperMode);
    const EnvironmentVariable doneEvent(L"KIT_HELPER_DONE_EVENT", helperDoneName);
    program.emplace(Arguments());
    Hello(*program);
    const Json params = {{"batchId", "a"}, {"addresses", {"127.0.0.1"}}};
    EXPECT_EQ(program->Call("pingBatch", params)["result"], true);
  }

  const std::wstring helperDoneName = UniqueName(L"helper_done");
  const ScopedHandle helperDone{CreateEventW(nullptr, TRUE, FALSE, helperDoneName.c_str())};
  std::optional<NativeProgram> program;
};

TEST_F(BrowserHostBatch, AHelperThatHangsDoesNotHoldUpTheEnd) {
  StartBatch(L"absent");
  EXPECT_TRUE(WaitFor(helperDone.Get(), kPatienceMs));
  program->CloseInput();
  EXPECT_EQ(program->ExitCode(), 0U);
}

TEST_F(BrowserHostBatch, AHelperThatIsBeingStartedGetsGoing) {
  StartBatch(L"fixed");
  program->CloseInput();
  EXPECT_EQ(program->ExitCode(), 0U);
  EXPECT_TRUE(WaitFor(helperDone.Get(), kPatienceMs));
}

/// The launcher holds hundreds of events, of which the first has been delivered: a game has sent so
/// many commands at once.
class BrowserHostManyEvents : public BrowserHostConnection {
 protected:
  BrowserHostManyEvents() : program(Arguments()) {
    Hello(program);
    EXPECT_TRUE(game.Accept(kPatienceMs));
    constexpr std::string_view kFrame{"KE\x08\0\x01\x65\0\0", 8};  // the command "e"
    std::string frames;
    for (std::size_t i = 0; i < kEvents; ++i) frames += kFrame;
    EXPECT_TRUE(game.Write(frames, kPatienceMs));
    program.ReceiveEvent("e");
  }

  static constexpr std::size_t kEvents = 512;  // 4,096 bytes, which the launcher reads at once
  PipeServer game{LR"(\\.\pipe\solano_pellmar)"};
  NativeProgram program;
};

// The next few wait in the pipe already.

TEST_F(BrowserHostManyEvents, AreDeliveredBetweenRequests) {
  program.Send(R"({"id": 900, "method": "echo"})");
  std::size_t before = 0;
  while (program.ReceiveJson().value("id", 0) != 900) ++before;
  EXPECT_LT(before, kEvents / 2);
}

TEST_F(BrowserHostManyEvents, DoNotHoldUpTheEnd) {
  // More than are answered before the pipe is full.
  constexpr std::size_t kRequests = 60;
  for (std::size_t i = 0; i < kRequests; ++i) program.Send(R"({"id": 900, "method": "echo"})");
  program.CloseInput();
  std::size_t events = 0;
  std::size_t answers = 0;
  while (const std::optional<std::string> text = program.Receive()) {
    ++(Json::parse(*text).contains("event") ? events : answers);
  }
  EXPECT_LT(events, kEvents / 2);
  EXPECT_LT(answers, kRequests);
  EXPECT_EQ(program.ExitCode(), 0U);
}

TEST_F(BrowserHostConnection, PrintsHelp) {
  NativeProgram program(L"--help");
  EXPECT_EQ(program.ExitCode(), 0U);
}

TEST_F(BrowserHostConnection, AnOptionNeedsItsValue) {
  NativeProgram program(L"--dll");
  EXPECT_EQ(program.ExitCode(), 2U);
}

}  // namespace
}  // namespace test_support
