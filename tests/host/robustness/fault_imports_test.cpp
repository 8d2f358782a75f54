// Every call of the system and of the C runtime fails once. The imports are read from the DLL, so
// that a new one is not forgotten; what each does when it fails, and what the host then sees,
// is in two tables.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <algorithm>
#include <ostream>
#include <set>

#include "tests/host/robustness/fault_scenario.h"
#include "tests/support/pe_file.h"
#include "tests/support/process_snapshot.h"

namespace test_support {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

enum class Kind {
  // Makes every n-th call fail.
  kFails,
  // Has no failure that it could report, or none for the arguments that the library gives it.
  kCannotFail,
  // Called while the DLL is loaded or the process ends, before anybody could redirect it.
  kWhileLoading,
  // The memory that it may fail to get is the matter of another test.
  kMemory,
};

struct Rule {
  const char* function;
  Kind kind;
  CallFailure failure = {};
  // For functions that are called for several purposes: the purpose of this rule.
  const char* purpose = "";
  ImportFaults::Condition condition = nullptr;

  std::string Name() const {
    return *purpose == '\0' ? function : std::string(function) + " (" + purpose + ")";
  }
};

CallFailure WithLastError(std::uint64_t result, int error) {
  return {result, CallFailure::Code::kLastError, error, false};
}
CallFailure WithErrno(std::uint64_t result, int error) {
  return {result, CallFailure::Code::kErrno, error, false};
}
CallFailure Plain(std::uint64_t result) { return {result, CallFailure::Code::kNone, 0, false}; }
CallFailure Closed(std::uint64_t result, int error) {
  return {result, CallFailure::Code::kLastError, error, true};
}
CallFailure Result(HRESULT result) { return Plain(static_cast<std::uint32_t>(result)); }

constexpr std::uint64_t kMinusOne = static_cast<std::uint64_t>(-1);
constexpr int kEacces = 13;

// ReadFile: overlapped on a game's pipe.
bool OnGamePipe(const ImportFaults::Arguments& arguments) { return arguments[4] != 0; }
bool Otherwise(const ImportFaults::Arguments& arguments) { return arguments[4] == 0; }

const std::vector<Rule>& Rules() {
  using enum Kind;
  static const std::vector<Rule> rules = {
      // advapi32
      {"RegCloseKey", kFails, Closed(ERROR_INVALID_HANDLE, ERROR_INVALID_HANDLE)},
      // The status and the last error differ, as they do when another call came between.
      {"RegOpenKeyExW", kFails, WithLastError(ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE)},
      {"RegQueryValueExW", kFails, WithLastError(ERROR_ACCESS_DENIED, ERROR_INVALID_HANDLE)},
      // kernel32
      {"AcquireSRWLockExclusive", kCannotFail},
      {"AllocConsole", kFails, WithLastError(FALSE, ERROR_ACCESS_DENIED)},
      {"CloseHandle", kFails, Closed(FALSE, ERROR_INVALID_HANDLE)},
      {"ConnectNamedPipe", kFails, WithLastError(FALSE, ERROR_NO_DATA)},
      {"CreateEventW", kFails, WithLastError(0, ERROR_NO_SYSTEM_RESOURCES)},
      {"CreateFileA", kFails, WithLastError(kMinusOne, ERROR_PIPE_BUSY)},
      {"CreateNamedPipeW", kFails, WithLastError(kMinusOne, ERROR_NO_SYSTEM_RESOURCES)},
      {"CreateThread", kFails, WithLastError(0, ERROR_NO_SYSTEM_RESOURCES)},
      {"CreateToolhelp32Snapshot", kFails, WithLastError(kMinusOne, ERROR_ACCESS_DENIED)},
      {"DeleteCriticalSection", kCannotFail},
      {"DisconnectNamedPipe", kFails, WithLastError(FALSE, ERROR_INVALID_HANDLE)},
      {"EnterCriticalSection", kCannotFail},
      {"FindClose", kFails, Closed(FALSE, ERROR_INVALID_HANDLE)},
      {"FindFirstFileW", kFails, WithLastError(kMinusOne, ERROR_ACCESS_DENIED)},
      {"FindNextFileW", kFails, WithLastError(FALSE, ERROR_ACCESS_DENIED)},
      {"GetCurrentProcessId", kCannotFail},
      {"GetCurrentThreadId", kCannotFail},
      {"GetEnvironmentVariableW", kFails, WithLastError(0, ERROR_NOT_ENOUGH_MEMORY)},
      {"GetLastError", kCannotFail},
      {"GetNativeSystemInfo", kCannotFail},
      {"GetOverlappedResult", kFails, WithLastError(FALSE, ERROR_OPERATION_ABORTED)},
      {"GetStartupInfoW", kCannotFail},
      {"GetTickCount", kCannotFail},
      {"InitializeCriticalSection", kCannotFail},
      {"InitializeSRWLock", kWhileLoading},
      {"LeaveCriticalSection", kCannotFail},
      {"MultiByteToWideChar", kFails, WithLastError(0, ERROR_INVALID_PARAMETER)},
      {"OpenProcess", kFails, WithLastError(0, ERROR_ACCESS_DENIED)},
      {"Process32FirstW", kFails, WithLastError(FALSE, ERROR_NO_MORE_FILES)},
      {"Process32NextW", kFails, WithLastError(FALSE, ERROR_NO_MORE_FILES)},
      {"RaiseException", kCannotFail},
      {"ReadFile", kFails, WithLastError(FALSE, ERROR_BROKEN_PIPE), "game", OnGamePipe},
      {"ReadFile", kFails, WithLastError(FALSE, ERROR_BROKEN_PIPE), "helper", Otherwise},
      {"ReleaseSRWLockExclusive", kCannotFail},
      {"ResetEvent", kFails, WithLastError(FALSE, ERROR_INVALID_HANDLE)},
      {"RtlCaptureContext", kCannotFail},
      {"RtlLookupFunctionEntry", kCannotFail},
      {"RtlUnwindEx", kCannotFail},
      {"RtlVirtualUnwind", kCannotFail},
      {"SetEvent", kFails, WithLastError(FALSE, ERROR_INVALID_HANDLE)},
      {"SetLastError", kCannotFail},
      {"Sleep", kWhileLoading},
      {"TerminateProcess", kFails, WithLastError(FALSE, ERROR_ACCESS_DENIED)},
      {"TlsGetValue", kWhileLoading},
      {"VirtualProtect", kWhileLoading},
      {"VirtualQuery", kWhileLoading},
      // Of a thread's handle, without a limit.
      {"WaitForSingleObject", kCannotFail},
      {"WideCharToMultiByte", kFails, WithLastError(0, ERROR_INVALID_PARAMETER)},
      {"WriteFile", kFails, WithLastError(FALSE, ERROR_NO_DATA)},
      // msvcrt
      {"__iob_func", kCannotFail},
      {"_amsg_exit", kWhileLoading},
      {"_errno", kCannotFail},
      {"_initterm", kWhileLoading},
      {"_lock", kCannotFail},
      {"_snwscanf", kFails, WithErrno(kMinusOne, ENOMEM)},
      {"_unlock", kCannotFail},
      {"_vscprintf", kFails, WithErrno(kMinusOne, ENOMEM)},
      {"_vscwprintf", kFails, WithErrno(kMinusOne, ENOMEM)},
      {"_vsnprintf", kFails, WithErrno(kMinusOne, ENOMEM)},
      {"_vsnwprintf", kFails, WithErrno(kMinusOne, ENOMEM)},
      {"_wfopen", kFails, WithErrno(0, kEacces)},
      {"_wstat64", kFails, WithErrno(kMinusOne, kEacces)},
      {"abort", kWhileLoading},
      {"calloc", kMemory},
      {"fclose", kFails, {kMinusOne, CallFailure::Code::kErrno, EIO, true}},
      {"fread", kFails, WithErrno(0, EIO)},
      {"free", kCannotFail},
      {"freopen", kFails, WithErrno(0, ENOENT)},
      {"fseek", kFails, WithErrno(kMinusOne, EIO)},
      {"ftell", kFails, WithErrno(kMinusOne, EIO)},
      {"fwrite", kFails, WithErrno(0, EIO)},
      {"malloc", kMemory},
      {"memchr", kCannotFail},
      {"memcmp", kCannotFail},
      {"memcpy", kCannotFail},
      {"memmove", kCannotFail},
      {"memset", kCannotFail},
      {"realloc", kMemory},
      {"strcmp", kCannotFail},
      {"strlen", kCannotFail},
      {"strncmp", kCannotFail},
      {"vfprintf", kWhileLoading},
      {"wcslen", kCannotFail},
      // ole32, oleaut32
      {"CoCreateGuid", kFails, Result(E_FAIL)},
      {"CoCreateInstance", kFails, Result(REGDB_E_CLASSNOTREG)},
      {"CoInitialize", kFails, Result(RPC_E_CHANGED_MODE)},
      {"CoTaskMemFree", kCannotFail},
      {"CoUninitialize", kCannotFail},
      {"StringFromGUID2", kFails, Plain(0)},
      {"SysAllocStringLen", kFails, Plain(0)},
      {"SysFreeString", kCannotFail},
      {"VarBstrCmp", kFails, Result(E_OUTOFMEMORY)},
      {"VariantClear", kFails, {0x80070057 /* E_INVALIDARG */, CallFailure::Code::kNone, 0, true}},
      {"VariantInit", kCannotFail},
      // shell32, user32
      {"SHGetKnownFolderPath", kFails, Result(E_FAIL)},
      {"ShellExecuteExW", kFails, WithLastError(FALSE, ERROR_FILE_NOT_FOUND)},
      {"MessageBoxW", kFails, WithLastError(0, ERROR_NOT_ENOUGH_MEMORY)},
      {"PostMessageW", kFails, WithLastError(FALSE, ERROR_ACCESS_DENIED)},
      {"RegisterWindowMessageW", kFails, WithLastError(0, ERROR_NOT_ENOUGH_MEMORY)},
      // ws2_32
      {"WSAGetLastError", kCannotFail},
      {"WSAStartup", kFails, Plain(WSASYSNOTREADY)},
      {"bind", kFails, WithLastError(kMinusOne, WSAEADDRINUSE)},
      {"closesocket", kFails, Closed(kMinusOne, WSAENETDOWN)},
      {"connect", kFails, WithLastError(kMinusOne, WSAENETUNREACH)},
      {"htonl", kCannotFail},
      {"htons", kCannotFail},
      {"inet_addr", kCannotFail},
      {"recvfrom", kFails, WithLastError(kMinusOne, WSAECONNRESET)},
      {"select", kFails, WithLastError(kMinusOne, WSAENETDOWN)},
      {"sendto", kFails, WithLastError(kMinusOne, WSAENETUNREACH)},
      {"socket", kFails, WithLastError(kMinusOne, WSAEMFILE)},
  };
  return rules;
}

// What a section shows when nothing fails.
const Report& Undisturbed(const std::string& section) {
  static const std::map<std::string, Report> reports = {
      {"create", {"event posted from source: argument", "GetLauncherVersion: 162", "destroyed"}},
      {"probe",
       {"SetParameter: true", "GetVersion: 1.2.3", "expansions: Xpack0", "PunkBuster: 1",
        "GetExtraArguments: -x", "IsInstalled: true", "expansions by path: Xpack7", "store: 9.8"}},
      {"launch",
       {"started with YES ... play", "Launch: true", "event StateChanged from BRENNA-GAME: PENDING",
        "box Vantor Web Plugins: Could not execute binary", "refused Launch: false",
        "started with NO ... ", "store Launch: true"}},
      {"process", {"IsRunning: true", "ended with ffff8597", "Kill: true"}},
      {"settings", {"disabled: false", "enabled: true"}},
      {"pipe",
       {"event StateChanged from SOLANO-GAME: READY", "event X from SOLANO-GAME: a b",
        "SendCommand: true", "the game got the command",
        "event StateChanged from SOLANO-GAME: GAMEISGONE"}},
      {"ping",
       {"PingBatch: true",
        R"(event PingBatchResult from : batch [ { "ipAddress": "127.0.0.1", "roundTripMSEC": 23 }, )"
        R"({ "ipAddress": "127.0.0.2", "roundTripMSEC": 40 } ])"}},
      {"query",
       {"event QueryServerResult from request: 1 SUCCESS",
        "event QueryServerResult from request: 2 ERROR_MARSHALLING_EXCEPTION"}},
  };
  return reports.at(section);
}

// Lines of the undisturbed report that become others; those that become empty are missing.
using Changes = std::map<std::string, std::string>;

// What the host sees when calls `first` to `last` of an import, one of them at a time, fail. Calls
// that no effect names change nothing.
struct Effect {
  const char* section;
  // The name of a rule.
  const char* import;
  std::size_t first;
  std::size_t last;
  Changes changes;
  // A part of what is logged.
  const char* log = "";
};

// Changes of several lines at once.
const Changes kNotInstalled = {{"GetVersion: 1.2.3", "GetVersion: NOT_INSTALLED"},
                               {"expansions: Xpack0", "expansions: "},
                               {"PunkBuster: 1", "PunkBuster: "}};
const Changes kNotInstalledLater = {{"GetExtraArguments: -x", "GetExtraArguments: NOT_INSTALLED"}};
const Changes kNotInstalledByPath = {{"IsInstalled: true", "IsInstalled: false"},
                                     {"expansions by path: Xpack7", "expansions by path: "}};
const Changes kNoStore = {{"store: 9.8", "store: NOT_INSTALLED"}};
const Changes kNoVersion = {{"GetVersion: 1.2.3", "GetVersion: "}};
const Changes kNoExpansions = {{"expansions: Xpack0", "expansions: "}};
const Changes kNoExpansionsByPath = {{"expansions by path: Xpack7", "expansions by path: "}};

const Changes kNotLaunched = {{"started with YES ... play", ""},
                              {"Launch: true", "Launch: false"},
                              {"event StateChanged from BRENNA-GAME: PENDING", ""}};
const Changes kNotEvenRefused = {{"box Vantor Web Plugins: Could not execute binary", ""}};
const Changes kStoreNotLaunched = {{"started with NO ... ", ""},
                                   {"store Launch: true", "store Launch: false"}};

const Changes kNotRunning = {{"IsRunning: true", "IsRunning: false"}};
const Changes kNotKilled = {{"ended with ffff8597", ""}, {"Kill: true", "Kill: false"}};

const Changes kNoTimes = {
    {Undisturbed("ping")[1],
     R"(event PingBatchResult from : batch [ { "ipAddress": "127.0.0.1", "roundTripMSEC": 0 }, )"
     R"({ "ipAddress": "127.0.0.2", "roundTripMSEC": 0 } ])"}};

Changes FirstQuery(const std::string& status) {
  return {{"event QueryServerResult from request: 1 SUCCESS",
           "event QueryServerResult from request: 1" + status}};
}
Changes SecondQuery(const std::string& status) {
  return {{"event QueryServerResult from request: 2 ERROR_MARSHALLING_EXCEPTION",
           "event QueryServerResult from request: 2" + status}};
}

const std::vector<Effect>& Effects() {
  static const char* const kNoOpen =
      "AshgroveApp::_SetupGame: Probe failed, unable to open SOFTWARE\\Hollin Games\\Ashgrove 4 "
      "(5)\n";
  static const char* const kNoQuery =
      "AshgroveApp::_SetupGame: Probe failed, unable to query Install Dir (5)\n";
  static const char* const kNoStat = " with error 13)\n";
  static const char* const kNoStoreOpen =
      "OstrelApp::SetupGame: Failed to open registry key SOFTWARE\\Ostrel (6)\n";
  static const char* const kNoStoreQuery =
      "OstrelApp::SetupGame: Failed to query registry value ClientVersion (6)\n";
  static const char* const kCutScan =
      "BaseApp::ReadDirectoryNames: Error: 5 reading directories from path: ";
  static const char* const kNoHelper = "BaseApp::DoLaunch: wstat of file \\helperx64.exe failed\n";
  static const char* const kHelperMissing = "BaseApp::DoLaunch: wstat of file ";
  static const char* const kAborting =
      "AshgroveApp::Launch: Game is not properly probed, aborting\n";
  static const char* const kNotParsed =
      "OstrelApp::IsOstrelLocalHostEnabled: Failed to parse Ostrel xml from path ";
  static const char* const kNoFolder =
      "OstrelApp::IsOstrelLocalHostEnabled: Failed to get the known folder for Ostrel lookup "
      "(FOLDERID_RoamingAppData)\n";
  // clang-format off
  static const std::vector<Effect> effects = {
      {"create", "WSAStartup", 0, 0, {},
       "AppLauncher::AppLauncher: Failed to initialize winsock\n"},

      // The look-up for GetVersion: the game's key, then the key of its one update. That for
      // GetExtraArguments. The store's.
      {"probe", "RegOpenKeyExW", 0, 0, kNotInstalled, kNoOpen},
      {"probe", "RegOpenKeyExW", 1, 1, kNoExpansions},
      {"probe", "RegOpenKeyExW", 2, 2, kNotInstalledLater, kNoOpen},
      {"probe", "RegOpenKeyExW", 4, 4, kNoStore, kNoStoreOpen},
      {"probe", "RegQueryValueExW", 0, 0, kNotInstalled, kNoQuery},
      {"probe", "RegQueryValueExW", 1, 1, kNotInstalledLater, kNoQuery},
      {"probe", "RegQueryValueExW", 2, 2, kNoStore, kNoStoreQuery},
      // The executable, then the PunkBuster client.
      {"probe", "_wstat64", 0, 0, kNotInstalled, kNoStat},
      {"probe", "_wstat64", 1, 1, {{"PunkBuster: 1", "PunkBuster: 0"}}},
      {"probe", "_wstat64", 2, 2, kNotInstalledLater, kNoStat},
      {"probe", "_wstat64", 4, 4, kNotInstalledByPath, kNoStat},
      {"probe", "_wfopen", 0, 0, kNoVersion},
      {"probe", "fseek", 0, 1, kNoVersion},
      {"probe", "ftell", 0, 0, kNoVersion},
      {"probe", "fread", 0, 0, kNoVersion},
      {"probe", "MultiByteToWideChar", 0, 0, kNoVersion},
      {"probe", "FindFirstFileW", 0, 0, kNoExpansions},
      {"probe", "FindFirstFileW", 2, 2, kNoExpansionsByPath},
      // The entries "..", the update, and the end, which is met by a failure, too.
      {"probe", "FindNextFileW", 0, 1, kNoExpansions, kCutScan},
      {"probe", "FindNextFileW", 2, 5, {}, kCutScan},
      {"probe", "FindNextFileW", 6, 7, kNoExpansionsByPath, kCutScan},
      {"probe", "FindNextFileW", 8, 8, {}, kCutScan},

      // The installation directory for each of the first two starts; the store's key and the
      // directory for the third.
      {"launch", "RegOpenKeyExW", 0, 0, kNotLaunched, kNoHelper},
      {"launch", "RegOpenKeyExW", 1, 1, kNotEvenRefused, kNoHelper},
      {"launch", "RegOpenKeyExW", 2, 2, kStoreNotLaunched, kNoStoreOpen},
      {"launch", "RegOpenKeyExW", 3, 3, kStoreNotLaunched, kNoHelper},
      {"launch", "RegQueryValueExW", 0, 0, kNotLaunched, kNoHelper},
      {"launch", "RegQueryValueExW", 1, 1, kNotEvenRefused, kNoHelper},
      {"launch", "RegQueryValueExW", 2, 2, kStoreNotLaunched, kNoStoreQuery},
      {"launch", "RegQueryValueExW", 3, 3, kStoreNotLaunched, kNoHelper},
      // The executable, the PunkBuster client, the helper.
      {"launch", "_wstat64", 0, 0, kNotLaunched, kAborting},
      {"launch", "_wstat64", 2, 2, kNotLaunched, kHelperMissing},
      {"launch", "_wstat64", 3, 3, kNotEvenRefused, kAborting},
      {"launch", "_wstat64", 5, 5, kNotEvenRefused, kHelperMissing},
      {"launch", "_wstat64", 6, 6, kStoreNotLaunched, kHelperMissing},
      {"launch", "ShellExecuteExW", 0, 0,
       {{"started with YES ... play", "box Vantor Web Plugins: Could not execute binary"},
       {"Launch: true", "Launch: false"}, {"event StateChanged from BRENNA-GAME: PENDING", ""}},
       ">>> ShellExecuteEx failed with 00000000!\n"},
      {"launch", "ShellExecuteExW", 1, 1, {}, ">>> ShellExecuteEx failed with 00000000!\n"},
      {"launch", "ShellExecuteExW", 2, 2,
       {{"started with NO ... ", "box Vantor Web Plugins: Could not execute binary"},
       {"store Launch: true", "store Launch: false"}},
       ">>> ShellExecuteEx failed with 00000000!\n"},
      {"launch", "MessageBoxW", 0, 0, kNotEvenRefused},

      {"process", "_wstat64", 0, 0, kNotRunning, kNoStat},
      {"process", "_wstat64", 2, 2, kNotKilled, kNoStat},
      {"process", "CreateToolhelp32Snapshot", 0, 0, kNotRunning,
       "BaseApp::IsProcessesRunning: Unable to create toolhelp snapshot\n"},
      {"process", "CreateToolhelp32Snapshot", 1, 1, kNotKilled,
       "BaseApp::IsProcessesRunning: Unable to create toolhelp snapshot\n"},
      {"process", "Process32FirstW", 0, 0, kNotRunning,
       "BaseApp::IsProcessesRunning: Process32First failed\n"},
      {"process", "Process32FirstW", 1, 1, kNotKilled,
       "BaseApp::IsProcessesRunning: Process32First failed\n"},
      {"process", "Process32NextW", 0, 0, kNotRunning,
       "BaseApp::IsProcessesRunning: Process32Next failed\n"
       "BaseApp::IsProcessesRunning: Found no match, game is not running\n"},
      {"process", "Process32NextW", 1, 1, kNotKilled,
       "BaseApp::IsProcessesRunning: Process32Next failed\n"
       "BaseApp::IsProcessesRunning: Found no match, game is not running\n"},
      {"process", "OpenProcess", 0, 0, kNotKilled},
      // Ending the process is tried, no more.
      {"process", "TerminateProcess", 0, 0, {{"ended with ffff8597", ""}}},

      {"settings", "SHGetKnownFolderPath", 0, 0, {}, kNoFolder},
      {"settings", "SHGetKnownFolderPath", 1, 1, {{"enabled: true", "enabled: false"}}, kNoFolder},
      {"settings", "CoCreateInstance", 0, 0, {}, kNotParsed},
      {"settings", "CoCreateInstance", 1, 1, {{"enabled: true", "enabled: false"}}, kNotParsed},
      // The path; for two nodes and for one node the names and values that are compared.
      {"settings", "SysAllocStringLen", 0, 6, {{"disabled: false", "disabled: <null>"}}},
      {"settings", "SysAllocStringLen", 7, 11, {{"enabled: true", "enabled: <null>"}}},
      // Not recognised as the setting, or not as "false".
      {"settings", "VarBstrCmp", 1, 2, {{"disabled: false", "disabled: true"}}},

      {"pipe", "ReadFile (game)", 0, 0, {{"event X from SOLANO-GAME: a b", ""},
       {"SendCommand: true", ""}, {"the game got the command", ""}},
       "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000006d\n"},
      {"pipe", "ReadFile (game)", 1, 1,
       {{"SendCommand: true", ""}, {"the game got the command", ""}},
       "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 0000006d\n"},
      {"pipe", "WriteFile", 0, 0, {{"the game got the command", "the game got nothing"}}},
      // The command's name, the two words.
      {"pipe", "MultiByteToWideChar", 0, 0,
       {{"event X from SOLANO-GAME: a b", "event  from SOLANO-GAME: a b"}}},
      {"pipe", "MultiByteToWideChar", 1, 1,
       {{"event X from SOLANO-GAME: a b", "event X from SOLANO-GAME: b"}}},
      {"pipe", "MultiByteToWideChar", 2, 2,
       {{"event X from SOLANO-GAME: a b", "event X from SOLANO-GAME: a"}}},

      {"ping", "CreateThread", 0, 0, {{Undisturbed("ping")[1], ""}}},
      {"ping", "StringFromGUID2", 0, 0, kNoTimes},
      {"ping", "CreateNamedPipeW", 0, 0, kNoTimes},
      {"ping", "GetEnvironmentVariableW", 0, 0, kNoTimes,
       "AppLauncher::PingThreadProc: wstat of file \\helperx64.exe failed\n"},
      {"ping", "_wstat64", 0, 0, kNoTimes, "AppLauncher::PingThreadProc: wstat of file "},
      {"ping", "ShellExecuteExW", 0, 0, kNoTimes},
      {"ping", "ConnectNamedPipe", 0, 0, kNoTimes},
      {"ping", "ReadFile (helper)", 0, 0, kNoTimes},

      {"query", "CreateThread", 0, 0, {{Undisturbed("query")[0], ""}}},
      {"query", "CreateThread", 1, 1, {{Undisturbed("query")[1], ""}}},
      {"query", "socket", 0, 0, FirstQuery(""),
       "AppLauncher::QueryThreadProc: bind() failed with "},
      {"query", "socket", 1, 1, SecondQuery(""),
       "AppLauncher::QueryThreadProc: bind() failed with "},
      {"query", "bind", 0, 0, FirstQuery(""),
       "AppLauncher::QueryThreadProc: bind() failed with 00002740\n"},
      {"query", "bind", 1, 1, SecondQuery(""),
       "AppLauncher::QueryThreadProc: bind() failed with 00002740\n"},
      // Without its address there is no server to connect to.
      {"query", "WideCharToMultiByte", 0, 0, FirstQuery(" ERROR_CONNECT_FAILED"),
       "AppLauncher::QueryThreadProc: connect() failed with "},
      {"query", "WideCharToMultiByte", 1, 1, SecondQuery(" ERROR_CONNECT_FAILED"),
       "AppLauncher::QueryThreadProc: connect() failed with "},
      {"query", "connect", 0, 0, FirstQuery(" ERROR_CONNECT_FAILED"),
       "AppLauncher::QueryThreadProc: connect() failed with 00002743\n"},
      {"query", "connect", 1, 1, SecondQuery(" ERROR_CONNECT_FAILED"),
       "AppLauncher::QueryThreadProc: connect() failed with 00002743\n"},
      {"query", "_snwscanf", 0, 0, FirstQuery(" ERROR_CONNECT_INVALID_ARGUMENT"),
       "AppLauncher::QueryThreadProc: Unable to convert '1' to unsigned long long (64-bit)\n"},
      {"query", "_snwscanf", 1, 1, SecondQuery(" ERROR_CONNECT_INVALID_ARGUMENT"),
       "AppLauncher::QueryThreadProc: Unable to convert '2' to unsigned long long (64-bit)\n"},
      // Challenge and query; the second exchange ends with its challenge.
      {"query", "sendto", 0, 0, FirstQuery(" ERROR_SENDTO_FAILED"),
       "AppLauncher::QueryThreadProc: sendto (of challenge) failed with result -1 00002743\n"},
      {"query", "sendto", 1, 1, FirstQuery(" ERROR_SENDTO_FAILED"),
       "AppLauncher::QueryThreadProc: sendto (of query request) failed with result -1 00002743\n"},
      {"query", "sendto", 2, 2, SecondQuery(" ERROR_SENDTO_FAILED"),
       "AppLauncher::QueryThreadProc: sendto (of challenge) failed with result -1 00002743\n"},
      {"query", "select", 0, 0, FirstQuery(" ERROR_SELECT_FAILED_OR_TIMEDOUT"),
       "AppLauncher::QueryThreadProc: select (of challenge response) failed with result -1 "
       "00002742\n"},
      {"query", "select", 1, 1, FirstQuery(" ERROR_SELECT_FAILED_OR_TIMEDOUT"),
       "AppLauncher::QueryThreadProc: select (of query response) failed with result -1 00002742\n"},
      {"query", "select", 2, 2, SecondQuery(" ERROR_SELECT_FAILED_OR_TIMEDOUT"),
       "AppLauncher::QueryThreadProc: select (of challenge response) failed with result -1 "
       "00002742\n"},
      {"query", "recvfrom", 0, 0, FirstQuery(" ERROR_RECVFROM_FAILED"),
       "AppLauncher::QueryThreadProc: recvfrom (of challenge response) failed with result -1 "
       "00002746\n"},
      {"query", "recvfrom", 1, 1, FirstQuery(" ERROR_RECVFROM_FAILED"),
       "AppLauncher::QueryThreadProc: recvfrom (of query response) failed with result -1 "
       "00002746\n"},
      {"query", "recvfrom", 2, 2, SecondQuery(" ERROR_RECVFROM_FAILED"),
       "AppLauncher::QueryThreadProc: recvfrom (of challenge response) failed with result -1 "
       "00002746\n"},
  };
  // clang-format on
  return effects;
}

// The polls of a pipe come at no fixed number of calls, so a failure may fall before or after what
// the game did: these reports are right as well, any but the undisturbed one with the line in the
// log.
struct LateEffect {
  const char* import;
  std::vector<Report> reports;
  const char* log = "";
};
const std::vector<LateEffect>& LatePipeEffects() {
  const Report& all = Undisturbed("pipe");
  static const std::vector<LateEffect> effects = {
      // The connection is lost at whatever point; or it was about to be lost by the game's end.
      {"GetOverlappedResult",
       {{all[0], all[4]}, {all[0], all[1], all[2], all[4]}, all},
       "PellmarAppBase::PollPellmar: Update of AppLauncher failed with error 000003e3\n"},
      // A name or an argument that cannot be converted reads as empty.
      {"WideCharToMultiByte",
       {all, {all[0], all[1], all[2], "the game got something else", all[4]}}},
  };
  return effects;
}

std::vector<std::string> RedirectedFunctions(HMODULE module) {
  std::set<std::string> imported;
  for (const Import& import : ListImports(module)) imported.insert(import.function);
  std::set<std::string> functions;
  for (const Rule& rule : Rules()) {
    const bool isRedirected = rule.kind == Kind::kFails || rule.kind == Kind::kWhileLoading;
    if (isRedirected && imported.contains(rule.function)) functions.insert(rule.function);
  }
  return {functions.begin(), functions.end()};
}

std::vector<std::string> RedirectedFunctions() {
  return RedirectedFunctions(LauncherDll().Module());
}

Report Changed(const Report& report, const Changes& changes) {
  Report changed;
  for (const std::string& line : report) {
    const auto change = changes.find(line);
    if (change == changes.end()) {
      changed.push_back(line);
    } else if (!change->second.empty()) {
      changed.push_back(change->second);
    }
  }
  return changed;
}

const Effect* FindEffect(const std::string& section, const std::string& import,
                         std::size_t number) {
  for (const Effect& effect : Effects()) {
    if (section == effect.section && import == effect.import && number >= effect.first &&
        number <= effect.last) {
      return &effect;
    }
  }
  return nullptr;
}

const LateEffect* FindLateEffect(const std::string& section, const std::string& import) {
  if (section != "pipe") return nullptr;
  for (const LateEffect& effect : LatePipeEffects()) {
    if (import == effect.import) return &effect;
  }
  return nullptr;
}

// A share of the rules in one section: a test that takes long is several.
struct Part {
  std::string section;
  std::size_t number = 0;
  std::size_t count = 1;
};

void PrintTo(const Part& part, std::ostream* out) {
  *out << part.section << ", part " << part.number << " of " << part.count;
}

std::vector<Part> Parts() {
  std::vector<Part> parts;
  for (const std::string& section : kSectionNames) {
    const std::size_t count = section == "pipe" ? 4 : 1;
    for (std::size_t number = 0; number < count; ++number)
      parts.push_back({section, number, count});
  }
  return parts;
}

class FaultImports : public testing::TestWithParam<Part> {
 protected:
  FaultImports() : runner(GetParam().section, RedirectedFunctions()) {}

