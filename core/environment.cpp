#include "core/environment.h"

#include "core/windows_api.h"

namespace launcher {

std::optional<std::wstring> ReadEnvironment(const wchar_t* name) {
  std::wstring value(MAX_PATH, L'\0');
  for (;;) {
    // A length of 0 means "empty" as well as "missing"; only the last error tells them apart.
    SetLastError(ERROR_SUCCESS);
    const DWORD length =
        GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size() + 1));
    if (length == 0 && GetLastError() != ERROR_SUCCESS) return std::nullopt;
    const bool fits = length <= value.size();
    value.resize(length);
    if (fits) return value;
  }
}

}  // namespace launcher
