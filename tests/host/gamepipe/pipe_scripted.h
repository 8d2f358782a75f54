// A game's pipe as a test writes it: every answer of the system is set beforehand, every call that
// the DLL makes for the pipe is noted, so that whole sequences can be compared and nothing depends
// on time.
#ifndef LAUNCHER_TESTS_HOST_GAMEPIPE_PIPE_SCRIPTED_H_
#define LAUNCHER_TESTS_HOST_GAMEPIPE_PIPE_SCRIPTED_H_

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/import_redirector.h"

namespace test_support {

/// Redirects the DLL's calls for one pipe path; calls for other files reach the system, and other
/// pipes do not exist. Calls are noted in this form, numbers of access rights and flags in
/// hexadecimal; events and pipes are numbered in the order in which they were made:
///
///     CreateEventW(0, 1, 0, 0) = event1
///     CreateFileA(\\.\pipe\solano_pellmar, c0000000, 0, 0, 3, e0000000, 0) = pipe1
///     ReadFile(pipe1, 4096, 0, event2) = pending
///     WriteFile(pipe1, 8, 0, event1) = done
///     GetOverlappedResult(pipe1, event2, 0) = 8
///     CloseHandle(pipe1)
///
/// A failure ends in "= error 109".
class ScriptedPipe {
 public:
  ScriptedPipe(HMODULE module, std::string pipePath);

  /// Later attempts to open the pipe succeed / fail. They fail with ERROR_FILE_NOT_FOUND at first.
  void Offer() { openError.reset(); }
  void Refuse(DWORD error) { openError = error; }

  /// What the next reads answer, in order. A read without an answer stays outstanding.
  void NextReadCompletes(const std::string& bytes) { reads.push_back({0, bytes}); }
  void NextReadFails(DWORD error) { reads.push_back({error, {}}); }
  /// Ends the outstanding read.
  void CompleteRead(const std::string& bytes);
  void FailRead(DWORD error);

  /// What the next writes answer, in order. A write without an answer completes at once.
  void NextWriteStaysOutstanding() { writes.push_back(ERROR_IO_PENDING); }
  void NextWriteFails(DWORD error) { writes.push_back(error); }
  /// Ends the outstanding write; `count` is what the system reports as written.
  void CompleteWrite(std::optional<DWORD> count = std::nullopt);
  void FailWrite(DWORD error);

  /// Run inside each call of WriteFile for the pipe.
  void OnWrite(std::function<void()> work) { insideWrite = std::move(work); }
  /// Run inside each call of CloseHandle for the pipe or one of its events.
  void OnClose(std::function<void()> work) { insideClose = std::move(work); }

  /// Adds a line of the test's own.
  void Note(const std::string& line) { calls.push_back(line); }
  /// The calls since the last time.
  std::vector<std::string> TakeCalls();
  /// The bytes of all writes since the last time.
  std::string TakeWritten();

  /// Memory that the system was given with the latest read and write.
  const void* ReadBuffer() const { return read.buffer; }
  const OVERLAPPED* ReadOverlapped() const { return read.overlapped; }
  const void* WriteBuffer() const { return write.buffer; }
  const OVERLAPPED* WriteOverlapped() const { return write.overlapped; }

 private:
  struct ReadAnswer {
    DWORD error;
    std::string bytes;
  };
  // The latest operation of one direction.
  struct Operation {
    OVERLAPPED* overlapped = nullptr;
    void* buffer = nullptr;
    DWORD size = 0;
    DWORD error = ERROR_SUCCESS;
    DWORD count = 0;
  };

  bool IsOurs(HANDLE handle) const { return labels.contains(handle); }
  std::string Label(HANDLE handle) const;
  void Begin(Operation& operation, OVERLAPPED* overlapped, void* buffer, DWORD size);
  static void End(Operation& operation, DWORD error, DWORD count);

  HANDLE Open(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
              DWORD disposition, DWORD flags, HANDLE pattern);
  HANDLE MakeEvent(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL signalled, LPCWSTR name);
  BOOL Read(HANDLE file, LPVOID buffer, DWORD size, LPDWORD count, LPOVERLAPPED overlapped);
  BOOL Write(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD count, LPOVERLAPPED overlapped);
  BOOL Result(HANDLE file, LPOVERLAPPED overlapped, LPDWORD count, BOOL wait);
  BOOL Set(HANDLE event);
  BOOL Reset(HANDLE event);
  BOOL Close(HANDLE handle);

  const std::string path;
  std::optional<DWORD> openError = ERROR_FILE_NOT_FOUND;
  std::deque<ReadAnswer> reads;
  std::deque<DWORD> writes;
  std::function<void()> insideWrite;
  std::function<void()> insideClose;
  Operation read;
  Operation write;
  std::vector<std::string> calls;
  std::string written;
  std::map<HANDLE, std::string> labels;
  // Events that were made and whose pipe is not known yet, with their arguments.
  std::vector<std::pair<HANDLE, std::string>> newEvents;
  int eventCount = 0;
  int pipeCount = 0;

  // Last, so that the redirection ends before what it uses.
  IMPORT_HOOK(CreateFileA) openHook;
  IMPORT_HOOK(CreateEventW) eventHook;
  IMPORT_HOOK(ReadFile) readHook;
  IMPORT_HOOK(WriteFile) writeHook;
  IMPORT_HOOK(GetOverlappedResult) resultHook;
  IMPORT_HOOK(SetEvent) setHook;
  IMPORT_HOOK(ResetEvent) resetHook;
  IMPORT_HOOK(CloseHandle) closeHook;
  IMPORT_HOOK(WaitForSingleObject) waitHook;
  IMPORT_HOOK(Sleep) sleepHook;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_HOST_GAMEPIPE_PIPE_SCRIPTED_H_
