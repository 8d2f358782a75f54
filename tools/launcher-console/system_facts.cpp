#include "tools/launcher-console/system_facts.h"

// The order matters.
// clang-format off
#include <windows.h>
#include <tlhelp32.h>
// clang-format on

#include <filesystem>
#include <fstream>

#include "hosts/common/text.h"

namespace console {
namespace {

REGSAM Access(RegistryView view) {
  return KEY_READ | (view == RegistryView::k32Bit ? KEY_WOW64_32KEY : KEY_WOW64_64KEY);
}

std::string FileName(const std::wstring& path) {
  return host::ToUtf8(path.substr(path.find_last_of(L'\\') + 1));
}

std::string ProcessName(DWORD processId) {
  const HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId);
  if (process == nullptr) return "";
  std::wstring path(MAX_PATH, L'\0');
  auto size = static_cast<DWORD>(path.size());
  if (!QueryFullProcessImageNameW(process, 0, path.data(), &size)) size = 0;
  CloseHandle(process);
  path.resize(size);
  return FileName(path);
}

bool IsOneOf(const wchar_t* name, const std::vector<std::string>& names) {
  for (const std::string& wanted : names) {
    if (CompareStringOrdinal(name, -1, host::ToWide(wanted).c_str(), -1, TRUE) == CSTR_EQUAL) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool RegistryKeyExists(const std::string& key, RegistryView view) {
  HKEY opened = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, host::ToWide(key).c_str(), 0, Access(view), &opened) !=
      ERROR_SUCCESS) {
    return false;
  }
  RegCloseKey(opened);
  return true;
}

std::optional<RegistryValue> ReadRegistry(const std::string& key, const std::string& valueName,
                                          RegistryView view) {
  HKEY opened = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, host::ToWide(key).c_str(), 0, Access(view), &opened) !=
      ERROR_SUCCESS) {
    return std::nullopt;
  }
  // Zeros at the end, because the data may lack one.
  wchar_t text[2048] = L"";
  DWORD size = sizeof(text) - 2 * sizeof(wchar_t);
  DWORD type = REG_NONE;
  const LSTATUS status = RegQueryValueExW(opened, host::ToWide(valueName).c_str(), nullptr, &type,
                                          reinterpret_cast<BYTE*>(text), &size);
  RegCloseKey(opened);
  if (status != ERROR_SUCCESS) return std::nullopt;
  const bool isExpandable = type == REG_EXPAND_SZ;
  return RegistryValue{isExpandable || type == REG_SZ, isExpandable, host::ToUtf8(text)};
}

ImageKind LookAtImage(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  if (!file) return ImageKind::kMissing;
  IMAGE_DOS_HEADER dos{};
  file.read(reinterpret_cast<char*>(&dos), sizeof(dos));
  if (!file || dos.e_magic != IMAGE_DOS_SIGNATURE) return ImageKind::kNoImage;
  DWORD signature = 0;
  IMAGE_FILE_HEADER header{};
  file.seekg(dos.e_lfanew);
  file.read(reinterpret_cast<char*>(&signature), sizeof(signature));
  file.read(reinterpret_cast<char*>(&header), sizeof(header));
  if (!file || signature != IMAGE_NT_SIGNATURE) return ImageKind::kNoImage;
  return header.Machine == IMAGE_FILE_MACHINE_I386 ? ImageKind::k32Bit : ImageKind::k64Bit;
}

bool FileExists(const std::string& path) {
  return GetFileAttributesW(host::ToWide(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool Is64BitSystem() {
  SYSTEM_INFO info{};
  GetNativeSystemInfo(&info);
  return info.wProcessorArchitecture != PROCESSOR_ARCHITECTURE_INTEL &&
         info.wProcessorArchitecture != PROCESSOR_ARCHITECTURE_IA32_ON_WIN64;
}

std::vector<Process> FindProcesses(const std::vector<std::string>& names) {
  std::vector<Process> found;
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  if (snapshot == INVALID_HANDLE_VALUE) return found;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Process32FirstW(snapshot, &entry); more;
       more = Process32NextW(snapshot, &entry)) {
    if (IsOneOf(entry.szExeFile, names)) {
      found.push_back({entry.th32ProcessID, host::ToUtf8(entry.szExeFile)});
    }
  }
  CloseHandle(snapshot);
  return found;
}

PipeState LookAtPipe(const std::string& pipeName) {
  constexpr DWORD kShortestWait = 1;  // milliseconds; 0 would mean the pipe's own time limit
  if (WaitNamedPipeW(host::ToWide(pipeName).c_str(), kShortestWait)) return PipeState::kFree;
  return GetLastError() == ERROR_FILE_NOT_FOUND ? PipeState::kMissing : PipeState::kBusy;
}

std::optional<Process> OwnerOfPipe(const std::string& pipeName) {
  const HANDLE pipe = CreateFileW(host::ToWide(pipeName).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                  nullptr, OPEN_EXISTING, 0, nullptr);
  if (pipe == INVALID_HANDLE_VALUE) return std::nullopt;
  ULONG processId = 0;
  const BOOL known = GetNamedPipeServerProcessId(pipe, &processId);
  CloseHandle(pipe);
  if (!known) return std::nullopt;
  return Process{processId, ProcessName(processId)};
}

}  // namespace console
