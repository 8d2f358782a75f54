#include "core/file_status.h"

#include <sys/stat.h>
#include <wchar.h>

namespace launcher {

bool HasFileStatus(const std::wstring& path) {
  struct _stat status;
  return _wstat(path.c_str(), &status) == 0;
}

}  // namespace launcher
