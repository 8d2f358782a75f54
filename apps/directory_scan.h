// The names of subdirectories.
#ifndef LAUNCHER_APPS_DIRECTORY_SCAN_H_
#define LAUNCHER_APPS_DIRECTORY_SCAN_H_

#include <string>
#include <vector>

namespace launcher {

/// The names of the directory's subdirectories, in the order of the file system, those that begin
/// with a dot left out. Empty when the directory cannot be read; cut short when reading fails later.
std::vector<std::wstring> ReadDirectoryNames(const std::wstring& path);

}  // namespace launcher

#endif  // LAUNCHER_APPS_DIRECTORY_SCAN_H_
