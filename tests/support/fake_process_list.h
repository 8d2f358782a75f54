// A list of processes that a test makes up.
#ifndef LAUNCHER_TESTS_SUPPORT_FAKE_PROCESS_LIST_H_
#define LAUNCHER_TESTS_SUPPORT_FAKE_PROCESS_LIST_H_

#include <winsock2.h>
// winsock2.h first.
#include <windows.h>
// windows.h first.
#include <tlhelp32.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/import_redirector.h"

namespace test_support {

struct FakeProcess {
  DWORD id;
  std::wstring fileName;
};

/// Redirects what a module asks for the processes of the computer with. The order is that of the
/// list.
class FakeProcessList {
 public:
  FakeProcessList(HMODULE module, std::vector<FakeProcess> list);

  /// The snapshot cannot be made.
  void FailSnapshot() { snapshots.FailAlways(INVALID_HANDLE_VALUE, ERROR_ACCESS_DENIED); }
  /// The entry with this number, from 0, cannot be read.
  void FailEntry(std::size_t number) { failingEntry = number; }
  /// Called when the module closes the snapshot.
  void OnSnapshotClosed(std::function<void()> work) { snapshotClosed = std::move(work); }

  /// The arguments of each snapshot.
  std::vector<std::tuple<DWORD, DWORD>> Snapshots() const { return snapshots.Calls(); }
  /// The entry size that came with each question.
  const std::vector<DWORD>& EntrySizes() const { return entrySizes; }
  int SnapshotCloses() const { return snapshotCloses; }
  /// Other handles that the module has closed.
  const std::vector<HANDLE>& OtherCloses() const { return otherCloses; }

 private:
  BOOL Next(HANDLE snapshot, PROCESSENTRY32W* entry);
  BOOL Close(HANDLE handle);

  static constexpr std::size_t kNoEntry = static_cast<std::size_t>(-1);

  std::vector<FakeProcess> processes;
  std::size_t position = 0;
  std::size_t failingEntry = kNoEntry;
  std::vector<DWORD> entrySizes;
  int snapshotCloses = 0;
  std::vector<HANDLE> otherCloses;
  std::function<void()> snapshotClosed;
  IMPORT_HOOK(CreateToolhelp32Snapshot) snapshots;
  IMPORT_HOOK(Process32FirstW) firsts;
  IMPORT_HOOK(Process32NextW) nexts;
  IMPORT_HOOK(CloseHandle) closes;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_FAKE_PROCESS_LIST_H_
