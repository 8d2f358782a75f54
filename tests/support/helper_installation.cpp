#include "tests/support/helper_installation.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/dll_host.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

constexpr DWORD kPollIntervalMs = 10;

std::wstring OrEmpty(const wchar_t* text) { return text == nullptr ? L"" : text; }

}  // namespace

HelperInstallation::HelperInstallation(Helper helper)
    : installDirectory(L"KOVLAUNCH_INSTDIR", directory.Path()),
      recordFile(L"KIT_HELPER_RECORD", directory.Join(L"parameters.txt")) {
  if (helper == Helper::kKitProgram) {
    directory.CopyFile(ProgramDirectory() + L"\\helperx64.exe", L"helperx64.exe");
  } else if (helper == Helper::kEmptyFile) {
    directory.WriteFile(L"helperx64.exe", "");
  }
}

std::vector<std::wstring> HelperInstallation::WaitForParameterLines(std::size_t count,
                                                                    DWORD timeoutMs) const {
  const ULONGLONG deadline = GetTickCount64() + timeoutMs;
  for (;;) {
    std::ifstream file(std::filesystem::path(directory.Join(L"parameters.txt")), std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    std::vector<std::wstring> lines;
    for (std::string line : Lines(text)) {
      if (line.ends_with('\r')) line.pop_back();
      lines.push_back(Widen(line));
    }
    if ((lines.size() >= count && text.ends_with('\n')) || GetTickCount64() >= deadline) {
      return lines;
    }
    Sleep(kPollIntervalMs);
  }
}

ShellRecorder::ShellRecorder(HMODULE module)
    : hook(module, [this](SHELLEXECUTEINFOW* info) { return Record(info); }) {}

void ShellRecorder::Fail(UINT_PTR instanceHandle) {
  const std::lock_guard guard(mutex);
  succeeds = false;
  failure = instanceHandle;
}

std::vector<ShellCall> ShellRecorder::Calls() const {
  const std::lock_guard guard(mutex);
  return calls;
}

BOOL ShellRecorder::Record(SHELLEXECUTEINFOW* info) {
  const std::lock_guard guard(mutex);
  calls.push_back({info->cbSize, info->fMask, info->hwnd, OrEmpty(info->lpVerb),
                   OrEmpty(info->lpFile), OrEmpty(info->lpParameters), info->nShow,
                   info->lpDirectory == nullptr && info->hInstApp == nullptr &&
                       info->lpIDList == nullptr && info->lpClass == nullptr &&
                       info->hkeyClass == nullptr && info->dwHotKey == 0 &&
                       info->hIcon == nullptr && info->hProcess == nullptr});
  if (succeeds) return TRUE;
  info->hInstApp = reinterpret_cast<HINSTANCE>(failure);
  return FALSE;
}

}  // namespace test_support
