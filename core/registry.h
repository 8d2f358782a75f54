// Reads under HKEY_LOCAL_MACHINE, always in the 32-bit view: the games and the plug-in are installed
// by 32-bit installers on every system.
#ifndef LAUNCHER_CORE_REGISTRY_H_
#define LAUNCHER_CORE_REGISTRY_H_

#include <string>

#include "core/handles.h"

namespace launcher {

inline constexpr DWORD kMaxValueBytes = 260;

/// Opens a key for reading. Returns a Windows error code.
LSTATUS OpenMachineKey(const std::wstring& path, UniqueRegistryKey& key);

/// Reads a value's data as text, up to the first zero character, whatever the value's type is. The
/// data may have at most `byteLimit` bytes (`kMaxValueBytes` at most), terminator included. A null
/// `valueName` means the key's default value. Returns a Windows error code; `text` is set on success
/// only, and the thread's last error is left as the system's call left it on failure.
LSTATUS QueryText(const UniqueRegistryKey& key, const wchar_t* valueName, DWORD byteLimit,
                  std::wstring& text);

}  // namespace launcher

#endif  // LAUNCHER_CORE_REGISTRY_H_
