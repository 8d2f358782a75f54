#include "apps/process_scan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "tests/support/fake_process_list.h"
#include "tests/support/log_of.h"

namespace launcher {
namespace {

using test_support::FakeProcessList;
using test_support::LogOf;
using test_support::StreamCapture;
using testing::ElementsAre;

HMODULE ThisProgram() { return GetModuleHandleW(nullptr); }

std::uint32_t Find(const wchar_t* name) {
  const wchar_t* const names[] = {name, nullptr};
  return IsProcessesRunning(names);
}

/// A search for "a", then "b", and the lines before and after the list is closed.
struct Search {
  explicit Search(FakeProcessList& processes) {
    const StreamCapture log;
    processes.OnSnapshotClosed([&] { before = log.Text(); });
    const wchar_t* const names[] = {L"a", L"b", nullptr};
    found = IsProcessesRunning(names);
    after = log.Text().substr(before.size());
  }

  std::uint32_t found;
  std::string before;
  std::string after;
};

TEST(IsProcessesRunning, TakesTheFirstProcessThatHasAnyOfTheNames) {
  FakeProcessList processes(ThisProgram(), {{4, L"x"}, {8, L"B"}, {12, L"a"}});
  const Search search(processes);
  EXPECT_EQ(search.found, 8U);
  EXPECT_EQ(search.before,
            "BaseApp::IsProcessesRunning: Comparing x with a\n"
            "BaseApp::IsProcessesRunning: Comparing x with b\n"
            "BaseApp::IsProcessesRunning: Comparing B with a\n"
            "BaseApp::IsProcessesRunning: Comparing B with b\n"
            "BaseApp::IsProcessesRunning: Found match, game is running\n");
  EXPECT_EQ(search.after, "");
  EXPECT_THAT(processes.Snapshots(), ElementsAre(std::tuple(2U, 0U)));
  EXPECT_THAT(processes.EntrySizes(), ElementsAre(568U, 568U));
  EXPECT_EQ(processes.SnapshotCloses(), 1);
}

// An entry that cannot be read ends the list, like its end.
TEST(IsProcessesRunning, WalksToTheEndWithoutAMatch) {
  for (const bool failure : {false, true}) {
    FakeProcessList processes(ThisProgram(), {{4, L"x"}});
    if (failure) processes.FailEntry(1);
    const Search search(processes);
    EXPECT_EQ(search.found, 0U);
    EXPECT_EQ(search.before,
              "BaseApp::IsProcessesRunning: Comparing x with a\n"
              "BaseApp::IsProcessesRunning: Comparing x with b\n"
              "BaseApp::IsProcessesRunning: Process32Next failed\n");
    EXPECT_EQ(search.after, "BaseApp::IsProcessesRunning: Found no match, game is not running\n");
    EXPECT_EQ(processes.SnapshotCloses(), 1);
  }
  const FakeProcessList processes(ThisProgram(), {{4, L"a"}, {8, L"b"}});
  const wchar_t* const none[] = {nullptr};
  EXPECT_EQ(IsProcessesRunning(none), 0U);
  EXPECT_THAT(processes.EntrySizes(), ElementsAre(568U, 568U, 568U));
}

TEST(IsProcessesRunning, NoListMeansNone) {
  FakeProcessList without(ThisProgram(), {{4, L"a"}});
  without.FailSnapshot();
  EXPECT_EQ(LogOf([] { EXPECT_EQ(Find(L"a"), 0U); }),
            "BaseApp::IsProcessesRunning: Unable to create toolhelp snapshot\n");
  EXPECT_TRUE(without.EntrySizes().empty());
  EXPECT_EQ(without.SnapshotCloses(), 0);
}

TEST(IsProcessesRunning, AnUnreadableFirstEntryMeansNone) {
  FakeProcessList processes(ThisProgram(), {{4, L"a"}});
  processes.FailEntry(0);
  const Search search(processes);
  EXPECT_EQ(search.found, 0U);
  EXPECT_EQ(search.before, "BaseApp::IsProcessesRunning: Process32First failed\n");
  EXPECT_EQ(search.after, "");
  EXPECT_EQ(processes.SnapshotCloses(), 1);
}

TEST(IsProcessesRunning, NamesAreComparedWholeAndAsciiLettersFold) {
  const FakeProcessList processes(ThisProgram(), {{4, L"\u00e9.exe"},
                                                  {8, L"[az.exe"},
                                                  {12, L"k.exe"},
                                                  {16, L"`z@.exe"},
                                                  {20, L"Scan Target.exe"}});
  const std::pair<const wchar_t*, std::uint32_t> cases[] = {
      {L"\u00c9.exe", 0},  // E with an accent
      {L"\u00e9.EXE", 4},       {L"[AZ.exe", 8},     {L"{AZ.exe", 0},
      {L"\u212a.exe", 0},  // the sign of the kelvin
      {L"@z@.exe", 0},          {L"`Z@.exe", 16},    {L"`z`.exe", 0},
      {L"SCAN TARGET.EXE", 20}, {L"Scan Target", 0}, {L"Target.exe", 0}};
  for (const auto& [name, id] : cases) EXPECT_EQ(Find(name), id) << testing::PrintToString(name);
}

TEST(IsProcessesRunning, OfAPathThePartBeforeTheLastBackslashIsCompared) {
  const FakeProcessList processes(
      ThisProgram(), {{4, LR"(C:\games\ag4.exe)"}, {8, LR"(\ag4.exe)"}, {12, LR"(ag3.exe\)"}});
  EXPECT_EQ(LogOf([] { EXPECT_EQ(Find(L"ag4.exe"), 0U); }),
            "BaseApp::IsProcessesRunning: Comparing C:\\games with ag4.exe\n"
            "BaseApp::IsProcessesRunning: Comparing  with ag4.exe\n"
            "BaseApp::IsProcessesRunning: Comparing ag3.exe with ag4.exe\n"
            "BaseApp::IsProcessesRunning: Process32Next failed\n"
            "BaseApp::IsProcessesRunning: Found no match, game is not running\n");
  EXPECT_EQ(Find(LR"(C:\games\ag4.exe)"), 0U);
  EXPECT_EQ(Find(LR"(c:\GAMES)"), 4U);
  // A backslash that comes first leaves nothing.
  EXPECT_EQ(Find(LR"(\ag4.exe)"), 0U);
  EXPECT_EQ(Find(L""), 8U);
  EXPECT_EQ(Find(L"ag3.exe"), 12U);
}

}  // namespace
}  // namespace launcher
