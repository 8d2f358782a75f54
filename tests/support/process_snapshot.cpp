#include "tests/support/process_snapshot.h"

#include <windows.h>
// windows.h first.
#include <winternl.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "tests/support/guard_pages.h"

namespace test_support {
namespace {

constexpr auto kSystemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);

// Entries of SystemHandleInformation, which the headers do not declare.
struct HandleEntry {
  ULONG processId;
  UCHAR objectType;
  UCHAR flags;
  USHORT handle;
  void* object;
  ULONG access;
};
struct HandleList {
  ULONG count;
  HandleEntry entries[1];
};

using QueryFunction = LONG(WINAPI*)(SYSTEM_INFORMATION_CLASS, void*, ULONG, ULONG*);

}  // namespace

std::size_t CountHandles() {
  // Wine's answers 0; in the list of Windows identifiers of processes have only 16 bits.
  DWORD counted = 0;
  if (GetProcessHandleCount(GetCurrentProcess(), &counted) && counted != 0) return counted;
  static const auto query = reinterpret_cast<QueryFunction>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<unsigned char> buffer(std::size_t{1} << 20);
  ULONG needed = 0;
  while (query(kSystemHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()),
               &needed) < 0) {
    if (buffer.size() > std::size_t{1} << 27) throw std::runtime_error("no list of handles");
    buffer.resize(buffer.size() * 2);
  }
  const auto* const list = reinterpret_cast<const HandleList*>(buffer.data());
  const DWORD self = GetCurrentProcessId();
  std::size_t count = 0;
  for (ULONG i = 0; i < list->count; ++i) {
    if (list->entries[i].processId == self) ++count;
  }
  return count;
}

HeapUse MeasureHeaps() {
  std::array<HANDLE, 256> heaps;
  const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
  if (count > heaps.size()) throw std::runtime_error("more heaps than expected");
  // In a run with guard pages the program's own blocks lie there.
  HeapUse use = {GuardPages::BlockCount(), GuardPages::ByteCount()};
  for (DWORD i = 0; i < count; ++i) {
    HeapLock(heaps[i]);
    PROCESS_HEAP_ENTRY entry = {};
    while (HeapWalk(heaps[i], &entry)) {
      if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
      ++use.blocks;
      use.bytes += entry.cbData;
    }
    HeapUnlock(heaps[i]);
  }
  return use;
}

}  // namespace test_support
