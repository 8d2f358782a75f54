// The text of a small file.
#ifndef LAUNCHER_APPS_FILE_TEXT_H_
#define LAUNCHER_APPS_FILE_TEXT_H_

#include <string>

namespace launcher {

/// The file's bytes as text (UTF-8), up to the first zero byte; empty when anything fails.
std::wstring ReadFileText(const std::wstring& path);

}  // namespace launcher

#endif  // LAUNCHER_APPS_FILE_TEXT_H_
