#include "apps/directory_scan.h"

#include "core/handles.h"
#include "core/log.h"

namespace launcher {
namespace {

bool IsWantedDirectory(const WIN32_FIND_DATAW& entry) {
  return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && entry.cFileName[0] != L'.';
}

}  // namespace

std::vector<std::wstring> ReadDirectoryNames(const std::wstring& path) {
  const std::wstring pattern = (path + L"\\*").substr(0, MAX_PATH);
  std::vector<std::wstring> names;
  WIN32_FIND_DATAW entry;
  const UniqueFind find(FindFirstFileW(pattern.c_str(), &entry));
  if (!find) return names;
  do {
    if (IsWantedDirectory(entry)) names.emplace_back(entry.cFileName);
  } while (FindNextFileW(find.get(), &entry) != FALSE);
  const DWORD error = GetLastError();
  if (error != ERROR_NO_MORE_FILES) {
    LogLine(L"%s: Error: %d reading directories from path: %s\n", L"BaseApp::ReadDirectoryNames",
            static_cast<int>(error), path.c_str());
  }
  return names;
}

}  // namespace launcher
