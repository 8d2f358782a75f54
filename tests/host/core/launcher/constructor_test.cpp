// What a launcher does when it is created: console, lines, sockets, broadcast.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/import_redirector.h"
#include "tests/support/line_hook.h"
#include "tests/support/lock_probe.h"
#include "tests/support/message_window.h"
#include "tests/support/stream_capture.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr char kConsoleLine[] = "AppLauncher::AppLauncher: Displaying console\n";
constexpr char kSocketsLine[] = "AppLauncher::AppLauncher: Failed to initialize winsock\n";
constexpr wchar_t kMessageName[] = L"message_{1643519B-1136-4b1e-BA3A-0F8F66D2E13A}_162";

// Stands in for the console, which would take the test's own streams away.
class FakeConsole {
 public:
  explicit FakeConsole(HMODULE module)
      : allocate(module,
                 [this] {
                   steps.push_back("AllocConsole");
                   return allocates;
                 }),
        reopen(module, [this](const char* path, const char* mode, FILE* stream) {
          steps.push_back(std::string("freopen ") + path + ' ' + mode + ' ' +
                          (stream == stdout   ? "stdout"
                           : stream == stderr ? "stderr"
                                              : "another stream"));
          return stream;
        }) {}

  std::vector<std::string> steps;
  BOOL allocates = TRUE;

 private:
  IMPORT_HOOK(AllocConsole) allocate;
  IMPORT_HOOK(freopen) reopen;
};

class CoreDebugConsole : public testing::Test {
 protected:
  CoreDebugConsole() : variable(L"KOVLAUNCH_DEBUG", std::nullopt), console(host.Module()) {}

  // What a creation with this value of the variable writes to standard error.
  std::string CreateWith(const std::optional<std::wstring>& value) {
    variable.Set(value);
    const StreamCapture errors;
    host.Create();
    return errors.Text();
  }

  EnvironmentVariable variable;
  DllHost host{DllHost::Creation::kLater};
  FakeConsole console;
};

TEST_F(CoreDebugConsole, OpensForAValueThatBeginsWithTheDigitOne) {
  const std::wstring values[] = {L"1", L"10", L"1 ", L"1x", std::wstring(5000, L'1')};
  for (const std::wstring& value : values) {
    console.steps.clear();
    const std::string lines = CreateWith(value);
    EXPECT_THAT(console.steps, ElementsAre("AllocConsole", "freopen CONOUT$ wt stdout",
                                           "freopen CONOUT$ wt stderr"))
        << Narrow(value);
    EXPECT_THAT(lines, StartsWith(kConsoleLine)) << Narrow(value);
    EXPECT_EQ(CountOf(lines, kConsoleLine), 1u) << Narrow(value);
    host.Destroy();
  }
}

TEST_F(CoreDebugConsole, StaysClosedForEveryOtherValue) {
  const std::optional<std::wstring> values[] = {std::nullopt, L"",     L"0",      L"01", L" 1",
                                                L"2",         L"true", L"\uFF11", L"-1", L"I"};
  // Each launcher asks anew.
  CreateWith(L"1");
  host.Destroy();
  console.steps.clear();
  for (const auto& value : values) {
    const std::string lines = CreateWith(value);
    EXPECT_THAT(console.steps, IsEmpty()) << Narrow(value.value_or(L"unset"));
    EXPECT_EQ(CountOf(lines, "Displaying console"), 0u) << Narrow(value.value_or(L"unset"));
    // The lines are written all the same.
    EXPECT_THAT(lines, HasSubstr("Creating instance with plugin"));
    host.Destroy();
  }
}

TEST_F(CoreDebugConsole, ItsRefusalChangesNothingElse) {
  console.allocates = FALSE;
  EXPECT_THAT(CreateWith(L"1"), StartsWith(kConsoleLine));
  EXPECT_THAT(console.steps, SizeIs(3));
  EXPECT_EQ(host.GetLauncherVersion(), L"162");
}

TEST(CoreConstructor, WritesTheProcessIdentifierWithoutALineEndToStandardOutput) {
  DllHost host(DllHost::Creation::kLater);
  StreamCapture output(StreamCapture::Stream::kOutput);
  host.Create();
  host.Destroy();
  host.Create();
  output.Stop();
  const std::string text = "Plugin process ID: " + std::to_string(GetCurrentProcessId());
  EXPECT_EQ(output.Text(), text + text);
}

TEST(CoreConstructor, WritesItsAddressesAndItsThreadToStandardError) {
  const EnvironmentVariable debug(L"KOVLAUNCH_DEBUG", std::nullopt);
  DllHost host(DllHost::Creation::kLater);
  IMPORT_HOOK(GetCurrentThreadId) threads(host.Module());
  threads.FailAlways(0xABCDEu);
  const StreamCapture errors;
  host.Create();
  EXPECT_EQ(errors.Text(), "AppLauncher::AppLauncher: this=" + PointerText(host.Launcher()) +
                               " Creating instance with plugin " +
                               PointerText(&host.Notifications()) + " and notifier " +
                               PointerText(reinterpret_cast<void*>(&Notifier::Callback)) +
                               ", thread is 000abcde\n");
}

TEST(CoreSockets, AreStartedOncePerProcessWithVersionTwoZero) {
  DllHost host(DllHost::Creation::kLater);
  IMPORT_HOOK(WSAStartup) starts(host.Module());
  host.Create();
  ASSERT_EQ(starts.CallCount(), 1u);
  EXPECT_EQ(std::get<0>(starts.Calls()[0]), 2);

  // A second launcher beside the first, and one after both.
  ILauncher* const second = host.Dll().createLauncher(nullptr, nullptr);
  ASSERT_NE(second, nullptr);
  host.Dll().destroyLauncher(second);
  host.Destroy();
  host.Create();
  EXPECT_EQ(starts.CallCount(), 1u);
}

