#include "examples/demo/child_program.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include "examples/demo/console.h"

namespace demo {
namespace {

constexpr std::chrono::seconds kPatience{60};

std::string FindLine(const std::vector<std::string>& lines, const std::string& beginning) {
  for (const std::string& line : lines) {
    if (line.starts_with(beginning)) return line;
  }
  return "";
}

}  // namespace

ChildProgram::ChildProgram(const std::filesystem::path& program, const std::wstring& options) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE childEnd = nullptr;
  if (!CreatePipe(&output, &childEnd, &inheritable, 0)) {
    throw std::runtime_error("no pipe: " + DescribeError(GetLastError()));
  }
  SetHandleInformation(output, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = childEnd;
  startup.hStdError = childEnd;
  PROCESS_INFORMATION information{};
  std::wstring commandLine = L"\"" + program.native() + L"\" " + options;
  const BOOL started = CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                                      0, nullptr, nullptr, &startup, &information);
  const DWORD error = GetLastError();
  CloseHandle(childEnd);
  if (!started) {
    CloseHandle(output);
    throw std::runtime_error("cannot start " + ToUtf8(program.native()) + ": " +
                             DescribeError(error));
  }
  CloseHandle(information.hThread);
  process = information.hProcess;
  reader = std::thread(&ChildProgram::ReadOutput, this);
}

ChildProgram::~ChildProgram() {
  if (WaitForSingleObject(process, 0) != WAIT_OBJECT_0) {
    TerminateProcess(process, 1);
    WaitForSingleObject(process, INFINITE);
  }
  reader.join();  // its pipe is broken now
  CloseHandle(process);
  CloseHandle(output);
}

std::string ChildProgram::WaitForLine(const std::string& beginning) {
  std::unique_lock<std::mutex> guard(mutex);
  std::string found;
  changed.wait_for(guard, kPatience, [&] {
    found = FindLine(lines, beginning);
    return !found.empty() || outputEnded;
  });
  if (found.empty()) throw std::runtime_error("waited in vain for the line \"" + beginning + "\"");
  return found;
}

void ChildProgram::ReadOutput() {
  std::string pending;
  char buffer[512];
  DWORD size = 0;
  while (ReadFile(output, buffer, sizeof(buffer), &size, nullptr)) {
    for (DWORD i = 0; i < size; ++i) {
      if (buffer[i] == '\n') {
        AddLine(std::exchange(pending, ""));
      } else if (buffer[i] != '\r') {
        pending += buffer[i];
      }
    }
  }
  const std::lock_guard<std::mutex> guard(mutex);
  outputEnded = true;
  changed.notify_all();
}

void ChildProgram::AddLine(std::string line) {
  Print("    [" + line + "]");
  const std::lock_guard<std::mutex> guard(mutex);
  lines.push_back(std::move(line));
  changed.notify_all();
}

}  // namespace demo
