#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "apps/process_scan.h"
#include "tests/support/child_process.h"
#include "tests/support/fake_process_list.h"
#include "tests/support/log_of.h"
#include "tests/support/temp_directory.h"

namespace launcher {
namespace {

using test_support::ChildProcess;
using test_support::FakeProcessList;
using test_support::LogOf;
using test_support::StartIdleProcess;
using test_support::TempDirectory;
using testing::Each;
using testing::ElementsAre;

HMODULE ThisProgram() { return GetModuleHandleW(nullptr); }

std::uint32_t Find(const wchar_t* name) {
  const wchar_t* const names[] = {name, nullptr};
  return IsProcessesRunning(names);
}

TEST(IsProcessesRunning, FindsARealProcessByItsWholeNameInAnyCase) {
  const TempDirectory directory;
  const ChildProcess process = StartIdleProcess(directory.Join(L"Scan Target.exe"));
  EXPECT_EQ(Find(L"Scan Target.exe"), process.Id());
  EXPECT_EQ(Find(L"SCAN TARGET.EXE"), process.Id());
  EXPECT_EQ(Find(L"scan target.exe"), process.Id());
  EXPECT_EQ(Find(L"Scan Target"), 0U);
  EXPECT_EQ(Find(L"Target.exe"), 0U);
  EXPECT_EQ(Find(directory.Join(L"Scan Target.exe").c_str()), 0U);
  process.Terminate();
  EXPECT_EQ(Find(L"Scan Target.exe"), 0U);
}

TEST(IsProcessesRunning, AsksForAllProcesses) {
  const FakeProcessList processes(ThisProgram(), {{4, L"a"}, {8, L"b"}});
  EXPECT_EQ(Find(L"c"), 0U);
  EXPECT_THAT(processes.Snapshots(), ElementsAre(std::tuple(2U, 0U)));
  EXPECT_EQ(processes.EntrySizes().size(), 3U);
  EXPECT_THAT(processes.EntrySizes(), Each(568U));
  EXPECT_EQ(processes.SnapshotCloses(), 1);
}

TEST(IsProcessesRunning, FirstProcessInTheListThatHasAnyOfTheNames) {
  const FakeProcessList processes(ThisProgram(), {{4, L"x"}, {8, L"b"}, {12, L"a"}, {16, L"b"}});
  const wchar_t* const names[] = {L"a", L"b", nullptr};
  std::uint32_t found = 0;
  EXPECT_EQ(LogOf([&] { found = IsProcessesRunning(names); }),
            "BaseApp::IsProcessesRunning: Comparing x with a\n"
            "BaseApp::IsProcessesRunning: Comparing x with b\n"
            "BaseApp::IsProcessesRunning: Comparing b with a\n"
            "BaseApp::IsProcessesRunning: Comparing b with b\n"
            "BaseApp::IsProcessesRunning: Found match, game is running\n");
  EXPECT_EQ(found, 8U);
  EXPECT_EQ(processes.SnapshotCloses(), 1);
}

TEST(IsProcessesRunning, MatchIsLoggedBeforeTheListIsClosed) {
  FakeProcessList processes(ThisProgram(), {{4, L"a"}});
  const test_support::StreamCapture log;
  std::string logBefore;
  processes.OnSnapshotClosed([&] { logBefore = log.Text(); });
  EXPECT_EQ(Find(L"a"), 4U);
  EXPECT_EQ(logBefore,
            "BaseApp::IsProcessesRunning: Comparing a with a\n"
            "BaseApp::IsProcessesRunning: Found match, game is running\n");
}

TEST(IsProcessesRunning, ListIsClosedBetweenTheTwoLastLines) {
  FakeProcessList processes(ThisProgram(), {{4, L"a"}});
  const test_support::StreamCapture log;
  std::string logBefore;
  processes.OnSnapshotClosed([&] { logBefore = log.Text(); });
  EXPECT_EQ(Find(L"b"), 0U);
  EXPECT_EQ(logBefore,
            "BaseApp::IsProcessesRunning: Comparing a with b\n"
            "BaseApp::IsProcessesRunning: Process32Next failed\n");
  EXPECT_EQ(log.Text(),
            "BaseApp::IsProcessesRunning: Comparing a with b\n"
            "BaseApp::IsProcessesRunning: Process32Next failed\n"
            "BaseApp::IsProcessesRunning: Found no match, game is not running\n");
}

TEST(IsProcessesRunning, WithoutNamesWalksEveryProcess) {
  const FakeProcessList processes(ThisProgram(), {{4, L"a"}, {8, L"b"}});
  const wchar_t* const names[] = {nullptr};
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(IsProcessesRunning(names), 0U); }),
            "BaseApp::IsProcessesRunning: Process32Next failed\n"
            "BaseApp::IsProcessesRunning: Found no match, game is not running\n");
  EXPECT_EQ(processes.EntrySizes().size(), 3U);
}

