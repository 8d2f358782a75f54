// Ctrl+C and Ctrl+Break.

#include "tests/console/console_run.h"
#include "tests/support/environment_variable.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

/// A console program in a process group of its own, which Ctrl+Break alone reaches.
class InterruptedConsole {
 public:
  explicit InterruptedConsole(const std::wstring& arguments) {
    SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE readEnd = nullptr;
    HANDLE writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inheritable, 0)) ThrowLastError("CreatePipe");
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
    output.Reset(readEnd);
    const ScopedHandle childEnd(writeEnd);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writeEnd;
    startup.hStdError = writeEnd;
    PROCESS_INFORMATION information{};
    std::wstring commandLine =
        L"\"" + ProgramDirectory() + L"\\launcher-console.exe\" " + arguments;
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE,
                        CREATE_NEW_PROCESS_GROUP, nullptr, nullptr, &startup, &information)) {
      ThrowLastError("CreateProcess");
    }
    CloseHandle(information.hThread);
    process.Reset(information.hProcess);
    id = information.dwProcessId;
  }
  InterruptedConsole(const InterruptedConsole&) = delete;
  InterruptedConsole& operator=(const InterruptedConsole&) = delete;

  ~InterruptedConsole() {
    if (!WaitFor(process.Get(), 0)) TerminateProcess(process.Get(), 1);
  }

  // The text up to and with a line end; shorter at the end of the output.
  std::string ReadLine() {
    std::string line;
    char byte = 0;
    DWORD size = 0;
    while (!line.ends_with('\n') && ReadFile(output.Get(), &byte, 1, &size, nullptr)) line += byte;
    return line;
  }

  DWORD Interrupt() {
    if (!GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, id)) ThrowLastError("Ctrl+Break");
    DWORD exitCode = STILL_ACTIVE;
    if (WaitFor(process.Get(), kPatienceMs)) GetExitCodeProcess(process.Get(), &exitCode);
    return exitCode;
  }

 private:
  ScopedHandle output;
  ScopedHandle process;
  DWORD id = 0;
};

/// A control event goes to the processes of one console, so the test needs one.
class ConsoleInterrupt : public ConsoleTest {
 protected:
  static void SetUpTestSuite() { AllocConsole(); }
};

TEST_F(ConsoleInterrupt, EndsWatch) {
  InterruptedConsole program(Arguments(L"watch"));
  EXPECT_EQ(program.ReadLine(), "watching; Ctrl+C ends it\n");
  EXPECT_EQ(program.Interrupt(), 130U);
  EXPECT_EQ(program.ReadLine(), "launcher-console: interrupted\n");
}

TEST_F(ConsoleInterrupt, EndsAPingWhoseHelperHangs) {
  const EnvironmentVariable installation(L"KOVLAUNCH_INSTDIR", ProgramDirectory());
  const EnvironmentVariable mode(L"KIT_HELPER_PING_MODE", L"absent");
  const std::wstring event = UniqueName(L"helper_done");
  const EnvironmentVariable doneEvent(L"KIT_HELPER_DONE_EVENT", event);
  const ScopedHandle helperDone(CreateEventW(nullptr, TRUE, FALSE, event.c_str()));
  InterruptedConsole program(Arguments(L"ping 127.0.0.1"));
  ASSERT_TRUE(WaitFor(helperDone.Get(), kPatienceMs));
  EXPECT_EQ(program.Interrupt(), 130U);
}

}  // namespace
}  // namespace test_support
