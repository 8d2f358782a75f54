// Hosts that do as they like with the run-time's streams: the lines go where the host's own go.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <regex>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/dll_host.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

constexpr char kOldText[] = "old\n";

struct Habit {
  const char* name;
  // What lies in the files afterwards, without the lines that every launcher writes.
  std::string output;
  std::string errors;
};

std::ostream& operator<<(std::ostream& out, const Habit& habit) { return out << habit.name; }

const Habit kHabits[] = {
    {"append", "", "old\nBaseApp::SetParameter: Setting parameter key to value\r\n"},
    // The files hold the descriptors of the closed streams.
    {"close", "first end", "second end"},
    {"buffer", "", "before\r\nBaseApp::SetParameter: Setting parameter key to value\r\nafter\r\n"},
    {"print before", "before Plugin process ID: <number> after", "old\n"},
    {"mode", "",
     "BaseApp::SetParameter: Setting parameter key to value\r\n"
     "BaseApp::SetParameter: Setting parameter key to \xE2\x82\xAC\n"},
    {"no streams", "", "old\n"},
};

class CoreHabits : public testing::TestWithParam<Habit> {
 protected:
  CoreHabits() { folder.WriteFile(L"err.txt", kOldText); }

  std::string FileText(const wchar_t* name) const {
    std::ifstream file(std::filesystem::path(folder.Join(name)), std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    text = std::regex_replace(text, std::regex("(AppLauncher|BaseApp)::[^S][^\n]*\n"), "");
    return std::regex_replace(text, std::regex("ID: [0-9]+"), "ID: <number>");
  }

  TempDirectory folder;
};

TEST_P(CoreHabits, AreFollowed) {
  const std::wstring program = ProgramDirectory() + L"\\habits_host.exe";
  // A process without streams, as a browser is. Those that open streams do not notice.
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  if (GetParam().name != std::string("no streams")) {
    startup.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  }
  const StartedProcess host = StartProcess(
      program.c_str(),
      L"\"" + program + L"\" \"" + Widen(GetParam().name) + L"\" \"" + folder.Path() + L"\"", true,
      0, startup);
  ASSERT_TRUE(WaitFor(host.handle.Get(), kPatienceMs));
  DWORD exitCode = 1;
  GetExitCodeProcess(host.handle.Get(), &exitCode);
  EXPECT_EQ(exitCode, 0u);
  EXPECT_EQ(FileText(L"out.txt"), GetParam().output);
  EXPECT_EQ(FileText(L"err.txt"), GetParam().errors);
}

INSTANTIATE_TEST_SUITE_P(Streams, CoreHabits, testing::ValuesIn(kHabits));

}  // namespace
}  // namespace test_support