TEST(IsProcessesRunning, SnapshotThatCannotBeMadeMeansNone) {
  FakeProcessList processes(ThisProgram(), {{4, L"a"}});
  processes.FailSnapshot();
  EXPECT_EQ(LogOf([] { EXPECT_EQ(Find(L"a"), 0U); }),
            "BaseApp::IsProcessesRunning: Unable to create toolhelp snapshot\n");
  EXPECT_TRUE(processes.EntrySizes().empty());
  EXPECT_EQ(processes.SnapshotCloses(), 0);
}

TEST(IsProcessesRunning, FirstEntryThatCannotBeReadMeansNone) {
  FakeProcessList processes(ThisProgram(), {{4, L"a"}});
  processes.FailEntry(0);
  const test_support::StreamCapture log;
  std::string logBefore;
  processes.OnSnapshotClosed([&] { logBefore = log.Text(); });
  EXPECT_EQ(Find(L"a"), 0U);
  EXPECT_EQ(log.Text(), "BaseApp::IsProcessesRunning: Process32First failed\n");
  EXPECT_EQ(logBefore, "BaseApp::IsProcessesRunning: Process32First failed\n");
  EXPECT_EQ(processes.SnapshotCloses(), 1);
}

TEST(IsProcessesRunning, LaterEntryThatCannotBeReadEndsTheWalk) {
  FakeProcessList processes(ThisProgram(), {{4, L"a"}, {8, L"b"}});
  processes.FailEntry(1);
  EXPECT_EQ(LogOf([] { EXPECT_EQ(Find(L"b"), 0U); }),
            "BaseApp::IsProcessesRunning: Comparing a with b\n"
            "BaseApp::IsProcessesRunning: Process32Next failed\n"
            "BaseApp::IsProcessesRunning: Found no match, game is not running\n");
  EXPECT_EQ(processes.SnapshotCloses(), 1);
}

TEST(IsProcessesRunning, OnlyAsciiLettersFold) {
  const FakeProcessList processes(
      ThisProgram(), {{4, L"\u00e9.exe"}, {8, L"[az.exe"}, {12, L"k.exe"}, {16, L"`z@.exe"}});
  EXPECT_EQ(Find(L"\u00c9.exe"), 0U);  // E with an accent
  EXPECT_EQ(Find(L"\u00e9.EXE"), 4U);
  EXPECT_EQ(Find(L"[AZ.exe"), 8U);
  EXPECT_EQ(Find(L"{AZ.exe"), 0U);
  EXPECT_EQ(Find(L"\u212a.exe"), 0U);  // the sign of the kelvin
  EXPECT_EQ(Find(L"@z@.exe"), 0U);
  EXPECT_EQ(Find(L"`Z@.exe"), 16U);
  EXPECT_EQ(Find(L"`z`.exe"), 0U);
}

TEST(IsProcessesRunning, NameWithAPathIsComparedByWhatStandsBeforeIt) {
  const FakeProcessList processes(ThisProgram(), {{4, LR"(C:\games\ag4.exe)"}});
  EXPECT_EQ(LogOf([] { EXPECT_EQ(Find(L"ag4.exe"), 0U); }),
            "BaseApp::IsProcessesRunning: Comparing C:\\games with ag4.exe\n"
            "BaseApp::IsProcessesRunning: Process32Next failed\n"
            "BaseApp::IsProcessesRunning: Found no match, game is not running\n");
  EXPECT_EQ(Find(LR"(C:\games\ag4.exe)"), 0U);
  EXPECT_EQ(Find(LR"(c:\GAMES)"), 4U);
}

}  // namespace
}  // namespace launcher
