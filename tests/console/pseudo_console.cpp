#include "tests/console/pseudo_console.h"

#include <stdexcept>
#include <utility>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/dll_host.h"

namespace test_support {
namespace {

// Newer than the Windows version that the headers are asked for.
using CreateFunction = HRESULT(WINAPI*)(COORD, HANDLE, HANDLE, DWORD, void**);
using CloseFunction = void(WINAPI*)(void*);
constexpr DWORD_PTR kPseudoConsoleAttribute = 0x00020016;

template <typename T>
T Kernel32(const char* name) {
  void* const address =
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name));
  if (address == nullptr) throw std::runtime_error(std::string("no function ") + name);
  return reinterpret_cast<T>(address);
}

void MakePipe(ScopedHandle& readEnd, ScopedHandle& writeEnd) {
  HANDLE reading = nullptr;
  HANDLE writing = nullptr;
  if (!CreatePipe(&reading, &writing, nullptr, 0)) ThrowLastError("CreatePipe");
  readEnd.Reset(reading);
  writeEnd.Reset(writing);
}

}  // namespace

ProgramInConsole::ProgramInConsole(const std::wstring& commandLine) {
  MakeConsole();
  ScopedHandle standardOutput;
  MakePipe(output, standardOutput);
  SetHandleInformation(standardOutput.Get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  Start(commandLine, standardOutput.Get());
}

ProgramInConsole::~ProgramInConsole() {
  if (!WaitFor(process.Get(), 0)) TerminateProcess(process.Get(), 1);
  screen.Reset();
  Kernel32<CloseFunction>("ClosePseudoConsole")(console);
}

void ProgramInConsole::MakeConsole() {
  ScopedHandle typed;
  ScopedHandle shown;
  MakePipe(typed, keyboard);
  MakePipe(screen, shown);
  const HRESULT result = Kernel32<CreateFunction>("CreatePseudoConsole")({80, 25}, typed.Get(),
                                                                         shown.Get(), 0, &console);
  if (FAILED(result)) throw std::runtime_error("CreatePseudoConsole failed");
}

void ProgramInConsole::Start(const std::wstring& commandLine, HANDLE standardOutput) {
  SIZE_T size = 0;
  InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
  std::vector<char> bytes(size);
  STARTUPINFOEXW startup{};
  startup.StartupInfo.cb = sizeof(startup);
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.StartupInfo.hStdOutput = standardOutput;
  startup.StartupInfo.hStdError = standardOutput;
  startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(bytes.data());
  if (!InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size) ||
      !UpdateProcThreadAttribute(startup.lpAttributeList, 0, kPseudoConsoleAttribute, console,
                                 sizeof(console), nullptr, nullptr)) {
    ThrowLastError("attributes of a process");
  }
  StartedProcess started =
      StartProcess(nullptr, commandLine, true, EXTENDED_STARTUPINFO_PRESENT, startup.StartupInfo);
  DeleteProcThreadAttributeList(startup.lpAttributeList);
  process = std::move(started.handle);
  processId = started.id;
}

std::string ProgramInConsole::ReadLine() {
  std::string line;
  char byte = 0;
  DWORD size = 0;
  while (!line.ends_with('\n') && ReadFile(output.Get(), &byte, 1, &size, nullptr)) line += byte;
  return line;
}

DWORD ProgramInConsole::ExitCode() {
  DWORD exitCode = STILL_ACTIVE;
  if (WaitFor(process.Get(), kPatienceMs)) GetExitCodeProcess(process.Get(), &exitCode);
  return exitCode;
}

}  // namespace test_support
