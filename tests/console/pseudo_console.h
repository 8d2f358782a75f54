// A console without a window, for a program that a test starts.
#ifndef LAUNCHER_TESTS_CONSOLE_PSEUDO_CONSOLE_H_
#define LAUNCHER_TESTS_CONSOLE_PSEUDO_CONSOLE_H_

#include <string>

#include "tests/support/scoped_handle.h"

namespace test_support {

/// A program in a console of its own, with a pipe for what it prints. Ended with the object when it
/// still runs.
class ProgramInConsole {
 public:
  explicit ProgramInConsole(const std::wstring& commandLine);
  ProgramInConsole(const ProgramInConsole&) = delete;
  ProgramInConsole& operator=(const ProgramInConsole&) = delete;
  ~ProgramInConsole();

  /// The text up to and with a line end; shorter at the end of the output.
  std::string ReadLine();
  DWORD ProcessId() const { return processId; }
  /// Waits for the end of the program.
  DWORD ExitCode();

 private:
  void MakeConsole();
  void Start(const std::wstring& commandLine, HANDLE standardOutput);

  void* console = nullptr;
  ScopedHandle keyboard;  // what a person would type
  ScopedHandle screen;    // what a person would see; the program's own output goes elsewhere
  ScopedHandle output;
  ScopedHandle process;
  DWORD processId = 0;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_CONSOLE_PSEUDO_CONSOLE_H_
