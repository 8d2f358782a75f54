// Owning types for what tests get from Windows, and the exception for calls that a test relies on.
#ifndef LAUNCHER_TESTS_SUPPORT_SCOPED_HANDLE_H_
#define LAUNCHER_TESTS_SUPPORT_SCOPED_HANDLE_H_

#include <winsock2.h>
// winsock2.h first.
#include <windows.h>

#include <string>
#include <utility>

namespace test_support {

/// Throws std::system_error with the thread's last error: the surroundings of a test could not be
/// made, which fails the test.
[[noreturn]] void ThrowLastError(const std::string& what);

/// Closes a kernel handle. Both null and INVALID_HANDLE_VALUE mean "none".
class ScopedHandle {
 public:
  ScopedHandle() = default;
  explicit ScopedHandle(HANDLE owned) : handle(owned) {}
  ScopedHandle(ScopedHandle&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
  ScopedHandle& operator=(ScopedHandle&& other) noexcept {
    Reset(std::exchange(other.handle, nullptr));
    return *this;
  }
  ~ScopedHandle() { Reset(); }

  explicit operator bool() const { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
  HANDLE Get() const { return handle; }
  void Reset(HANDLE owned = nullptr) {
    const HANDLE old = std::exchange(handle, owned);
    if (old != nullptr && old != INVALID_HANDLE_VALUE) CloseHandle(old);
  }

 private:
  HANDLE handle = nullptr;
};

/// An unnamed event object. Throws when it cannot be made.
ScopedHandle MakeManualResetEvent();
ScopedHandle MakeAutoResetEvent();

/// Waits for an object; whether it became signaled in time.
bool WaitFor(HANDLE object, DWORD timeoutMs);

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_SCOPED_HANDLE_H_
