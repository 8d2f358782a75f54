#include "tests/host/kit/kit_program.h"

#include <atomic>
#include <stdexcept>

#include "tests/support/child_process.h"
#include "tests/support/text.h"

namespace test_support {

KitProgram::KitProgram(const std::wstring& program, const std::wstring& parameters) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE readEnd = nullptr;
  HANDLE writeEnd = nullptr;
  if (!CreatePipe(&readEnd, &writeEnd, &inheritable, 0)) ThrowLastError("CreatePipe");
  outputEnd.Reset(readEnd);
  const ScopedHandle childEnd(writeEnd);
  SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);

  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = writeEnd;
  startup.hStdError = writeEnd;
  const bool isPath = program.find(L'\\') != std::wstring::npos;
  const std::wstring path = isPath ? program : ProgramDirectory() + L"\\" + program;
  process = StartProcess(path.c_str(), L"\"" + path + L"\" " + parameters, true, 0, startup).handle;
}

KitProgram::~KitProgram() {
  if (!WaitFor(process.Get(), 0)) {
    TerminateProcess(process.Get(), 1);
    WaitFor(process.Get(), kPatienceMs);
  }
}

std::string KitProgram::WaitForLine(const std::string& beginning) {
  for (;;) {
    for (const std::string& line : Lines(output)) {
      if (line.starts_with(beginning)) {
        // A line that is still being written counts when its end has come.
        const std::size_t end = output.find(line) + line.size();
        if (end < output.size()) return line.substr(beginning.size());
      }
    }
    if (!ReadMore()) throw std::runtime_error("no line \"" + beginning + "\" in: " + output);
  }
}

DWORD KitProgram::ExitCode() {
  while (ReadMore()) {
  }
  DWORD exitCode = STILL_ACTIVE;
  if (WaitFor(process.Get(), kPatienceMs)) GetExitCodeProcess(process.Get(), &exitCode);
  return exitCode;
}

bool KitProgram::ReadMore() {
  char buffer[1024];
  DWORD size = 0;
  if (!ReadFile(outputEnd.Get(), buffer, sizeof(buffer), &size, nullptr)) return false;
  for (DWORD i = 0; i < size; ++i) {
    if (buffer[i] != '\r') output += buffer[i];
  }
  return true;
}

std::wstring UniqueName(const std::wstring& beginning) {
  static std::atomic<int> number{0};
  return beginning + L"_" + std::to_wstring(GetCurrentProcessId()) + L"_" +
         std::to_wstring(++number);
}

ScopedHandle ConnectWhenOffered(const std::wstring& pipeName) {
  // Nothing tells that a pipe of some name has come into being.
  constexpr DWORD kPauseMs = 10;
  for (DWORD waited = 0; waited < kPatienceMs; waited += kPauseMs) {
    ScopedHandle pipe(CreateFileW(pipeName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                  OPEN_EXISTING, 0, nullptr));
    if (pipe) return pipe;
    Sleep(kPauseMs);
  }
  throw std::runtime_error("nobody offers " + Narrow(pipeName));
}

void WritePipe(HANDLE pipe, const Bytes& bytes) {
  DWORD written = 0;
  if (!WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
    ThrowLastError("WriteFile to a pipe");
  }
}

Bytes ReadPipe(HANDLE pipe, std::size_t size) {
  Bytes bytes(size);
  std::size_t done = 0;
  DWORD now = 0;
  while (done < size &&
         ReadFile(pipe, bytes.data() + done, static_cast<DWORD>(size - done), &now, nullptr)) {
    done += now;
  }
  bytes.resize(done);
  return bytes;
}

}  // namespace test_support
