#include "tests/support/message_window.h"

namespace test_support {

MessageWindow::MessageWindow()
    : window(CreateWindowExW(0, L"Static", L"launcher test", WS_OVERLAPPED, 0, 0, 0, 0, nullptr,
                             nullptr, nullptr, nullptr)) {
  if (window == nullptr) ThrowLastError("CreateWindowExW");
}

MessageWindow::~MessageWindow() { DestroyWindow(window); }

std::optional<MessageWindow::Message> MessageWindow::WaitForMessage(UINT identifier,
                                                                    DWORD timeoutMs) const {
  const ULONGLONG deadline = GetTickCount64() + timeoutMs;
  for (;;) {
    MSG message;
    while (PeekMessageW(&message, window, 0, 0, PM_REMOVE)) {
      if (message.message == identifier) return Message{message.wParam, message.lParam};
      DispatchMessageW(&message);
    }
    const ULONGLONG now = GetTickCount64();
    if (now >= deadline) return std::nullopt;
    MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(deadline - now), QS_ALLINPUT);
  }
}

}  // namespace test_support
