// Keys and values under HKEY_LOCAL_MACHINE for a scope.
#ifndef LAUNCHER_TESTS_SUPPORT_REGISTRY_FIXTURE_H_
#define LAUNCHER_TESTS_SUPPORT_REGISTRY_FIXTURE_H_

#include <optional>
#include <string>
#include <vector>

#include "tests/support/scoped_handle.h"

namespace test_support {

/// Makes keys and values in the 32-bit view and takes exactly those away again, the newest first;
/// values that were there before come back. `key` counts from HKEY_LOCAL_MACHINE; a null value name
/// means the key's default value.
class RegistryFixture {
 public:
  RegistryFixture() = default;
  RegistryFixture(const RegistryFixture&) = delete;
  RegistryFixture& operator=(const RegistryFixture&) = delete;
  ~RegistryFixture();

  /// Makes a key and those on the way to it.
  void CreateKey(const std::wstring& key);
  /// A REG_SZ value, written with its terminator.
  void SetText(const std::wstring& key, const wchar_t* valueName, const std::wstring& text);
  /// Exactly these bytes.
  void SetBytes(const std::wstring& key, const wchar_t* valueName, DWORD type,
                const std::vector<unsigned char>& bytes);

 private:
  struct Data {
    DWORD type;
    std::vector<unsigned char> bytes;
  };
  struct Change {
    std::wstring key;
    bool wholeKey;
    std::optional<std::wstring> valueName;
    std::optional<Data> before;
  };

  void Undo(const Change& change) const;

  std::vector<Change> changes;
};

/// Whether a key exists in the 32-bit view under HKEY_LOCAL_MACHINE.
bool RegistryKeyExists(const std::wstring& key);

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_REGISTRY_FIXTURE_H_
