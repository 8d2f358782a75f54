// Real processes that a test starts and ends.
#ifndef LAUNCHER_TESTS_SUPPORT_CHILD_PROCESS_H_
#define LAUNCHER_TESTS_SUPPORT_CHILD_PROCESS_H_

#include <optional>
#include <string>

#include "tests/support/scoped_handle.h"

namespace test_support {

struct StartedProcess {
  ScopedHandle handle;
  DWORD id;
};

/// CreateProcessW with these of its arguments; throws when it fails.
StartedProcess StartProcess(const wchar_t* program, std::wstring commandLine, bool inheritsHandles,
                            DWORD flags, STARTUPINFOW& startup);

/// A process that ends with the object at the latest.
class ChildProcess {
 public:
  /// Starts `program` with `arguments` after its quoted path.
  explicit ChildProcess(const std::wstring& program, const std::wstring& arguments = L"");
  ChildProcess(ChildProcess&&) = default;
  ChildProcess& operator=(ChildProcess&&) = delete;
  ~ChildProcess();

  DWORD Id() const { return id; }
  HANDLE Handle() const { return process.Get(); }
  bool IsRunning() const;
  /// Ends it by its handle and waits for that.
  void Terminate(UINT exitCode = 1) const;
  /// Its exit code, or nothing when it did not end in time.
  std::optional<DWORD> WaitForExit(DWORD timeoutMs) const;

 private:
  ScopedHandle process;
  DWORD id = 0;
};

/// Copies the test program to `path` (see `TempDirectory::Join`) and starts the copy, which does
/// nothing until it is ended. It runs when this returns. A stand-in for a game that only has to be
/// found in the list of processes by its file name.
ChildProcess StartIdleProcess(const std::wstring& path);

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_CHILD_PROCESS_H_
