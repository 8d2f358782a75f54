// A game's installation for a scope, as a 32-bit installer leaves it behind.
#ifndef LAUNCHER_TESTS_SUPPORT_GAME_INSTALLATION_H_
#define LAUNCHER_TESTS_SUPPORT_GAME_INSTALLATION_H_

#include <string>

#include "tests/support/registry_fixture.h"
#include "tests/support/temp_directory.h"

namespace test_support {

/// The identifier, registry key and executables of the game that most tests use.
inline constexpr wchar_t kBrennaId[] = L"BRENNA-GAME";
inline constexpr wchar_t kBrennaKey[] = LR"(SOFTWARE\Hollin Games\Ashgrove 4)";
inline constexpr wchar_t kBrennaX64Name[] = L"ag4.exe";

/// The identifier, registry key and executable of a game that has one executable and lists its
/// updates without the registry.
inline constexpr wchar_t kSolanoId[] = L"SOLANO-GAME";
inline constexpr wchar_t kSolanoKey[] = LR"(SOFTWARE\Hollin Games\Ashgrove 3)";
inline constexpr wchar_t kSolanoName[] = L"ag3.exe";

/// The directory, named by the value "Install Dir" of the game's key, with an empty file in place
/// of the executable.
class GameInstallation {
 public:
  explicit GameInstallation(const std::wstring& registryKey = kBrennaKey,
                            const std::wstring& executable = kBrennaX64Name) {
    registry.SetText(registryKey, L"Install Dir", directory.Path());
    directory.WriteFile(executable, "");
  }

  const TempDirectory& Directory() const { return directory; }
  RegistryFixture& Registry() { return registry; }

  /// The directory as the library keeps it, with its backslash.
  std::wstring InstallDir() const { return directory.Path() + L"\\"; }

 private:
  TempDirectory directory;
  RegistryFixture registry;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_GAME_INSTALLATION_H_
