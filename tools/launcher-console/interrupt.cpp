#include "tools/launcher-console/interrupt.h"

namespace console {
namespace {

HANDLE interruptEvent = nullptr;

// Windows calls it on a thread of its own.
BOOL WINAPI HandleControl(DWORD /*type*/) {
  SetEvent(interruptEvent);
  return TRUE;
}

}  // namespace

HANDLE InterruptEvent() {
  if (interruptEvent == nullptr) {
    interruptEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(HandleControl, TRUE);
  }
  return interruptEvent;
}

}  // namespace console
