// Stand-in for the helper program that launcher.dll starts from its installation directory. It does
// what the launcher asks for (starts a program, times a list of addresses). Environment variables
// make it record the requests, or answer in ways that no real helper should.

// The order matters.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <ws2tcpip.h>
#include <iphlpapi.h>
#include <icmpapi.h>
// clang-format on

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kit/console.h"
#include "kit/wire.h"

namespace {

constexpr char kHelp[] =
    R"(helperx64 - stand-in for the launcher's helper program

launcher.dll never starts a game and never sends an echo request itself: it starts
"helperx64.exe" from its installation directory (environment variable
KOVLAUNCH_INSTDIR) with one line of parameters, fields separated by "|":

  YES|SW_SHOWNA|<program>|<file name>|<working directory>|<command line>
      Starts <program> in <working directory> with <command line>. The first field
      is the host's launch flag (YES or NO); this helper starts the program either
      way. A link such as ostrel://library in place of <program> is reported and
      recorded, not opened.

  ICMP|500|<pipe>|<address>|<address>|...|
      Sends one ICMP echo request to every IPv4 address, all at the same time, and
      waits 500 ms for each. It then connects to <pipe> and writes one message of 1024
      bytes: 256 little-endian 32-bit numbers, the milliseconds of the addresses in
      their order. An address that does not answer, or is no IPv4 address, gets
      4294967295; places without an address are 0.

Environment variables:

  KIT_HELPER_RECORD=<file>      append every line of parameters to <file>, in UTF-8
  KIT_HELPER_LOG=<file>         append what was done, in words, to <file>; a helper
                                started by the launcher has no console to print to
  KIT_HELPER_DONE_EVENT=<name>  set the event of that name when the work is done
  KIT_HELPER_PING_MODE=<mode>   how a ping line is answered:
      echo       real echo requests (the default)
      fixed      no traffic; the first address gets 1 ms, the second 2 ms, ... 256 ms
      garbage    1024 bytes that are no plausible times: every byte is 0xA5
      short1023  a reply that is one byte too short
      long1025   a reply that is one byte too long
      silent     connects to the pipe and closes it without writing
      absent     never connects: the launcher keeps waiting
      late       as "fixed", but connects only when the event named by
                 KIT_HELPER_PING_GATE is set (at most 60 seconds)

Exit code: 0 success, 1 the request failed, 2 wrong line of parameters.
)";

constexpr std::uint32_t kNoAnswer = 0xFFFFFFFF;

/// The command line after the program's name, unparsed: the line of parameters is not quoted, and an
/// argument parser would take its quotation marks away.
std::wstring RawParameters() {
  const wchar_t* text = GetCommandLineW();
  if (*text == L'"') {
    do {
      ++text;
    } while (*text != L'\0' && *text != L'"');
    if (*text == L'"') ++text;
  } else {
    while (*text != L'\0' && *text != L' ' && *text != L'\t') ++text;
  }
  while (*text == L' ' || *text == L'\t') ++text;
  return text;
}

void AppendLine(const std::wstring& path, const std::wstring& line) {
  const HANDLE file =
      CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    throw std::runtime_error("cannot write to " + kit::ToUtf8(path) + ": " +
                             kit::DescribeError(GetLastError()));
  }
  const std::string bytes = kit::ToUtf8(line) + "\n";
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(file);
}

WORD ShowCommand(const std::wstring& showMode) {
  return showMode == L"SW_SHOWNA" ? SW_SHOWNA : SW_SHOWNORMAL;
}

void RunLaunchLine(const std::wstring& line, kit::Report& report) {
  const kit::LaunchRequest request = kit::ParseLaunchLine(line);
  const std::string program = kit::ToUtf8(request.binaryPath);
  if (request.binaryPath.find(L"://") != std::wstring::npos) {
    report.Line("helper: link " + program + " (recorded, not opened)");
    return;
  }
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESHOWWINDOW;
  startup.wShowWindow = ShowCommand(request.showMode);
  PROCESS_INFORMATION process{};
  std::wstring commandLine = L"\"" + request.binaryPath + L"\" " + request.commandLine;
  const wchar_t* const directory =
      request.workingDirectory.empty() ? nullptr : request.workingDirectory.c_str();
  if (!CreateProcessW(request.binaryPath.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0,
                      nullptr, directory, &startup, &process)) {
    throw std::runtime_error("cannot start " + program + ": " + kit::DescribeError(GetLastError()));
  }
  report.Line("helper: started " + program + " as process " + std::to_string(process.dwProcessId));
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
}

/// Milliseconds until the echo came back, or kNoAnswer.
std::uint32_t EchoTime(const std::wstring& address, DWORD timeoutMilliseconds) {
  in_addr destination{};
  if (InetPtonW(AF_INET, address.c_str(), &destination) != 1) return kNoAnswer;
  const HANDLE icmp = IcmpCreateFile();
  if (icmp == INVALID_HANDLE_VALUE) return kNoAnswer;
  std::array<char, 32> payload{};
  constexpr std::size_t kRoomForErrorMessage = 8;
  alignas(ICMP_ECHO_REPLY)
      std::array<char, sizeof(ICMP_ECHO_REPLY) + sizeof(payload) + kRoomForErrorMessage>
          answer{};
  const DWORD replies =
      IcmpSendEcho(icmp, destination.s_addr, payload.data(), static_cast<WORD>(payload.size()),
                   nullptr, answer.data(), static_cast<DWORD>(answer.size()), timeoutMilliseconds);
  IcmpCloseHandle(icmp);
  const auto* const reply = reinterpret_cast<const ICMP_ECHO_REPLY*>(answer.data());
  return replies > 0 && reply->Status == IP_SUCCESS ? reply->RoundTripTime : kNoAnswer;
}

