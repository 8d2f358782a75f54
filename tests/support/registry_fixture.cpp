#include "tests/support/registry_fixture.h"

#include <cstring>
#include <system_error>

namespace test_support {
namespace {

constexpr REGSAM kView = KEY_WOW64_32KEY;

void Check(LSTATUS status, const char* what) {
  if (status != ERROR_SUCCESS) {
    throw std::system_error(static_cast<int>(status), std::system_category(), what);
  }
}

class OpenKey {
 public:
  OpenKey(const std::wstring& key, REGSAM access) {
    Check(RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, access | kView, &handle),
          "RegOpenKeyExW");
  }
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;
  ~OpenKey() { RegCloseKey(handle); }
  HKEY Get() const { return handle; }

 private:
  HKEY handle = nullptr;
};

// The system looks at the character after a text without a terminator, and stores that as well
// when it is one. So there is always another character after it.
LSTATUS SetExactly(HKEY key, const wchar_t* name, DWORD type, std::vector<unsigned char> bytes) {
  const auto size = static_cast<DWORD>(bytes.size());
  bytes.insert(bytes.end(), 2 * sizeof(wchar_t), 'x');
  return RegSetValueExW(key, name, 0, type, bytes.data(), size);
}

}  // namespace

bool RegistryKeyExists(const std::wstring& key) {
  HKEY handle = nullptr;
  const bool exists =
      RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ | kView, &handle) == ERROR_SUCCESS;
  if (exists) RegCloseKey(handle);
  return exists;
}

RegistryFixture::~RegistryFixture() {
  for (auto change = changes.rbegin(); change != changes.rend(); ++change) Undo(*change);
}

void RegistryFixture::Undo(const Change& change) const {
  if (change.wholeKey) {
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, change.key.c_str(), kView, 0);
    return;
  }
  const OpenKey key(change.key, KEY_SET_VALUE);
  const wchar_t* const name = change.valueName ? change.valueName->c_str() : nullptr;
  if (change.before) {
    SetExactly(key.Get(), name, change.before->type, change.before->bytes);
  } else {
    RegDeleteValueW(key.Get(), name);
  }
}

void RegistryFixture::CreateKey(const std::wstring& key) {
  if (RegistryKeyExists(key)) return;
  const std::size_t separator = key.rfind(L'\\');
  if (separator != std::wstring::npos) CreateKey(key.substr(0, separator));
  HKEY handle = nullptr;
  Check(RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_WRITE | kView, nullptr, &handle, nullptr),
        "RegCreateKeyExW");
  RegCloseKey(handle);
  changes.push_back({key, true, std::nullopt, std::nullopt});
}

void RegistryFixture::SetText(const std::wstring& key, const wchar_t* valueName,
                              const std::wstring& text) {
  std::vector<unsigned char> bytes((text.size() + 1) * sizeof(wchar_t));
  std::memcpy(bytes.data(), text.c_str(), bytes.size());
  SetBytes(key, valueName, REG_SZ, bytes);
}

void RegistryFixture::SetBytes(const std::wstring& key, const wchar_t* valueName, DWORD type,
                               const std::vector<unsigned char>& bytes) {
  CreateKey(key);
  const OpenKey handle(key, KEY_READ | KEY_SET_VALUE);
  std::optional<Data> before;
  DWORD oldType = 0;
  DWORD oldSize = 0;
  if (RegQueryValueExW(handle.Get(), valueName, nullptr, &oldType, nullptr, &oldSize) ==
      ERROR_SUCCESS) {
    before = Data{oldType, std::vector<unsigned char>(oldSize)};
    RegQueryValueExW(handle.Get(), valueName, nullptr, nullptr, before->bytes.data(), &oldSize);
  }
  Check(SetExactly(handle.Get(), valueName, type, bytes), "RegSetValueExW");
  std::optional<std::wstring> name;
  if (valueName != nullptr) name = valueName;
  changes.push_back({key, false, name, before});
}

}  // namespace test_support
