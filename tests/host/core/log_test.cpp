// The diagnostic log as the process's standard streams show it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <io.h>

#include <map>
#include <thread>

#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/import_redirector.h"
#include "tests/support/line_hook.h"
#include "tests/support/stream_capture.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

class CoreLog : public testing::Test {
 protected:
  DllHost host;
};

// A wide line; the game's parameters are the shortest way from the host's text to the log.
TEST_F(CoreLog, WritesWideTextAsUtf8) {
  const StreamCapture errors;
  host->SetParameter(L"TAVR-GAME", L"\u00E9\u20AC", L"\U0001F600\U0010FFFF");
  EXPECT_EQ(errors.Text(),
            "BaseApp::SetParameter: Setting parameter \xC3\xA9\xE2\x82\xAC to "
            "\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF\n");
}

TEST_F(CoreLog, DoesNotInterpretTheTextsItWrites) {
  const StreamCapture errors;
  host->SetParameter(L"TAVR-GAME", L"%s%n%d", L"100% %p");
  EXPECT_EQ(errors.Text(), "BaseApp::SetParameter: Setting parameter %s%n%d to 100% %p\n");
}

TEST_F(CoreLog, EndsLinesWithALineFeedAlone) {
  const StreamCapture errors;
  host->SetParameter(L"TAVR-GAME", L"key", L"value");
  host.GetParameter(L"TAVR-GAME", L"key");
  EXPECT_EQ(errors.Text(),
            "BaseApp::SetParameter: Setting parameter key to value\n"
            "BaseApp::GetParameter: Return paramter key => value\n");
}

// Lengths around those at which a formatter may change its memory.
TEST_F(CoreLog, WritesLinesOfAnyLengthWhole) {
  for (const std::size_t length : {400u, 456u, 457u, 458u, 459u, 460u, 461u, 462u, 463u, 464u, 465u,
                                   511u, 512u, 513u, 1023u, 1024u, 1025u, 4096u, 100000u}) {
    const StreamCapture errors;
    const std::wstring value(length, L'x');
    host->SetParameter(L"TAVR-GAME", L"key", value.c_str());
    EXPECT_EQ(errors.Text(),
              "BaseApp::SetParameter: Setting parameter key to " + std::string(length, 'x') + "\n")
        << length;
  }
}

TEST_F(CoreLog, WritesLongLinesOfWideLettersWhole) {
  for (const std::size_t length : {400u, 460u, 512u, 5000u}) {
    const StreamCapture errors;
    std::string encoded;
    std::wstring value;
    for (std::size_t i = 0; i < length; ++i) {
      value += L'\u20AC';
      encoded += "\xE2\x82\xAC";
    }
    host->SetParameter(L"TAVR-GAME", L"key", value.c_str());
    EXPECT_EQ(errors.Text(), "BaseApp::SetParameter: Setting parameter key to " + encoded + "\n")
        << length;
  }
}

// So that lines of several threads cannot mix.
TEST_F(CoreLog, WritesEachLineByOneWrite) {
  std::vector<std::string> writes;
  const LineHook write(host.Module(), [&](const std::string& line) { writes.push_back(line); });
  const std::wstring longValue(10000, L'x');
  host->SetParameter(L"TAVR-GAME", L"key", L"value");
  host->SetParameter(L"TAVR-GAME", L"key", longValue.c_str());
  host.GetParameter(L"TAVR-GAME", L"none");
  EXPECT_THAT(writes,
              ElementsAre("BaseApp::SetParameter: Setting parameter key to value\n",
                          "BaseApp::SetParameter: Setting parameter key to " +
                              std::string(10000, 'x') + "\n",
                          "BaseApp::GetParameter: Parameter none not set, returning empty\n"));
}

// Each thread has an application of its own, as the host's contract asks.
TEST_F(CoreLog, KeepsTheLinesOfEightThreadsApart) {
  constexpr int kLinesEach = 200;
  const StreamCapture errors;
  std::vector<std::thread> threads;
  for (const wchar_t* const id : kAllAppIds) {
    threads.emplace_back([this, id] {
      const std::wstring value(300, L'x');
      for (int i = 0; i < kLinesEach; ++i) host->SetParameter(id, id, value.c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::map<std::string, int> counts;
  for (const std::string& line : Lines(errors.Text())) ++counts[line];
  ASSERT_THAT(counts, SizeIs(8));
  for (const wchar_t* const id : kAllAppIds) {
    EXPECT_EQ(counts["BaseApp::SetParameter: Setting parameter " + Narrow(id) + " to " +
                     std::string(300, 'x')],
              kLinesEach);
  }
}

TEST_F(CoreLog, GoesToStandardErrorAlone) {
  StreamCapture output(StreamCapture::Stream::kOutput);
  const StreamCapture errors;
  host->SetParameter(L"TAVR-GAME", L"key", L"value");
  host.Destroy();
  output.Stop();
  EXPECT_EQ(output.Text(), "");
  EXPECT_THAT(Lines(errors.Text()), SizeIs(10));
}

TEST_F(CoreLog, IsWrittenWhateverTheDebugVariableSays) {
  for (const std::optional<std::wstring>& value :
       {std::optional<std::wstring>(), std::optional<std::wstring>(L"0"),
        std::optional<std::wstring>(L"1")}) {
    const EnvironmentVariable debug(L"KOVLAUNCH_DEBUG", value);
    const StreamCapture errors;
    host->SetParameter(L"TAVR-GAME", L"key", L"value");
    EXPECT_EQ(errors.Text(), "BaseApp::SetParameter: Setting parameter key to value\n");
  }
}

// A plug-in process without a console was started without streams, and may be given some later.
TEST(CoreLogWithoutRuntimeStreams, GoesToTheProcessesStandardHandles) {
  const EnvironmentVariable debug(L"KOVLAUNCH_DEBUG", std::nullopt);
  DllHost host(DllHost::Creation::kLater);
  IMPORT_HOOK(_get_osfhandle) runtime(host.Module());
  runtime.FailAlways(-1);
  std::map<DWORD, std::string> texts;
  IMPORT_HOOK(GetStdHandle)
  standard(host.Module(),
           [](DWORD which) { return reinterpret_cast<HANDLE>(std::uintptr_t{which}); });
  IMPORT_HOOK(WriteFile)
  write(host.Module(),
        [&](HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED*) -> WINBOOL {
          const auto which = static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(file));
          texts[which].append(static_cast<const char*>(bytes), size);
          *written = size;
          return TRUE;
        });
  host.Create();
  EXPECT_EQ(texts[STD_OUTPUT_HANDLE],
            "Plugin process ID: " + std::to_string(GetCurrentProcessId()));
  EXPECT_THAT(texts[STD_ERROR_HANDLE], HasSubstr("Creating instance with plugin"));
}

TEST_F(CoreLog, ThatCannotBeWrittenChangesNothing) {
  IMPORT_HOOK(WriteFile) write(host.Module());
  write.FailAlways(FALSE, ERROR_INVALID_HANDLE);
  EXPECT_TRUE(host->SetParameter(L"TAVR-GAME", L"key", L"value"));
  EXPECT_EQ(host.GetParameter(L"TAVR-GAME", L"key"), L"value");
  EXPECT_EQ(write.CallCount(), 2u);
}

}  // namespace
}  // namespace test_support
