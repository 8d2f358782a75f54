#include "tests/support/fake_process_list.h"

#include <cwchar>
#include <utility>

namespace test_support {
namespace {

// No handle of the system's, so that a use by mistake does no harm.
const HANDLE kSnapshot = reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(0x7FFFFFF1));

}  // namespace

FakeProcessList::FakeProcessList(HMODULE module, std::vector<FakeProcess> list)
    : processes(std::move(list)),
      snapshots(module,
                [this](DWORD, DWORD) {
                  position = 0;
                  return kSnapshot;
                }),
      firsts(module,
             [this](HANDLE snapshot, PROCESSENTRY32W* entry) { return Next(snapshot, entry); }),
      nexts(module,
            [this](HANDLE snapshot, PROCESSENTRY32W* entry) { return Next(snapshot, entry); }),
      closes(module, [this](HANDLE handle) { return Close(handle); }) {}

BOOL FakeProcessList::Next(HANDLE snapshot, PROCESSENTRY32W* entry) {
  entrySizes.push_back(entry->dwSize);
  if (snapshot != kSnapshot || position == processes.size() || position == failingEntry) {
    SetLastError(ERROR_NO_MORE_FILES);
    return FALSE;
  }
  const FakeProcess& process = processes[position++];
  entry->th32ProcessID = process.id;
  std::wcsncpy(entry->szExeFile, process.fileName.c_str(), MAX_PATH - 1);
  return TRUE;
}

BOOL FakeProcessList::Close(HANDLE handle) {
  if (handle != kSnapshot) {
    otherCloses.push_back(handle);
    return closes.CallOriginal(handle);
  }
  ++snapshotCloses;
  if (snapshotClosed) snapshotClosed();
  return TRUE;
}

}  // namespace test_support
