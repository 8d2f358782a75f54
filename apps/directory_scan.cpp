#include "apps/directory_scan.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "core/handles.h"
#include "core/log.h"
#include "core/text.h"

namespace launcher {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};

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

std::wstring ReadFileText(const std::wstring& path) {
  const std::unique_ptr<std::FILE, FileCloser> file(_wfopen(path.c_str(), L"rb"));
  if (file == nullptr || std::fseek(file.get(), 0, SEEK_END) != 0) return {};
  const long position = std::ftell(file.get());
  if (position < 0 || std::fseek(file.get(), 0, SEEK_SET) != 0) return {};
  const auto length = static_cast<std::size_t>(position);
  try {
    std::string bytes(length, '\0');
    if (std::fread(bytes.data(), 1, length, file.get()) != length) return {};
    // Bytes behind a zero would change how invalid ones in front of it are read.
    bytes.resize(std::strlen(bytes.c_str()));
    return Utf8ToWide(bytes);
  } catch (const std::bad_alloc&) {
    return {};
  }
}

}  // namespace launcher