std::vector<std::uint32_t> EchoTimes(const kit::PingRequest& request) {
  const std::size_t count = std::min(request.addresses.size(), kit::kPingReplyTimes);
  std::vector<std::uint32_t> times(count, kNoAnswer);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < count; ++i) {
    threads.emplace_back([&request, &times, i] {
      times[i] = EchoTime(request.addresses[i], request.timeoutMilliseconds);
    });
  }
  for (std::thread& thread : threads) thread.join();
  return times;
}

std::vector<std::uint32_t> FixedTimes() {
  std::vector<std::uint32_t> times;
  for (std::uint32_t i = 1; i <= kit::kPingReplyTimes; ++i) times.push_back(i);
  return times;
}

HANDLE ConnectToPipe(const std::wstring& pipeName) {
  constexpr DWORD kWaitForFreePipe = 5000;
  for (;;) {
    const HANDLE pipe = CreateFileW(pipeName.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) return pipe;
    const DWORD error = GetLastError();
    if (error != ERROR_PIPE_BUSY || !WaitNamedPipeW(pipeName.c_str(), kWaitForFreePipe)) {
      throw std::runtime_error("cannot connect to the pipe " + kit::ToUtf8(pipeName) + ": " +
                               kit::DescribeError(error));
    }
  }
}

void WriteReply(const std::wstring& pipeName, const kit::Bytes& reply) {
  const HANDLE pipe = ConnectToPipe(pipeName);
  DWORD written = 0;
  const BOOL done = reply.empty() || WriteFile(pipe, reply.data(), static_cast<DWORD>(reply.size()),
                                               &written, nullptr);
  const DWORD error = GetLastError();
  // Waits until the reply has been read: the launcher gives up a helper that disconnects before it
  // has accepted the connection.
  FlushFileBuffers(pipe);
  CloseHandle(pipe);
  if (!done) {
    throw std::runtime_error("cannot write the reply: " + kit::DescribeError(error));
  }
}

void WaitForGate() {
  constexpr DWORD kLongestWait = 60000;
  const std::wstring name = kit::EnvironmentText(L"KIT_HELPER_PING_GATE");
  const HANDLE gate = OpenEventW(SYNCHRONIZE, FALSE, name.c_str());
  if (gate == nullptr) {
    throw std::runtime_error("mode late needs the name of an event in KIT_HELPER_PING_GATE: " +
                             kit::DescribeError(GetLastError()));
  }
  const DWORD result = WaitForSingleObject(gate, kLongestWait);
  CloseHandle(gate);
  if (result != WAIT_OBJECT_0) throw std::runtime_error("the gate was not set within 60 seconds");
}

void RunPingLine(const std::wstring& line, kit::Report& report) {
  const kit::PingRequest request = kit::ParsePingLine(line);
  std::wstring mode = kit::EnvironmentText(L"KIT_HELPER_PING_MODE");
  if (mode.empty()) mode = L"echo";
  constexpr std::uint8_t kGarbage = 0xA5;
  kit::Bytes reply;
  if (mode == L"echo") {
    reply = kit::EncodePingReply(EchoTimes(request));
  } else if (mode == L"garbage") {
    reply.assign(kit::kPingReplySize, kGarbage);
  } else if (mode == L"fixed" || mode == L"short1023" || mode == L"long1025" || mode == L"late") {
    reply = kit::EncodePingReply(FixedTimes());
  } else if (mode != L"silent" && mode != L"absent") {
    throw std::runtime_error("KIT_HELPER_PING_MODE has the unknown value " + kit::ToUtf8(mode));
  }
  if (mode == L"short1023") reply.pop_back();
  if (mode == L"long1025") reply.push_back(0);
  if (mode == L"late") WaitForGate();
  if (mode != L"absent") WriteReply(request.pipeName, reply);
  report.Line("helper: ping of " + std::to_string(request.addresses.size()) +
              " addresses answered in mode " + kit::ToUtf8(mode) + " with " +
              std::to_string(reply.size()) + " bytes");
}

/// Sets the event that KIT_HELPER_DONE_EVENT names, after success and failure alike.
void SignalDone() {
  const std::wstring name = kit::EnvironmentText(L"KIT_HELPER_DONE_EVENT");
  if (name.empty()) return;
  const HANDLE event = OpenEventW(EVENT_MODIFY_STATE, FALSE, name.c_str());
  if (event == nullptr) return;
  SetEvent(event);
  CloseHandle(event);
}

int Run() {
  const std::wstring line = RawParameters();
  if (line == L"--help") {
    std::fputs(kHelp, stdout);
    return kit::kSuccess;
  }
  if (line.empty()) throw kit::UsageError("a line of parameters is missing");
  kit::Report report;
  if (const auto path = kit::EnvironmentText(L"KIT_HELPER_LOG"); !path.empty()) {
    report.OpenFile(path);
  }
  int exitCode = kit::kSuccess;
  try {
    if (const auto path = kit::EnvironmentText(L"KIT_HELPER_RECORD"); !path.empty()) {
      AppendLine(path, line);
    }
    if (kit::IsPingLine(line)) {
      RunPingLine(line, report);
    } else {
      RunLaunchLine(line, report);
    }
  } catch (const std::invalid_argument& error) {
    report.Line("helper: wrong line of parameters, " + std::string(error.what()));
    exitCode = kit::kWrongUsage;
  } catch (const std::exception& error) {
    report.Line("helper: " + std::string(error.what()));
    exitCode = kit::kFailure;
  }
  SignalDone();
  return exitCode;
}

}  // namespace

int main() { return kit::RunProgram("helperx64", Run); }
