// The lock of the run-time's pool for exceptions. The thread library's own takes memory when it is first
// held, which is when none is left; a lock of the system needs none. The pool alone uses these functions,
// and makes its lock by calling the first of them.

#include "core/windows_api.h"

#if defined(__MINGW32__)

#include <pthread.h>

static_assert(sizeof(pthread_mutex_t) == sizeof(SRWLOCK));

extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* /*attributes*/) {
  InitializeSRWLock(reinterpret_cast<SRWLOCK*>(mutex));
  return 0;
}

int pthread_mutex_destroy(pthread_mutex_t* /*mutex*/) { return 0; }

int pthread_mutex_lock(pthread_mutex_t* mutex) {
  AcquireSRWLockExclusive(reinterpret_cast<SRWLOCK*>(mutex));
  return 0;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
  ReleaseSRWLockExclusive(reinterpret_cast<SRWLOCK*>(mutex));
  return 0;
}

}  // extern "C"

#endif
