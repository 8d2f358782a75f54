// Measures the console from its start to the first line of `list`.
#include <windows.h>

#include <cstdio>
#include <string>

#include "bench/measure.h"
#include "tests/support/dll_host.h"
#include "tests/support/scoped_handle.h"

namespace {

using test_support::ScopedHandle;

// Starts a program and returns when it has written its first line. False when it writes none.
bool RunToFirstLine(std::wstring commandLine) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  if (!CreatePipe(&readEnd, &writeEnd, &inheritable, 0)) return false;
  const ScopedHandle output(readEnd);
  SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = writeEnd;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION information{};
  const BOOL started = CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0,
                                      nullptr, nullptr, &startup, &information);
  CloseHandle(writeEnd);
  if (!started) return false;
  CloseHandle(information.hThread);
  const ScopedHandle process(information.hProcess);
  char byte = '\0';
  DWORD size = 0;
  while (byte != '\n' && ReadFile(readEnd, &byte, 1, &size, nullptr) && size == 1) {
  }
  return byte == '\n';
}

}  // namespace

int main() {
  const std::wstring folder = test_support::ProgramDirectory();
  const std::wstring loadOnly = L"\"" + folder + L"\\load_only.exe\"";
  const std::wstring list = L"\"" + folder + L"\\launcher-console.exe\" --dll \"" +
                            test_support::LauncherDllPath() + L"\" list";
  if (!RunToFirstLine(loadOnly) || !RunToFirstLine(list)) {
    std::fputs("a program has written nothing\n", stderr);
    return 1;
  }
  constexpr int kStarts = 41;
  const bench::Comparison comparison = bench::Compare(
      [&loadOnly] { RunToFirstLine(loadOnly); }, 1, [&list] { RunToFirstLine(list); }, 1, kStarts);
  bench::PrintRatio("console: from its start to the first line of `list`",
                    "a program that only loads the DLL", comparison, 1.3);
  return 0;
}
