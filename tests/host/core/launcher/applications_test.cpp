// The registry of applications as the slots show it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cwctype>

#include "tests/support/allocation_tracker.h"
#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/line_hook.h"
#include "tests/support/lock_probe.h"
#include "tests/support/stream_capture.h"

namespace test_support {
namespace {

using testing::IsEmpty;

class CoreUnknownApplication : public testing::TestWithParam<const wchar_t*> {
 protected:
  DllHost host;
};

TEST_P(CoreUnknownApplication, IsAnsweredAsEachSlotSaysWithoutALineOrAnEvent) {
  const wchar_t* const id = GetParam();
  const LineHook lines(host.Module(), [](const std::string&, FILE*) {});
  EXPECT_FALSE(host->IsInstalled(id));
  EXPECT_EQ(host.GetVersion(id), L"INVALID_APP_ID");
  EXPECT_EQ(host.GetParameter(id, L"APP_VERSION"), L"");
  EXPECT_EQ(host.GetParameter(id, L"OstrelLocalHostEnabled"), L"");
  EXPECT_EQ(host.GetExtraArguments(id), L"INVALID_APP_ID");
  EXPECT_FALSE(host->SendCommand(id, L"command", L"a", L"b", L"c", L"d"));
  EXPECT_FALSE(host->Kill(id, false));
  EXPECT_FALSE(host->Kill(id, true));
  EXPECT_FALSE(host->Launch(id, L"text", true, L"a", L"b", L"c", L"d"));
  EXPECT_FALSE(host->IsRunning(id));
  EXPECT_FALSE(host->SetParameter(id, L"key", L"value"));
  EXPECT_EQ(lines.Count(), 0u);
  EXPECT_THAT(host.Drain(), IsEmpty());
  EXPECT_EQ(host.Notifications().CallCount(), 0);
}

// An address at which nothing can be read.
TEST(CoreUnknownApplicationAlone, IsRecognisedBeforeAnyOtherArgumentIsRead) {
  DllHost host;
  const auto* const bad = reinterpret_cast<const wchar_t*>(std::uintptr_t{0x10});
  EXPECT_EQ(host.GetParameter(L"NONE", bad), L"");
  EXPECT_FALSE(host->SetParameter(L"NONE", bad, bad));
  EXPECT_FALSE(host->SendCommand(L"NONE", bad, bad, bad, bad, bad));
  EXPECT_FALSE(host->Launch(L"NONE", bad, true, bad, bad, bad, bad));
}

INSTANTIATE_TEST_SUITE_P(Identifiers, CoreUnknownApplication,
                         testing::Values(L"", L"NONE", L"brenna-game", L"Brenna-Game",
                                         L"BRENNA-GAMe", L"BRENNA", L"BRENNA-GAM", L"BRENNA-GAME ",
                                         L" BRENNA-GAME", L"BRENNA-GAME2", L"TAMSIN-GAME",
                                         L"OSTREL", L"TAVR", L"\uFF22RENNA-GAME"));

class CoreKnownApplication : public testing::TestWithParam<const wchar_t*> {
 protected:
  DllHost host;
};

TEST_P(CoreKnownApplication, NeedsNoLock) {
  DllHost other(DllHost::Creation::kLater);
  const LockProbe probe(other.Module());
  const StreamCapture errors;
  other.Create();
  const DWORD own = GetCurrentThreadId();
  const wchar_t* const id = GetParam();
  other->IsInstalled(id);
  other.GetVersion(id);
  other.GetParameter(id, L"key");
  other.GetExtraArguments(id);
  other->SendCommand(id, L"command", L"", L"", L"", L"");
  other->Kill(id, false);
  other->Launch(id, L"", false, L"", L"", L"", L"");
  other->IsRunning(id);
  other->SetParameter(id, L"key", L"value");
  other.GetLauncherVersion();
  other->PollApps();
  EXPECT_EQ(probe.EnteredBy(own), 0u);
}

INSTANTIATE_TEST_SUITE_P(Identifiers, CoreKnownApplication, testing::ValuesIn(kAllAppIds));

// Seven games have a pipe; there is no memory for the first of them.
TEST(CorePolling, AnApplicationWithoutMemoryDoesNotKeepTheOthersFromBeingPolled) {
  DllHost host;
  IMPORT_HOOK(CreateFileA) opens(host.Module());
  opens.FailAlways(INVALID_HANDLE_VALUE, ERROR_FILE_NOT_FOUND);
  ImportHook<"malloc", void*(std::size_t)> allocations(host.Module());
  allocations.FailCall(0, static_cast<void*>(nullptr));
  EXPECT_NO_THROW(host->PollApps());
  EXPECT_EQ(opens.CallCount(), 6u);
}

TEST(CoreParameters, BelongToOneLauncher) {
  const StreamCapture errors;
  DllHost host;
  ILauncher* const other = host.Dll().createLauncher(nullptr, nullptr);
  ASSERT_NE(other, nullptr);
  EXPECT_TRUE(host->SetParameter(L"TAVR-GAME", L"key", L"value"));
  EXPECT_EQ(TakeText(*other, other->GetParameter(L"TAVR-GAME", L"key")), L"");
  host.Dll().destroyLauncher(other);
}

TEST(CoreStrings, AreTheHostsOwnUntilFreed) {
  const StreamCapture errors;
  DllHost host;
  EXPECT_TRUE(host->SetParameter(L"TAVR-GAME", L"key", L"first value"));
  IString* const first = host->GetParameter(L"TAVR-GAME", L"key");
  EXPECT_TRUE(host->SetParameter(L"TAVR-GAME", L"key", L"another value"));
  EXPECT_STREQ(first->GetString(), L"first value");
  EXPECT_EQ(first->GetString(), first->GetString());
  IString* const second = host->GetParameter(L"TAVR-GAME", L"key");
  EXPECT_NE(first, second);
  host->FreeString(first);
  EXPECT_STREQ(second->GetString(), L"another value");
  host->FreeString(second);
}

TEST(CoreStrings, LeaveNoMemoryBehindWhenFreed) {
  const StreamCapture errors;
  DllHost host;
  const std::wstring longValue(5000, L'x');
  host->SetParameter(L"TAVR-GAME", L"key", longValue.c_str());
  const AllocationTracker memory(host.Module());
  EXPECT_EQ(host.GetVersion(L"NONE"), L"INVALID_APP_ID");
  EXPECT_EQ(host.GetExtraArguments(L"NONE"), L"INVALID_APP_ID");
  EXPECT_EQ(host.GetParameter(L"NONE", L"key"), L"");
  EXPECT_EQ(host.GetParameter(L"TAVR-GAME", L"key"), longValue);
  EXPECT_EQ(host.GetVersion(L"TAVR-GAME"), L"NOT_INSTALLED");
  EXPECT_EQ(host.GetLauncherVersion(), L"162");
  EXPECT_GE(memory.Count(), 6u);
  EXPECT_EQ(memory.Outstanding(), 0u);
}

TEST(CoreStrings, TheVersionEqualsTheExportedOne) {
  DllHost host;
  EXPECT_EQ(host.GetLauncherVersion(), L"162");
  EXPECT_EQ(host.GetLauncherVersion(), host.Dll().version);
}

}  // namespace
}  // namespace test_support
