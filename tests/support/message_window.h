// A top-level window that hears broadcast messages.
#ifndef LAUNCHER_TESTS_SUPPORT_MESSAGE_WINDOW_H_
#define LAUNCHER_TESTS_SUPPORT_MESSAGE_WINDOW_H_

#include <optional>

#include "tests/support/scoped_handle.h"

namespace test_support {

/// Belongs to the thread that makes it, which must also wait for its messages.
class MessageWindow {
 public:
  struct Message {
    WPARAM wParam;
    LPARAM lParam;
  };

  MessageWindow();
  MessageWindow(const MessageWindow&) = delete;
  MessageWindow& operator=(const MessageWindow&) = delete;
  ~MessageWindow();

  /// The next posted message with this identifier, or nothing when none came in time.
  std::optional<Message> WaitForMessage(UINT identifier, DWORD timeoutMs) const;

 private:
  HWND window;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_MESSAGE_WINDOW_H_
