#include "core/launcher/thread_list.h"

#include <stdexcept>

namespace launcher {

bool ThreadList::StartWith(LPTHREAD_START_ROUTINE procedure, void* context) {
  if (handles.size() >= maxSize) throw std::length_error("list<T> too long");
  // The entry is made first, so that a lack of memory cannot lose the handle of a running thread.
  std::list<HANDLE> entry(1);
  entry.front() = CreateThread(nullptr, 0, procedure, context, 0, nullptr);
  const bool started = entry.front() != nullptr;
  handles.splice(handles.end(), entry);
  return started;
}

void ThreadList::WaitForAll() {
  for (HANDLE thread : handles) {
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
  }
  handles.clear();
}

}  // namespace launcher
