// One owning type per kind of system handle. A move closes the handle that is overwritten; what is
// left open on purpose is spelled `release()` where it happens.
#ifndef LAUNCHER_CORE_HANDLES_H_
#define LAUNCHER_CORE_HANDLES_H_

#include <utility>

#include "core/windows_api.h"

namespace launcher {

template <typename Traits>
class UniqueHandle {
 public:
  using Type = typename Traits::Type;

  UniqueHandle() = default;
  explicit UniqueHandle(Type handle) : value(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : value(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~UniqueHandle() { reset(); }

  explicit operator bool() const { return value != Traits::None(); }
  Type get() const { return value; }
  [[nodiscard]] Type release() { return std::exchange(value, Traits::None()); }
  void reset(Type handle = Traits::None()) {
    const Type old = std::exchange(value, handle);
    if (old != Traits::None()) Traits::Close(old);
  }

  /// For calls that return a handle through a pointer.
  Type* put() {
    reset();
    return &value;
  }

 private:
  Type value = Traits::None();
};

struct EventTraits {
  using Type = HANDLE;
  static Type None() { return nullptr; }
  static void Close(Type handle) { CloseHandle(handle); }
};

struct ProcessTraits : EventTraits {};

/// Files, pipes and process snapshots: "none" is -1.
struct FileTraits {
  using Type = HANDLE;
  static Type None() { return INVALID_HANDLE_VALUE; }
  static void Close(Type handle) { CloseHandle(handle); }
};

struct FindTraits {
  using Type = HANDLE;
  static Type None() { return INVALID_HANDLE_VALUE; }
  static void Close(Type handle) { FindClose(handle); }
};

struct RegistryKeyTraits {
  using Type = HKEY;
  static Type None() { return nullptr; }
  static void Close(Type key) { RegCloseKey(key); }
};

struct SocketTraits {
  using Type = SOCKET;
  static Type None() { return INVALID_SOCKET; }
  static void Close(Type socket) { closesocket(socket); }
};

using UniqueEvent = UniqueHandle<EventTraits>;
using UniqueProcess = UniqueHandle<ProcessTraits>;
using UniqueFile = UniqueHandle<FileTraits>;
using UniqueFind = UniqueHandle<FindTraits>;
using UniqueRegistryKey = UniqueHandle<RegistryKeyTraits>;
using UniqueSocket = UniqueHandle<SocketTraits>;

/// A critical section that lives as long as the object. Re-entrant for the thread that holds it.
class CriticalSection {
 public:
  CriticalSection() { InitializeCriticalSection(&section); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;
  ~CriticalSection() { DeleteCriticalSection(&section); }

  void Enter() { EnterCriticalSection(&section); }
  void Leave() { LeaveCriticalSection(&section); }

 private:
  CRITICAL_SECTION section;
};

/// Holds a critical section for a scope.
class CriticalSectionGuard {
 public:
  explicit CriticalSectionGuard(CriticalSection& guarded) : section(guarded) { section.Enter(); }
  CriticalSectionGuard(const CriticalSectionGuard&) = delete;
  CriticalSectionGuard& operator=(const CriticalSectionGuard&) = delete;
  ~CriticalSectionGuard() { section.Leave(); }

 private:
  CriticalSection& section;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_HANDLES_H_
