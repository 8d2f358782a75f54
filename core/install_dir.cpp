#include "core/install_dir.h"

#include <optional>

#include "core/environment.h"
#include "core/registry.h"

namespace launcher {
namespace {

constexpr wchar_t kInstallKey[] = L"SOFTWARE\\Vantor Web Plugins";

// Counted in bytes: installers write at most 129 characters, and hosts rely on a longer value being
// refused.
constexpr DWORD kInstallDirBytes = 260;

}  // namespace

std::wstring GetPluginInstallDir() {
  if (std::optional<std::wstring> directory = ReadEnvironment(L"KOVLAUNCH_INSTDIR")) {
    return *std::move(directory);
  }
  UniqueRegistryKey key;
  if (OpenMachineKey(kInstallKey, key) != ERROR_SUCCESS) return {};
  std::wstring directory;
  if (QueryText(key, nullptr, kInstallDirBytes, directory) != ERROR_SUCCESS) {
    // Kept open on purpose: only a successful read closes the key.
    static_cast<void>(key.release());
    return {};
  }
  return directory;
}

}  // namespace launcher
