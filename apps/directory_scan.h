// Reads of the file system: names of subdirectories, texts of small files.
#ifndef LAUNCHER_APPS_DIRECTORY_SCAN_H_
#define LAUNCHER_APPS_DIRECTORY_SCAN_H_

#include <string>
#include <vector>

namespace launcher {

/// The names of the directory's subdirectories, in the order of the file system, those that begin
/// with a dot left out. Empty when the directory cannot be read; cut short when reading fails later.
std::vector<std::wstring> ReadDirectoryNames(const std::wstring& path);

/// The file's bytes as text (UTF-8), up to the first zero byte; empty when anything fails.
std::wstring ReadFileText(const std::wstring& path);

}  // namespace launcher

#endif  // LAUNCHER_APPS_DIRECTORY_SCAN_H_