  void CheckBalance(const std::string& where) {
    for (const ResourceLedger::Item& item : runner.Leftovers()) {
      EXPECT_TRUE(IsKeptOnPurpose(item)) << where << " leaves one of " << item.from;
      if (IsKeptOnPurpose(item)) CloseLeftover(item);
    }
    std::size_t meant = kBlocksPerLauncher * runner.LauncherCount();
    if (runner.LeftoverBlocks() > meant) {
      // A pipe that was closed with an operation outstanding: its memory goes when the next pipe is
      // closed.
      EXPECT_EQ(GetParam().section, "pipe") << where;
      const std::size_t before = runner.LeftoverBlocks();
      runner.Run();
      EXPECT_EQ(before + runner.LeftoverBlocks(), 2 * meant) << where;
      for (const ResourceLedger::Item& item : runner.Leftovers()) CloseLeftover(item);
    } else {
      EXPECT_EQ(runner.LeftoverBlocks(), meant) << where;
    }
  }

  SectionRunner runner;
};

TEST_P(FaultImports, EveryCallMayFail) {
  const auto& [section, part, partCount] = GetParam();
  // Twice: what the system and the test set up once is there then.
  EXPECT_EQ(runner.Run(), Undisturbed(section));
  CheckBalance("the first run");
  EXPECT_EQ(runner.Run(), Undisturbed(section));
  CheckBalance("the second run");
  const std::size_t handlesBefore = CountHandles();

  for (std::size_t index = part; index < Rules().size(); index += partCount) {
    const Rule& rule = Rules()[index];
    // A run in which no call was left to fail is the last.
    bool anyFailed = rule.kind == Kind::kFails;
    std::size_t callCount = 0;
    for (std::size_t number = 0; anyFailed; ++number) {
      std::size_t failed = 0;
      const Report report = runner.Run(
          [&] {
            runner.Faults().Fail(rule.function, number, number, rule.failure, rule.condition);
          },
          [&] {
            failed = runner.Faults().FailedCount();
            runner.Faults().Reset();
          });
      const std::string where = section + ": " + rule.Name() + ", call " + std::to_string(number);
      anyFailed = failed > 0;
      if (anyFailed) callCount = number + 1;
      const Effect* const effect = anyFailed ? FindEffect(section, rule.Name(), number) : nullptr;
      if (const LateEffect* const late = FindLateEffect(section, rule.Name())) {
        EXPECT_THAT(late->reports, testing::Contains(report)) << where;
        const bool isUndisturbed = report == Undisturbed(section);
        EXPECT_THAT(runner.Log(), HasSubstr(isUndisturbed ? "" : late->log)) << where;
      } else {
        EXPECT_EQ(report,
                  Changed(Undisturbed(section), effect == nullptr ? Changes() : effect->changes))
            << where;
      }
      EXPECT_THAT(runner.Log(), HasSubstr(effect == nullptr ? "" : effect->log)) << where;
      EXPECT_EQ(runner.Complaint(), "") << where;
      CheckBalance(where);
    }
    for (const Effect& effect : Effects()) {
      if (section == effect.section && rule.Name() == effect.import) {
        EXPECT_LT(effect.last, callCount)
            << "no such call: " << rule.Name() << ", call " << effect.last;
      }
    }
  }
  // Hundreds of runs later. Some locks of the system make a handle when two threads first meet
  // there.
  EXPECT_LE(CountHandles(), handlesBefore + 4);
}

INSTANTIATE_TEST_SUITE_P(Sections, FaultImports, testing::ValuesIn(Parts()), [](const auto& part) {
  return part.param.section + std::to_string(part.param.number);
});

TEST(FaultImportsTable, HoldsEveryImportOfTheDll) {
  std::set<std::string> known;
  for (const Rule& rule : Rules()) known.insert(rule.function);
  std::vector<std::string> unknown;
  for (const Import& import : PeFile(LauncherDllPath()).Imports()) {
    if (!known.contains(import.function)) unknown.push_back(import.function);
  }
  EXPECT_THAT(unknown, IsEmpty()) << "say in the table how they fail";
}

TEST(FaultImportsTable, NamesForEveryEffectACallThatIsMade) {
  for (const Effect& effect : Effects()) {
    EXPECT_TRUE(std::any_of(Rules().begin(), Rules().end(), [&](const Rule& rule) {
      return rule.kind == Kind::kFails && rule.Name() == effect.import;
    })) << effect.import;
  }
}

TEST(FaultImportsTable, ListsAsFailingWhatIsCalledAndAsLoadingWhatIsNot) {
  const std::vector<std::string> functions = RedirectedFunctions();
  std::map<std::string, std::size_t> calls;
  for (const std::string& section : kSectionNames) {
    SectionRunner runner(section, functions);
    runner.Run([] {},
               [&] {
                 for (const std::string& function : functions) {
                   calls[function] += runner.Faults().Count(function);
                 }
               });
    for (const ResourceLedger::Item& item : runner.Leftovers()) CloseLeftover(item);
  }
  for (const Rule& rule : Rules()) {
    if (!calls.contains(rule.function)) continue;
    EXPECT_EQ(calls[rule.function] > 0, rule.kind == Kind::kFails) << rule.function;
  }
}

}  // namespace
}  // namespace test_support
