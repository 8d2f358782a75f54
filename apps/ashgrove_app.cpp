#include "apps/ashgrove_app.h"

#include <cerrno>
#include <cstddef>

#include "apps/file_text.h"
#include "apps/process_scan.h"
#include "core/environment.h"
#include "core/file_status.h"
#include "core/handles.h"
#include "core/log.h"
#include "core/registry.h"
#include "core/text.h"

namespace launcher {
namespace {

constexpr wchar_t kSetupLabel[] = L"AshgroveApp::_SetupGame";
constexpr char kSendLabel[] = "AshgroveApp::SendCommand";

// Counted in bytes, terminator included.
constexpr DWORD kInstallDirBytes = 255;

// A directory gets its final backslash only when it and a terminator stay within these limits.
constexpr std::size_t kRegistryDirLimit = 255;
constexpr std::size_t kPathDirLimit = MAX_PATH;

// What a killed game ends with; crash reporters know it as "ended by the launcher".
constexpr UINT kKilledExitCode = static_cast<UINT>(-31337);

// What a path array of the system's customary size would hold.
std::wstring CutToPath(std::wstring path) {
  if (path.size() >= MAX_PATH) path.resize(MAX_PATH - 1);
  return path;
}

void EndWithBackslash(std::wstring& directory, std::size_t limit) {
  if (!directory.ends_with(L'\\') && directory.size() + 1 <= limit) directory += L'\\';
}

std::wstring ReadVersionFile(const std::wstring& directory) {
  return ReadFileText(directory + L"version.json");
}

bool IsX86Processor() {
  SYSTEM_INFO system;
  GetNativeSystemInfo(&system);
  return system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_INTEL ||
         system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_IA32_ON_WIN64;
}

}  // namespace

AshgroveApp::AshgroveApp(EventSink& sink, NotifyCallback hostNotifier, const wchar_t* gamePipeName,
                         const wchar_t* applicationId)
    : BaseApp(sink, hostNotifier, applicationId),
      PellmarAppBase(sink, gamePipeName, applicationId) {}

AshgroveApp::~AshgroveApp() = default;

bool AshgroveApp::_SetupGame(const wchar_t* defaultRegistryKey, const wchar_t* valueName,
                             const wchar_t* x64Name, const wchar_t* x86Name) {
  const std::wstring method = GetParameter(L"probeMethod");
  const bool x86Processor = IsX86Processor();
  if (method == L"path") {
    ProbePath();
  } else if (!ProbeRegistry(defaultRegistryKey, valueName, x64Name, x86Name, x86Processor)) {
    return false;
  }
  if (!HasFileStatus(binaryFullPath)) {
    // The lone parenthesis belongs to the message.
    LogLine(L"%s: stat() failed, for path %s with error %d)\n", kSetupLabel, binaryFullPath.c_str(),
            errno);
    return false;
  }
  SetParameter(L"APP_VERSION", ReadVersionFile(installDir).c_str());
  probed = true;
  // The directory ends in a backslash already. The doubled one is part of the path that is asked for.
  SetParameter(L"PUNKBUSTER_INSTALLED",
               HasFileStatus(installDir + L"\\pb\\pbcl.dll") ? L"1" : L"0");
  return true;
}

bool AshgroveApp::ProbeRegistry(const wchar_t* defaultRegistryKey, const wchar_t* valueName,
                                const wchar_t* x64Name, const wchar_t* x86Name, bool x86Processor) {
  LogLine(L"%s: Using probe method registry\n", kSetupLabel);
  probedByRegistry = true;

  std::wstring keyPath = GetParameter(L"registryKey");
  if (keyPath.empty()) keyPath = defaultRegistryKey;
  LogLine(L"%s: Using registry key %s\n", kSetupLabel, keyPath.c_str());

  UniqueRegistryKey key;
  LSTATUS status = OpenMachineKey(keyPath, key);
  if (status != ERROR_SUCCESS) {
    LogLine(L"%s: Probe failed, unable to open %s (%d)\n", kSetupLabel, keyPath.c_str(),
            static_cast<int>(status));
    return false;
  }
  std::wstring directory;
  status = QueryText(key, valueName, kInstallDirBytes, directory);
  if (status != ERROR_SUCCESS) {
    LogLine(L"%s: Probe failed, unable to query %s (%d)\n", kSetupLabel, valueName,
            static_cast<int>(status));
    return false;
  }
  // Kept open on purpose: only the failure path closes the key.
  static_cast<void>(key.release());
  EndWithBackslash(directory, kRegistryDirLimit);

  if (const std::wstring name = GetParameter(L"binaryName"); !name.empty()) {
    // The name of the other architecture stays what it was.
    binaryName = name;
  } else {
    ChooseBinaryName(x64Name, x86Name, x86Processor);
  }
  installDir = CutToPath(directory);
  binaryFullPath = CutToPath(installDir + binaryName);
  return true;
}

void AshgroveApp::ChooseBinaryName(const wchar_t* x64Name, const wchar_t* x86Name,
                                   bool x86Processor) {
  const bool wantsX64 = !x86Processor || *x86Name == L'\0';
  // Testers force the 32-bit games with the variable, whatever its value. A game without a 32-bit
  // executable then has an empty name.
  if (wantsX64 && !ReadEnvironment(L"KOVLAUNCH_FAKE_X86")) {
    binaryName = x64Name;
    altBinaryName = x86Name;
  } else {
    binaryName = x86Name;
    altBinaryName = x64Name;
  }
}

void AshgroveApp::ProbePath() {
  LogLine(L"%s: Using probe method path instead of registry\n", kSetupLabel);
  installDir = CutToPath(GetParameter(L"workingDirectory"));
  binaryFullPath = CutToPath(GetParameter(L"binaryPath"));
  binaryName = GetParameter(L"binaryName");
  EndWithBackslash(installDir, kPathDirLimit);
}

bool AshgroveApp::IsInstalled() { return SetupGame(); }

bool AshgroveApp::Launch(const wchar_t* commandLine, bool launchFlag, const wchar_t* /*text1*/,
                         const wchar_t* /*text2*/, const wchar_t* /*text3*/,
                         const wchar_t* /*text4*/) {
  if (!SetupGame()) {
    LogLine(L"%s: Game is not properly probed, aborting\n", L"AshgroveApp::Launch");
    return false;
  }
  return LaunchProgram(binaryFullPath.c_str(), binaryName.c_str(), commandLine, launchFlag);
}

bool AshgroveApp::LaunchProgram(const wchar_t* programPath, const wchar_t* programName,
                                const wchar_t* commandLine, bool launchFlag) {
  if (!DoLaunch(installDir.c_str(), programPath, programName, commandLine, launchFlag))
    return false;
  GetEventSink().PostStateChange(GetId().c_str(), L"PENDING");
  return true;
}

bool AshgroveApp::SendCommand(const wchar_t* command, const wchar_t* arg0, const wchar_t* arg1,
                              const wchar_t* arg2, const wchar_t* arg3) {
  if (client == nullptr) {
    LogLine("%s: Not connected, aborting\n", kSendLabel);
    return false;
  }
  const std::string name = WideToUtf8(command);
  const std::string narrow0 = WideToUtf8(arg0);
  const std::string narrow1 = WideToUtf8(arg1);
  const std::string narrow2 = WideToUtf8(arg2);
  const std::string narrow3 = WideToUtf8(arg3);
  LogLine("%s: Creating command %s with args %s, %s, %s, %s\n", kSendLabel, name.c_str(),
          narrow0.c_str(), narrow1.c_str(), narrow2.c_str(), narrow3.c_str());

  // Games read arguments by position: one after an empty one would be taken for it, so it is
  // dropped. The first is always there, even when empty.
  std::string args = narrow0;
  for (const std::string* const argument : {&narrow1, &narrow2, &narrow3}) {
    if (argument->empty()) break;
    args += ' ';
    args += *argument;
  }
  LogLine("%s: cmd=%s args=%s\n", kSendLabel, name.c_str(), args.c_str());

  const vorn::PellmarCommand pipeCommand(name, args);
  PrintText("%s: Sending command!\n", kSendLabel);
  client->Send(pipeCommand);
  PrintText("%s: DONE!\n", kSendLabel);
  return true;
}

unsigned long AshgroveApp::FindProcess() const {
  const wchar_t* const alternative = altBinaryName.empty() ? nullptr : altBinaryName.c_str();
  const wchar_t* const names[] = {binaryName.c_str(), alternative, nullptr};
  return IsProcessesRunning(names);
}

bool AshgroveApp::Kill(bool /*flag*/) {
  if (!SetupGame()) return false;
  // Without a process the identifier is 0, which the system refuses to open.
  const UniqueProcess process(OpenProcess(PROCESS_TERMINATE, FALSE, FindProcess()));
  if (!process) return false;
  TerminateProcess(process.get(), kKilledExitCode);
  return true;
}

bool AshgroveApp::IsRunning() { return SetupGame() && FindProcess() != 0; }

void AshgroveApp::Poll() { PollPellmar(); }

std::wstring AshgroveApp::GetVersion() {
  return SetupGame() ? GetParameter(L"APP_VERSION") : L"NOT_INSTALLED";
}

std::wstring AshgroveApp::GetExtraArguments() {
  return SetupGame() ? GetParameter(L"EXTRA_ARGUMENTS") : L"NOT_INSTALLED";
}

}  // namespace launcher
