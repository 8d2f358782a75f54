// Whether a file is there.
#ifndef LAUNCHER_CORE_FILE_STATUS_H_
#define LAUNCHER_CORE_FILE_STATUS_H_

#include <string>

namespace launcher {

/// Whether the C runtime can tell the status of a file or directory. Leaves the reason in `errno`.
bool HasFileStatus(const std::wstring& path);

}  // namespace launcher

#endif  // LAUNCHER_CORE_FILE_STATUS_H_
