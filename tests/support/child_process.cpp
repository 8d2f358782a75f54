#include "tests/support/child_process.h"

#include <filesystem>
#include <stdexcept>
#include <utility>

#include "tests/support/text.h"

namespace test_support {
namespace {

constexpr wchar_t kIdleArgument[] = L"--idle-until-ended ";
constexpr DWORD kStartPatienceMs = 20000;
// An idle process that was forgotten, because the test program itself was ended, goes away by
// itself.
constexpr DWORD kIdleMs = 120000;

// The part that runs in the copy: says that it is there and waits. It works before main(), because
// every test program has GoogleTest's.
struct IdleProcess {
  IdleProcess() {
    const std::wstring commandLine = GetCommandLineW();
    const std::size_t at = commandLine.find(kIdleArgument);
    if (at == std::wstring::npos) return;
    const std::wstring eventName = commandLine.substr(at + std::size(kIdleArgument) - 1);
    const HANDLE ready = OpenEventW(EVENT_MODIFY_STATE, FALSE, eventName.c_str());
    if (ready == nullptr) ExitProcess(1);
    SetEvent(ready);
    Sleep(kIdleMs);
    ExitProcess(0);
  }
};
const IdleProcess idleProcess;

}  // namespace

StartedProcess StartProcess(const wchar_t* program, std::wstring commandLine, bool inheritsHandles,
                            DWORD flags, STARTUPINFOW& startup) {
  const std::string call = "CreateProcess of " + Narrow(commandLine);
  PROCESS_INFORMATION information = {};
  BOOL started = FALSE;
  // Where addresses are random, Wine at times finds one taken that it needs in a new process, ends it
  // before its first instruction and calls that an internal error.
  for (int tries = 3; tries > 0; --tries) {
    started = CreateProcessW(program, commandLine.data(), nullptr, nullptr,
                             inheritsHandles ? TRUE : FALSE, flags, nullptr, nullptr, &startup,
                             &information);
    if (started || GetLastError() != ERROR_INTERNAL_ERROR) break;
  }
  if (!started) ThrowLastError(call);
  CloseHandle(information.hThread);
  return {ScopedHandle(information.hProcess), information.dwProcessId};
}

ChildProcess::ChildProcess(const std::wstring& program, const std::wstring& arguments) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  StartedProcess started =
      StartProcess(program.c_str(), L"\"" + program + L"\" " + arguments, false, 0, startup);
  process = std::move(started.handle);
  id = started.id;
}

ChildProcess::~ChildProcess() {
  if (process) Terminate();
}

bool ChildProcess::IsRunning() const { return !WaitFor(process.Get(), 0); }

void ChildProcess::Terminate(UINT exitCode) const {
  TerminateProcess(process.Get(), exitCode);
  WaitForSingleObject(process.Get(), kStartPatienceMs);
}

std::optional<DWORD> ChildProcess::WaitForExit(DWORD timeoutMs) const {
  if (!WaitFor(process.Get(), timeoutMs)) return std::nullopt;
  DWORD exitCode = 0;
  if (!GetExitCodeProcess(process.Get(), &exitCode)) ThrowLastError("GetExitCodeProcess");
  return exitCode;
}

ChildProcess StartIdleProcess(const std::wstring& path) {
  std::wstring self(32768, L'\0');
  self.resize(GetModuleFileNameW(nullptr, self.data(), static_cast<DWORD>(self.size())));
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  if (!CopyFileW(self.c_str(), path.c_str(), FALSE)) ThrowLastError("CopyFileW");

  static unsigned int number = 0;
  const std::wstring eventName = L"launcher-test-idle-" + std::to_wstring(GetCurrentProcessId()) +
                                 L"-" + std::to_wstring(++number);
  const ScopedHandle ready(CreateEventW(nullptr, TRUE, FALSE, eventName.c_str()));
  ChildProcess child(path, kIdleArgument + eventName);
  const HANDLE either[] = {ready.Get(), child.Handle()};
  if (WaitForMultipleObjects(2, either, FALSE, kStartPatienceMs) != WAIT_OBJECT_0) {
    throw std::runtime_error("an idle process did not start");
  }
  return child;
}

}  // namespace test_support
