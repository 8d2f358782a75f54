// Ctrl+C.

#include "tests/console/console_run.h"
#include "tests/console/pseudo_console.h"
#include "tests/support/environment_variable.h"
#include "tests/support/text.h"

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

TEST_F(ConsoleInterrupt, EndsRoundsOfPingWithWhatIsKnown) {
  const EnvironmentVariable installation(L"KOVLAUNCH_INSTDIR", ProgramDirectory());
  // Each helper writes its times when it has found the gate open, and closes the gate again.
  const EnvironmentVariable mode(L"KIT_HELPER_PING_MODE", L"late");
  const std::wstring gateName = UniqueName(L"gate");
  const EnvironmentVariable gateVariable(L"KIT_HELPER_PING_GATE", gateName);
  const ScopedHandle gate(CreateEventW(nullptr, FALSE, FALSE, gateName.c_str()));
  const std::wstring doneName = UniqueName(L"helper_done");
  const EnvironmentVariable doneVariable(L"KIT_HELPER_DONE_EVENT", doneName);
  const ScopedHandle helperDone(CreateEventW(nullptr, FALSE, FALSE, doneName.c_str()));

  ProgramInConsole program(CommandLine(L"ping 127.0.0.1 --count 9 --interval 0"));
  // The second helper is started when the first round is over.
  for (int helper = 1; helper <= 2; ++helper) {
    SetEvent(gate.Get());
    ASSERT_TRUE(WaitFor(helperDone.Get(), kPatienceMs)) << helper;
  }
  EXPECT_EQ(Interrupt(program), 130U);
  SetEvent(gate.Get());  // for the helper that still waits
  std::string last;
  for (std::string line = program.ReadLine(); !line.empty(); line = program.ReadLine()) last = line;
  EXPECT_TRUE(last == "1 of 1 answered; min 1 ms, median 1 ms, max 1 ms\n" ||
              last == "2 of 2 answered; min 1 ms, median 1 ms, max 1 ms\n")
      << last;
}

TEST_F(ConsoleInterrupt, EndsRoundsOfQuery) {
  KitProgram server(L"demo_server.exe", L"--players 0");
  const std::string port = server.WaitForLine("server: listening on 127.0.0.1:");
  ProgramInConsole program(
      CommandLine(L"query 127.0.0.1:" + Widen(port) + L" 1 --count 2 --interval 3600"));
  EXPECT_EQ(program.ReadLine(), "Mode     Frontier\n");
  EXPECT_EQ(Interrupt(program), 130U);
}

}  // namespace
}  // namespace test_support
