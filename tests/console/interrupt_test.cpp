// Ctrl+C.

#include "tests/console/console_run.h"
#include "tests/console/pseudo_console.h"
#include "tests/support/environment_variable.h"

namespace test_support {
namespace {

class ConsoleInterrupt : public ConsoleTest {
 protected:
  std::wstring CommandLine(const std::wstring& arguments) const {
    return L"\"" + ProgramDirectory() + L"\\launcher-console.exe\" " + Arguments(arguments);
  }

  // Returns the exit code.
  static DWORD Interrupt(ProgramInConsole& program) {
    KitProgram sender(L"send_ctrl_c.exe", std::to_wstring(program.ProcessId()));
    EXPECT_EQ(sender.ExitCode(), 0U);
    return program.ExitCode();
  }
};

TEST_F(ConsoleInterrupt, EndsWatch) {
  ProgramInConsole program(CommandLine(L"watch"));
  EXPECT_EQ(program.ReadLine(), "watching; Ctrl+C ends it\n");
  EXPECT_EQ(Interrupt(program), 130U);
  EXPECT_EQ(program.ReadLine(), "launcher-console: interrupted\n");
}

TEST_F(ConsoleInterrupt, EndsAPingWhoseHelperHangs) {
  const EnvironmentVariable installation(L"KOVLAUNCH_INSTDIR", ProgramDirectory());
  const EnvironmentVariable mode(L"KIT_HELPER_PING_MODE", L"absent");
  const std::wstring event = UniqueName(L"helper_done");
  const EnvironmentVariable doneEvent(L"KIT_HELPER_DONE_EVENT", event);
  const ScopedHandle helperDone(CreateEventW(nullptr, TRUE, FALSE, event.c_str()));
  ProgramInConsole program(CommandLine(L"ping 127.0.0.1"));
  ASSERT_TRUE(WaitFor(helperDone.Get(), kPatienceMs));
  EXPECT_EQ(Interrupt(program), 130U);
}

}  // namespace
}  // namespace test_support
