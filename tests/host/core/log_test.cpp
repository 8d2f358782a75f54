// The diagnostic log as the process's standard streams show it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <map>
#include <thread>

#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/import_redirector.h"
#include "tests/support/line_hook.h"
#include "tests/support/log_of.h"
#include "tests/support/pipe_server.h"
#include "tests/support/stream_capture.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class CoreLog : public testing::Test {
 protected:
  // What the log shows of a value; a parameter is the shortest way from the host's text to the log.
  std::string Logged(const std::wstring& value) {
    return LogOf([&] { host->SetParameter(L"TAVR-GAME", L"key", value.c_str()); });
  }

  static std::string Line(const std::string& value) {
    return "BaseApp::SetParameter: Setting parameter key to " + value + "\n";
  }

  DllHost host;
};

TEST_F(CoreLog, WritesWideTextAsUtf8) {
  EXPECT_EQ(Logged(L"\x01\x7F\u0080\u07FF\u0800\uD7FF\uE000\uFFFF\U00010000\U0010FFFF"),
            Line("\x01\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"
                 "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"));
  EXPECT_EQ(Logged(L"\u0080"), Line("\xC2\x80"));
  // Surrogates without a partner.
  EXPECT_EQ(Logged(L"\xD800x\xDC00\xDBFF"), Line("\xEF\xBF\xBDx\xEF\xBF\xBD\xEF\xBF\xBD"));
  EXPECT_EQ(Logged(L"\xDBFF\uE000"), Line("\xEF\xBF\xBD\xEE\x80\x80"));
}

TEST_F(CoreLog, DoesNotInterpretTheTextsItWrites) {
  EXPECT_EQ(Logged(L"%s%n%d 100% %p"), Line("%s%n%d 100% %p"));
}

// Lengths around those at which a line needs other memory.
TEST_F(CoreLog, WritesLinesOfAnyLengthWhole) {
  for (const std::size_t length : {0u, 400u, 462u, 463u, 464u, 465u, 512u, 513u, 4096u, 100000u}) {
    EXPECT_EQ(Logged(std::wstring(length, L'x')), Line(std::string(length, 'x'))) << length;
    std::string euros;
    for (std::size_t i = 0; i < length; ++i) euros += "\xE2\x82\xAC";
    EXPECT_EQ(Logged(std::wstring(length, L'\u20AC')), Line(euros)) << length;
  }
}

TEST_F(CoreLog, WritesTheBeginningOfALineForWhichThereIsNoMemory) {
  const std::wstring key(90000, L'x');
  // The key's own copies take 180,002 bytes; a line and its bytes take more.
  for (const std::size_t limit : {180010u, 250000u}) {
    ImportHook<"malloc", void*(std::size_t)> allocations(host.Module());
    allocations.SetReplacement(
        [&](std::size_t size) { return size > limit ? nullptr : allocations.CallOriginal(size); });
    const std::string logged = LogOf([&] { host.GetParameter(L"TAVR-GAME", key.c_str()); });
    EXPECT_THAT(logged, testing::StartsWith("BaseApp::GetParameter: Parameter xxx"));
    EXPECT_LT(logged.size(), 1000u);
  }
}

// So that lines of several threads, or of the host, cannot mix.
TEST_F(CoreLog, HandsEachLineToItsStreamWhole) {
  std::vector<std::string> lines;
  const LineHook hook(host.Module(), [&](const std::string& line, FILE* stream) {
    EXPECT_EQ(stream, stderr);
    lines.push_back(line);
  });
  host->SetParameter(L"TAVR-GAME", L"key", L"value");
  host->SetParameter(L"TAVR-GAME", L"key", std::wstring(10000, L'x').c_str());
  EXPECT_THAT(lines, ElementsAre(Line("value"), Line(std::string(10000, 'x'))));
}

// Each thread has an application of its own, as the host's contract asks; the host prints, too.
TEST_F(CoreLog, KeepsTheLinesOfThreadsApart) {
  constexpr int kLinesEach = 200;
  const StreamCapture errors;
  std::vector<std::thread> threads;
  for (const wchar_t* const id : kAllAppIds) {
    threads.emplace_back([this, id] {
      const std::wstring value(300, L'x');
      for (int i = 0; i < kLinesEach; ++i) host->SetParameter(id, id, value.c_str());
    });
  }
  for (int i = 0; i < kLinesEach; ++i) fputs("the host's line\n", stderr);
  for (std::thread& thread : threads) thread.join();
  std::map<std::string, int> counts;
  for (const std::string& line : Lines(errors.Text())) ++counts[line];
  ASSERT_THAT(counts, SizeIs(9));
  EXPECT_EQ(counts["the host's line"], kLinesEach);
  for (const wchar_t* const id : kAllAppIds) {
    EXPECT_EQ(counts["BaseApp::SetParameter: Setting parameter " + Narrow(id) + " to " +
                     std::string(300, 'x')],
              kLinesEach);
  }
}

// A launcher's life with everything that goes to standard output.
TEST(CoreLogOutput, IsThreeTextsInAll) {
  const EnvironmentVariable nowhere(L"KOVLAUNCH_INSTDIR", L"C:\\no such directory");
  PipeServer game(LR"(\\.\pipe\solano_pellmar)");
  DllHost host(DllHost::Creation::kLater);
  std::vector<std::string> texts;
  const LineHook lines(host.Module(), [&](const std::string& text, FILE* stream) {
    if (stream == stdout) texts.push_back(text);
  });
  host.Create();
  host->PollApps();
  ASSERT_TRUE(game.Accept(kPatienceMs));
  host->SetParameter(L"TAVR-GAME", L"key", L"value");
  EXPECT_TRUE(host->SendCommand(L"SOLANO-GAME", L"c", L"", L"", L"", L""));
  host->Launch(L"TAVR-GAME", L"", false, L"", L"", L"", L"");
  host->PingBatch(L"batch", nullptr, 0);
  host->QueryServer(L"request", L"", L"none", L"127.0.0.1", 9);
  host.Destroy();
  EXPECT_THAT(texts, ElementsAre("Plugin process ID: " + std::to_string(GetCurrentProcessId()),
                                 "AshgroveApp::SendCommand: Sending command!\n",
                                 "AshgroveApp::SendCommand: DONE!\n"));
}

TEST_F(CoreLog, ThatCannotBeWrittenChangesNothing) {
  ImportHook<"fwrite", std::size_t(const void*, std::size_t, std::size_t, FILE*)> writes(
      host.Module());
  writes.FailAlways(0u);
  EXPECT_TRUE(host->SetParameter(L"TAVR-GAME", L"key", L"value"));
  EXPECT_EQ(host.GetParameter(L"TAVR-GAME", L"key"), L"value");
  EXPECT_EQ(writes.CallCount(), 2u);
}

}  // namespace
}  // namespace test_support
