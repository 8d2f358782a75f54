// An installation of the plug-in for a scope: a directory with a helper program, named to the
// library by its environment variable.
#ifndef LAUNCHER_TESTS_SUPPORT_HELPER_INSTALLATION_H_
#define LAUNCHER_TESTS_SUPPORT_HELPER_INSTALLATION_H_

#include <windows.h>
// windows.h first.
#include <shellapi.h>

#include <mutex>
#include <string>
#include <vector>

#include "tests/support/environment_variable.h"
#include "tests/support/import_redirector.h"
#include "tests/support/temp_directory.h"

namespace test_support {

/// The directory, with the kit's stand-in for the helper, an empty file in its place (enough when
/// the start is redirected) or none. KOVLAUNCH_INSTDIR names the directory.
class HelperInstallation {
 public:
  enum class Helper { kKitProgram, kEmptyFile, kNone };

  explicit HelperInstallation(Helper helper = Helper::kEmptyFile);

  const TempDirectory& Directory() const { return directory; }
  /// The path that the library builds, whether or not the file is there.
  std::wstring HelperPath() const { return directory.Join(L"helperx64.exe"); }

  /// The parameter lines that the kit's program has recorded: waits until there are `count`; fewer
  /// when they did not come in time.
  std::vector<std::wstring> WaitForParameterLines(std::size_t count, DWORD timeoutMs) const;

 private:
  TempDirectory directory;
  EnvironmentVariable installDirectory;
  EnvironmentVariable recordFile;
};

/// A copy of what the library hands to ShellExecuteExW.
struct ShellCall {
  DWORD size;
  ULONG mask;
  HWND window;
  std::wstring verb;
  std::wstring file;
  std::wstring parameters;
  int show;
  /// Whether all other members of the record are zero, the directory among them.
  bool isRestZero;
};

/// Redirects ShellExecuteExW of the module: nothing is started, each call is recorded.
class ShellRecorder {
 public:
  explicit ShellRecorder(HMODULE module);

  /// Later calls fail, with this value in the record's instance handle.
  void Fail(UINT_PTR instanceHandle);
  std::vector<ShellCall> Calls() const;

 private:
  BOOL Record(SHELLEXECUTEINFOW* info);

  mutable std::mutex mutex;
  std::vector<ShellCall> calls;
  bool succeeds = true;
  UINT_PTR failure = 0;
  IMPORT_HOOK(ShellExecuteExW) hook;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_HELPER_INSTALLATION_H_
