// What a module asks of the registry.
#ifndef LAUNCHER_TESTS_SUPPORT_REGISTRY_CALLS_H_
#define LAUNCHER_TESTS_SUPPORT_REGISTRY_CALLS_H_

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/import_redirector.h"
#include "tests/support/text.h"

namespace test_support {

/// Notes the calls in order, as "open SOFTWARE\Ostrel", "query ClientVersion" and "close", the first two
/// with " failed" when they do. Every key has to be opened for reading in the 32-bit view, every query
/// to be for `byteLimit` bytes of the key that was opened last.
class RegistryCalls {
 public:
  RegistryCalls(HMODULE module, DWORD byteLimit)
      : opens(module,
              [this](HKEY root, LPCWSTR path, DWORD options, REGSAM access, HKEY* key) {
                EXPECT_EQ(root, HKEY_LOCAL_MACHINE);
                EXPECT_EQ(options, 0U);
                EXPECT_EQ(access, 0x20219U);
                return Note("open ", path, openFailure, [&] {
                  const LSTATUS status = opens.CallOriginal(root, path, options, access, key);
                  last = *key;
                  return status;
                });
              }),
        queries(module,
                [this, byteLimit](HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                  DWORD* size) {
                  EXPECT_EQ(key, last);
                  EXPECT_EQ(reserved, nullptr);
                  EXPECT_EQ(*size, byteLimit);
                  return Note("query ", name == nullptr ? L"" : name, queryFailure, [&] {
                    return queries.CallOriginal(key, name, reserved, type, data, size);
                  });
                }),
        closes(module, [this](HKEY key) {
          calls.emplace_back(key == last ? "close" : "close another");
          if (insideClose) insideClose();
          return closes.CallOriginal(key);
        }) {}

  /// Later calls return this status, and leave this last error behind.
  void FailOpens(LSTATUS status, DWORD lastError) { openFailure = {status, lastError}; }
  void FailQueries(LSTATUS status, DWORD lastError) { queryFailure = {status, lastError}; }
  /// Run inside each call that closes a key.
  void OnClose(std::function<void()> work) { insideClose = std::move(work); }

  /// The calls since the last time.
  std::vector<std::string> Take() { return std::exchange(calls, {}); }
  /// The key that was opened last.
  HKEY Last() const { return last; }

 private:
  using Failure = std::optional<std::pair<LSTATUS, DWORD>>;

  template <typename Original>
  LSTATUS Note(const std::string& call, LPCWSTR name, const Failure& failure,
               const Original& original) {
    const LSTATUS status = failure ? failure->first : original();
    calls.push_back(call + Narrow(name) + (status == ERROR_SUCCESS ? "" : " failed"));
    if (failure) SetLastError(failure->second);
    return status;
  }

  std::vector<std::string> calls;
  Failure openFailure;
  Failure queryFailure;
  std::function<void()> insideClose;
  HKEY last = nullptr;
  IMPORT_HOOK(RegOpenKeyExW) opens;
  IMPORT_HOOK(RegQueryValueExW) queries;
  IMPORT_HOOK(RegCloseKey) closes;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_REGISTRY_CALLS_H_
