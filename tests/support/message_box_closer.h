// Closes a modal message box that the code under test shows.
#ifndef LAUNCHER_TESTS_SUPPORT_MESSAGE_BOX_CLOSER_H_
#define LAUNCHER_TESTS_SUPPORT_MESSAGE_BOX_CLOSER_H_

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/scoped_handle.h"

namespace test_support {

/// From construction to destruction, closes every message box of this process with the given
/// caption from a thread of its own, and remembers what was written in it.
class MessageBoxCloser {
 public:
  explicit MessageBoxCloser(std::wstring boxCaption);
  MessageBoxCloser(const MessageBoxCloser&) = delete;
  MessageBoxCloser& operator=(const MessageBoxCloser&) = delete;
  ~MessageBoxCloser();

  /// The texts of the boxes that were closed, in order.
  std::vector<std::wstring> ClosedTexts() const;

 private:
  void Run();

  std::wstring caption;
  ScopedHandle stop;
  mutable std::mutex mutex;
  std::vector<std::wstring> closedTexts;
  std::thread thread;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_MESSAGE_BOX_CLOSER_H_
