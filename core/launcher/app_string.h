// A text result for the host.
#ifndef LAUNCHER_CORE_LAUNCHER_APP_STRING_H_
#define LAUNCHER_CORE_LAUNCHER_APP_STRING_H_

#include <new>
#include <string>
#include <utility>

#include "launcher/launcher.h"

namespace launcher {

/// Made with `new`, owned by the host until `Destroy(kFreeMemory)`.
class AppString final : public IString {
 public:
  static constexpr unsigned int kFreeMemory = 1;

  explicit AppString(std::wstring value) : text(std::move(value)) {}
  AppString(const AppString&) = delete;
  AppString& operator=(const AppString&) = delete;

  const wchar_t* GetString() override { return text.c_str(); }

  void* Destroy(unsigned int flags) override {
    this->~AppString();
    if ((flags & kFreeMemory) != 0) ::operator delete(this);
    return this;
  }

 private:
  ~AppString() = default;

  std::wstring text;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_LAUNCHER_APP_STRING_H_
