// The messages that have come in, read by a thread of their own.
#ifndef LAUNCHER_HOSTS_BROWSER_PROGRAM_INPUT_QUEUE_H_
#define LAUNCHER_HOSTS_BROWSER_PROGRAM_INPUT_QUEUE_H_

#include <windows.h>

#include <deque>
#include <mutex>
#include <string>

namespace browser_host {

/// Reading waits, and so must not happen on the thread that polls the launcher. The thread ends
/// with the process at the latest: nothing interrupts a read.
class InputQueue {
 public:
  /// Starts to read. The object is never destroyed.
  explicit InputQueue(HANDLE inputStream);
  InputQueue(const InputQueue&) = delete;
  InputQueue& operator=(const InputQueue&) = delete;

  enum class State { kEmpty, kMessage, kEnd, kTooLong };
  /// The next message if there is one. `kEnd` comes at once, before messages that were not taken;
  /// `kTooLong` comes after them. Both stay.
  State Take(std::string& message);

  /// Signaled while `Take` has anything to tell but `kEmpty`.
  HANDLE Filled() const { return filled; }

 private:
  void Read();

  /// A page that sends faster than the launcher works waits in the browser.
  static constexpr LONG kMostMessages = 64;

  const HANDLE stream;
  const HANDLE filled;
  const HANDLE room;  // a semaphore, counts free places
  std::mutex mutex;   // guards what follows
  std::deque<std::string> messages;
  State end = State::kEmpty;
};

}  // namespace browser_host

#endif  // LAUNCHER_HOSTS_BROWSER_PROGRAM_INPUT_QUEUE_H_
