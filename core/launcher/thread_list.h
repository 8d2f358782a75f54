// The worker threads that were started and not yet waited for.
#ifndef LAUNCHER_CORE_LAUNCHER_THREAD_LIST_H_
#define LAUNCHER_CORE_LAUNCHER_THREAD_LIST_H_

#include <cstddef>
#include <list>
#include <memory>

#include "core/windows_api.h"

namespace launcher {

/// Not synchronised: the owner's lock guards `Start`; nothing may be started during `WaitForAll`.
class ThreadList {
 public:
  explicit ThreadList(std::size_t limit = std::list<HANDLE>().max_size()) : maxSize(limit) {}
  ThreadList(const ThreadList&) = delete;
  ThreadList& operator=(const ThreadList&) = delete;

  /// Starts a thread that gets `context` as its argument and owns it from then on. A thread that the
  /// system refuses to start is recorded like any other, as a null handle, and its context is freed.
  /// Throws std::length_error when the list is full and std::bad_alloc, in both cases with no thread
  /// started.
  template <typename Context>
  void Start(LPTHREAD_START_ROUTINE procedure, std::unique_ptr<Context> context) {
    if (StartWith(procedure, context.get())) static_cast<void>(context.release());
  }

  /// Waits for every thread, without a time limit, from the oldest on; closes their handles and
  /// forgets them.
  void WaitForAll();

 private:
  bool StartWith(LPTHREAD_START_ROUTINE procedure, void* context);

  std::list<HANDLE> handles;
  std::size_t maxSize;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_LAUNCHER_THREAD_LIST_H_
