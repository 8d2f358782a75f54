// The lines that a module writes, as they come.
#ifndef LAUNCHER_TESTS_SUPPORT_LINE_HOOK_H_
#define LAUNCHER_TESTS_SUPPORT_LINE_HOOK_H_

#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include "tests/support/import_redirector.h"

namespace test_support {

/// Hands what a module gives to the run-time's streams to a test in place of writing it, on the
/// thread that writes. Each line is one call.
class LineHook {
 public:
  using Take = std::function<void(const std::string& line, FILE* stream)>;

  LineHook(HMODULE module, Take take)
      : writes(module, [take = std::move(take)](const void* bytes, std::size_t size,
                                                std::size_t count, FILE* stream) {
          take(std::string(static_cast<const char*>(bytes), size * count), stream);
          return count;
        }) {}

  /// How many lines there were.
  std::size_t Count() const { return writes.CallCount(); }

 private:
  // The header's own declaration carries attributes, which a template does not take.
  ImportHook<"fwrite", std::size_t(const void*, std::size_t, std::size_t, FILE*)> writes;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_LINE_HOOK_H_
