#include "core/registry.h"

#include <array>

namespace launcher {

LSTATUS OpenMachineKey(const std::wstring& path, UniqueRegistryKey& key) {
  HKEY opened = nullptr;
  const LSTATUS status =
      RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | KEY_WOW64_32KEY, &opened);
  if (status == ERROR_SUCCESS) key.reset(opened);
  return status;
}

LSTATUS QueryText(const UniqueRegistryKey& key, const wchar_t* valueName, DWORD byteLimit,
                  std::wstring& text) {
  // Nothing says that the data is a terminated text of even length. Zeroes to begin with, and room
  // for half a character and a terminator that the call does not know of, make any data one.
  std::array<wchar_t, kMaxValueBytes / sizeof(wchar_t) + 2> buffer = {};
  DWORD size = byteLimit;
  const LSTATUS status = RegQueryValueExW(key.get(), valueName, nullptr, nullptr,
                                          reinterpret_cast<BYTE*>(buffer.data()), &size);
  if (status == ERROR_SUCCESS) text.assign(buffer.data());
  return status;
}

}  // namespace launcher
