#include "tests/browser_host/native_program.h"

#include <array>
#include <cstdint>
#include <stdexcept>

#include "tests/support/child_process.h"
#include "tests/support/dll_host.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

// A pipe of which the program inherits one end.
void MakePipe(ScopedHandle& readEnd, ScopedHandle& writeEnd, bool programReads) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE reading = nullptr;
  HANDLE writing = nullptr;
  if (!CreatePipe(&reading, &writing, &inheritable, 0)) ThrowLastError("CreatePipe");
  readEnd.Reset(reading);
  writeEnd.Reset(writing);
  SetHandleInformation(programReads ? writing : reading, HANDLE_FLAG_INHERIT, 0);
}

}  // namespace

NativeProgram::NativeProgram(const std::wstring& arguments) {
  ScopedHandle programInput;
  ScopedHandle programOutput;
  MakePipe(programInput, input, true);
  MakePipe(output, programOutput, false);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = programInput.Get();
  startup.hStdOutput = programOutput.Get();
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  process = StartProcess(nullptr, L"\"" + ProgramDirectory() + L"\\browser_host.exe\" " + arguments,
                         true, 0, startup)
                .handle;
  constexpr DWORD kLongestLifeMs = 3 * kPatienceMs;
  if (!CreateTimerQueueTimer(&deadline, nullptr, &NativeProgram::End, process.Get(), kLongestLifeMs,
                             0, WT_EXECUTEONLYONCE)) {
    TerminateProcess(process.Get(), 1);
    ThrowLastError("CreateTimerQueueTimer");
  }
}

void NativeProgram::End(void* process, BOOLEAN /*byTimer*/) { TerminateProcess(process, 1); }

NativeProgram::~NativeProgram() {
  // As a browser ends it: it may be starting a helper.
  CloseInput();
  CloseOutput();
  WaitFor(process.Get(), INFINITE);
  DeleteTimerQueueTimer(nullptr, deadline, INVALID_HANDLE_VALUE);
}

void NativeProgram::Write(const std::string& bytes) {
  DWORD written = 0;
  if (!WriteFile(input.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
    ThrowLastError("WriteFile to the program");
  }
}

void NativeProgram::Send(const std::string& text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  std::string frame;
  for (unsigned int shift = 0; shift < 32; shift += 8) frame += static_cast<char>(length >> shift);
  Write(frame + text);
}

std::optional<std::string> NativeProgram::Receive() {
  std::array<char, 4> prefix{};
  if (!Read(prefix.data(), prefix.size())) return std::nullopt;
  std::uint32_t length = 0;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    length |= std::uint32_t{static_cast<unsigned char>(prefix[i])} << (8 * i);
  }
  std::string text(length, '\0');
  if (!Read(text.data(), text.size())) throw std::runtime_error("a message was cut short");
  return text;
}

Json NativeProgram::ReceiveJson() {
  const std::optional<std::string> text = Receive();
  if (!text) throw std::runtime_error("the program has ended without a message");
  return Json::parse(*text);
}

Json NativeProgram::ReceiveEvent(const std::string& name) {
  for (;;) {
    while (!events.empty()) {
      const Json event = events.front();
      events.erase(events.begin());
      if (event["name"] == name) return event;
    }
    const Json message = ReceiveJson();
    if (message.contains("event")) events.push_back(message["event"]);
  }
}

Json NativeProgram::Call(const std::string& method, const Json& params) {
  const int id = nextId++;
  Send(Json{{"id", id}, {"method", method}, {"params", params}}.dump());
  for (;;) {
    Json message = ReceiveJson();
    if (message.contains("event")) {
      events.push_back(message["event"]);
    } else if (message["id"] == id) {
      return message;
    }
  }
}

std::string NativeProgram::CallForError(const std::string& method, const Json& params) {
  const Json answer = Call(method, params);
  if (!answer.contains("error")) return "no error: " + answer.dump();
  return answer["error"]["code"];
}

DWORD NativeProgram::ExitCode() {
  DWORD exitCode = STILL_ACTIVE;
  if (WaitFor(process.Get(), kPatienceMs)) GetExitCodeProcess(process.Get(), &exitCode);
  return exitCode;
}

bool NativeProgram::Read(char* bytes, std::size_t size) {
  while (size > 0) {
    DWORD now = 0;
    if (!ReadFile(output.Get(), bytes, static_cast<DWORD>(size), &now, nullptr)) return false;
    bytes += now;
    size -= now;
  }
  return true;
}

NativeProgramTest::NativeProgramTest() {
  work.WriteFile(L"origins.txt",
                 std::string(kExtension) + "\n" + kPage + "\n" + kTrustedPage + " probe\n");
}

std::wstring NativeProgramTest::Arguments(const std::string& extension) const {
  // As a browser adds it, and on Windows the number of a window.
  return L"--dll \"" + LauncherDllPath() + L"\" --origins \"" + work.Join(L"origins.txt") + L"\" " +
         Widen(extension) + L"/ --parent-window=0";
}

Json NativeProgramTest::Hello(NativeProgram& program, const std::string& origin) {
  return program.Call("hello", {{"origin", origin}, {"protocol", 1}});
}

}  // namespace test_support
