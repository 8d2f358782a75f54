// What the tests of probing have in common.
#ifndef LAUNCHER_TESTS_HOST_APPS_GAME_PROBE_H_
#define LAUNCHER_TESTS_HOST_APPS_GAME_PROBE_H_

#include <string>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/fake_process_list.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/text.h"

namespace test_support {

/// The names under which the run-time exports what asks for a file's status and what opens a file.
using FileStatusHook = ImportHook<"_wstat64", int(const wchar_t*, struct _stat64*)>;
using FileOpenHook = ImportHook<"_wfopen", FILE*(const wchar_t*, const wchar_t*)>;

/// The executables that the library looks for in the list of processes, in order.
inline std::vector<std::string> WantedNames(DllHost& host, const wchar_t* id) {
  const FakeProcessList processes(host.Module(), {{4, L"other.exe"}});
  const std::string beginning = "BaseApp::IsProcessesRunning: Comparing other.exe with ";
  std::vector<std::string> names;
  for (const std::string& line : Lines(LogOf([&] { host->IsRunning(id); }))) {
    if (line.starts_with(beginning)) names.push_back(line.substr(beginning.size()));
  }
  return names;
}

/// Has a game looked for at these paths instead of in the registry.
inline void ChoosePaths(DllHost& host, const wchar_t* id, const std::wstring& workingDirectory,
                        const std::wstring& binaryPath, const std::wstring& binaryName) {
  host->SetParameter(id, L"probeMethod", L"path");
  host->SetParameter(id, L"workingDirectory", workingDirectory.c_str());
  host->SetParameter(id, L"binaryPath", binaryPath.c_str());
  host->SetParameter(id, L"binaryName", binaryName.c_str());
}

}  // namespace test_support

#endif  // LAUNCHER_TESTS_HOST_APPS_GAME_PROBE_H_
