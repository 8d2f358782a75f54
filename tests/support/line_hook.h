// The lines that a module writes, as they come.
#ifndef LAUNCHER_TESTS_SUPPORT_LINE_HOOK_H_
#define LAUNCHER_TESTS_SUPPORT_LINE_HOOK_H_

#include <functional>
#include <string>
#include <utility>

#include "tests/support/import_redirector.h"

namespace test_support {

/// Hands what a module writes to a test in place of writing it, on the thread that writes. Each line
/// is one write.
class LineHook {
 public:
  LineHook(HMODULE module, std::function<void(std::string)> take)
      : writes(module,
               [take = std::move(take)](HANDLE, const void* bytes, DWORD size, DWORD* written,
                                        OVERLAPPED*) -> WINBOOL {
                 take(std::string(static_cast<const char*>(bytes), size));
                 *written = size;
                 return TRUE;
               }) {}

 private:
  IMPORT_HOOK(WriteFile) writes;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_LINE_HOOK_H_
