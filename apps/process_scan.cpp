#include "apps/process_scan.h"

#include "core/handles.h"
// After the Windows headers that it relies on.
#include <tlhelp32.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "core/log.h"

namespace launcher {
namespace {

constexpr char kLabel[] = "BaseApp::IsProcessesRunning";
constexpr wchar_t kWideLabel[] = L"BaseApp::IsProcessesRunning";

wchar_t FoldAscii(wchar_t character) {
  return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a')
                                                : character;
}

bool EqualWithoutCase(std::wstring_view left, std::wstring_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](wchar_t a, wchar_t b) { return FoldAscii(a) == FoldAscii(b); });
}

// The name that is compared. Process entries carry bare file names; of one that holds a path the
// directory is compared, which no game's name equals.
std::wstring ComparedName(const PROCESSENTRY32W& entry) {
  const std::wstring name = entry.szExeFile;
  return name.substr(0, name.rfind(L'\\'));
}

bool MatchesAny(const std::wstring& name, const wchar_t* const* wantedNames) {
  for (const wchar_t* const* wanted = wantedNames; *wanted != nullptr; ++wanted) {
    LogLine(L"%s: Comparing %s with %s\n", kWideLabel, name.c_str(), *wanted);
    if (EqualWithoutCase(name, *wanted)) return true;
  }
  return false;
}

}  // namespace

std::uint32_t IsProcessesRunning(const wchar_t* const* names) {
  UniqueFile snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  if (!snapshot) {
    LogLine("%s: Unable to create toolhelp snapshot\n", kLabel);
    return 0;
  }
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof(entry);
  if (!Process32FirstW(snapshot.get(), &entry)) {
    LogLine("%s: Process32First failed\n", kLabel);
    return 0;
  }
  do {
    if (MatchesAny(ComparedName(entry), names)) {
      LogLine(L"%s: Found match, game is running\n", kWideLabel);
      return entry.th32ProcessID;
    }
  } while (Process32NextW(snapshot.get(), &entry) != FALSE);
  // The end of the list is met this way too.
  LogLine("%s: Process32Next failed\n", kLabel);
  snapshot.reset();
  LogLine(L"%s: Found no match, game is not running\n", kWideLabel);
  return 0;
}

}  // namespace launcher
