#include "tests/support/scoped_handle.h"

#include <system_error>

namespace test_support {

void ThrowLastError(const std::string& what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

ScopedHandle MakeManualResetEvent() {
  ScopedHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!event) ThrowLastError("CreateEventW");
  return event;
}

ScopedHandle MakeAutoResetEvent() {
  ScopedHandle event(CreateEventW(nullptr, FALSE, FALSE, nullptr));
  if (!event) ThrowLastError("CreateEventW");
  return event;
}

bool WaitFor(HANDLE object, DWORD timeoutMs) {
  return WaitForSingleObject(object, timeoutMs) == WAIT_OBJECT_0;
}

}  // namespace test_support