TEST(CoreSockets, AFailedStartIsLoggedAndNotTriedAgain) {
  const EnvironmentVariable debug(L"KOVLAUNCH_DEBUG", std::nullopt);
  DllHost host(DllHost::Creation::kLater);
  IMPORT_HOOK(WSAStartup) starts(host.Module());
  starts.FailAlways(WSASYSNOTREADY);
  const StreamCapture errors;
  host.Create();
  EXPECT_THAT(errors.Text(), StartsWith(kSocketsLine));
  EXPECT_EQ(host.GetLauncherVersion(), L"162");
  host.Destroy();
  host.Create();
  EXPECT_EQ(starts.CallCount(), 1u);
  EXPECT_EQ(CountOf(errors.Text(), kSocketsLine), 1u);
}

// Another user of sockets in the process may still need them.
TEST(CoreSockets, AreNeverStopped) {
  const DllHost host;
  for (const Import& import : ListImports(host.Module())) {
    EXPECT_NE(import.function, "WSACleanup");
  }
}

TEST(CoreBroadcast, IsHeardByATopLevelWindowOncePerLauncher) {
  DllHost host(DllHost::Creation::kLater);
  const MessageWindow window;
  const UINT identifier = RegisterWindowMessageW(kMessageName);
  ASSERT_NE(identifier, 0u);
  host.Create();
  const auto message = window.WaitForMessage(identifier, kPatienceMs);
  ASSERT_TRUE(message.has_value());
  EXPECT_EQ(message->wParam, 5u);
  EXPECT_EQ(message->lParam, 0);
  host.Post(L"s", L"n");
  host->PollApps();
  host.Destroy();
  EXPECT_FALSE(window.WaitForMessage(identifier, 0).has_value());
}

// For each launcher. Also under the identifier 0 of a message that could not be registered.
TEST(CoreBroadcast, GoesToAllTopLevelWindowsUnderTheIdentifierThatTheSystemGave) {
  for (const UINT identifier : {0xC123u, 0u}) {
    DllHost host(DllHost::Creation::kLater);
    std::vector<std::wstring> names;
    IMPORT_HOOK(RegisterWindowMessageW)
    registers(host.Module(), [&](const wchar_t* name) {
      names.push_back(name);
      return identifier;
    });
    IMPORT_HOOK(PostMessageW) posts(host.Module());
    posts.FailAlways(TRUE);
    host.Create();
    host.Destroy();
    host.Create();
    EXPECT_THAT(names, ElementsAre(kMessageName, kMessageName));
    const auto broadcast =
        std::tuple(reinterpret_cast<HWND>(0xFFFF), identifier, WPARAM{5}, LPARAM{0});
    EXPECT_THAT(posts.Calls(), ElementsAre(broadcast, broadcast));
  }
}

TEST(CoreBroadcast, ItsFailureIsIgnored) {
  DllHost host(DllHost::Creation::kLater);
  IMPORT_HOOK(PostMessageW) posts(host.Module());
  posts.FailAlways(FALSE, ERROR_ACCESS_DENIED);
  const StreamCapture errors;
  host.Create();
  EXPECT_EQ(posts.CallCount(), 1u);
  EXPECT_THAT(Lines(errors.Text()), SizeIs(1));
  EXPECT_EQ(host.GetLauncherVersion(), L"162");
}

// The whole order in one list.
TEST(CoreConstructor, TakesItsStepsInOrder) {
  const EnvironmentVariable debug(L"KOVLAUNCH_DEBUG", L"1");
  DllHost host(DllHost::Creation::kLater);
  std::vector<std::string> steps;
  IMPORT_HOOK(AllocConsole)
  allocate(host.Module(), [&] {
    steps.push_back("console");
    return TRUE;
  });
  IMPORT_HOOK(freopen)
  reopen(host.Module(), [&](const char*, const char*, FILE* stream) {
    steps.push_back("reopen");
    return stream;
  });
  const LineHook writes(host.Module(), [&](const std::string& line, FILE*) {
    // Up to what differs between runs.
    steps.push_back(line.substr(0, line.find_first_of("=0123456789\n")));
  });
  IMPORT_HOOK(WSAStartup)
  sockets(host.Module(), [&](WORD, WSADATA*) {
    steps.push_back("sockets");
    return WSASYSNOTREADY;
  });
  IMPORT_HOOK(InitializeCriticalSection) lock(host.Module());
  lock.SetReplacement([&](CRITICAL_SECTION* section) {
    steps.push_back("lock");
    lock.CallOriginal(section);
  });
  IMPORT_HOOK(RegisterWindowMessageW)
  registers(host.Module(), [&](const wchar_t*) -> UINT {
    steps.push_back("register");
    return 0xC000;
  });
  IMPORT_HOOK(PostMessageW)
  posts(host.Module(), [&](HWND, UINT, WPARAM, LPARAM) {
    steps.push_back("broadcast");
    return TRUE;
  });
  host.Create();
  const std::vector<std::string> taken = steps;
  EXPECT_THAT(taken,
              ElementsAre("console", "reopen", "reopen",
                          "AppLauncher::AppLauncher: Displaying console", "Plugin process ID: ",
                          "sockets", "AppLauncher::AppLauncher: Failed to initialize winsock",
                          "AppLauncher::AppLauncher: this", "lock", "register", "broadcast"));
}

}  // namespace
}  // namespace test_support
