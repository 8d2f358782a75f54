#include "tests/host/gamepipe/pipe_scripted.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include "tests/support/text.h"

namespace test_support {
namespace {

std::string Decimal(std::uint64_t value) { return std::to_string(value); }

std::string Decimal(const void* pointer) {
  return Decimal(reinterpret_cast<std::uintptr_t>(pointer));
}

std::string ErrorText(DWORD error) { return "error " + Decimal(error); }

}  // namespace

ScriptedPipe::ScriptedPipe(HMODULE module, std::string pipePath)
    : path(std::move(pipePath)),
      openHook(module, [this](auto... arguments) { return Open(arguments...); }),
      eventHook(module, [this](auto... arguments) { return MakeEvent(arguments...); }),
      readHook(module, [this](auto... arguments) { return Read(arguments...); }),
      writeHook(module, [this](auto... arguments) { return Write(arguments...); }),
      resultHook(module, [this](auto... arguments) { return Result(arguments...); }),
      setHook(module, [this](HANDLE event) { return Set(event); }),
      resetHook(module, [this](HANDLE event) { return Reset(event); }),
      closeHook(module, [this](HANDLE handle) { return Close(handle); }),
      waitHook(module,
               [this](HANDLE object, DWORD timeout) {
                 Note("WaitForSingleObject(" + Label(object) + ")");
                 return waitHook.CallOriginal(object, timeout);
               }),
      sleepHook(module, [this](DWORD) { Note("Sleep"); }) {}

std::string ScriptedPipe::Label(HANDLE handle) const {
  const auto found = labels.find(handle);
  return found == labels.end() ? "?" : found->second;
}

std::vector<std::string> ScriptedPipe::TakeCalls() { return std::exchange(calls, {}); }

std::string ScriptedPipe::TakeWritten() { return std::exchange(written, {}); }

HANDLE ScriptedPipe::MakeEvent(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL signalled,
                               LPCWSTR name) {
  const HANDLE event = eventHook.CallOriginal(security, manualReset, signalled, name);
  newEvents.emplace_back(event, Decimal(security) + ", " + std::to_string(manualReset) + ", " +
                                    std::to_string(signalled) + ", " + Decimal(name));
  return event;
}

HANDLE ScriptedPipe::Open(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flags, HANDLE pattern) {
  const auto made = std::exchange(newEvents, {});
  if (name != path) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  for (const auto& [event, arguments] : made) {
    labels[event] = "event" + std::to_string(++eventCount);
    Note("CreateEventW(" + arguments + ") = " + labels[event]);
  }
  HANDLE opened = INVALID_HANDLE_VALUE;
  std::string result;
  if (openError) {
    result = ErrorText(*openError);
  } else {
    // Any handle does that can be closed.
    opened = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    result = labels[opened] = "pipe" + std::to_string(++pipeCount);
  }
  Note("CreateFileA(" + std::string(name) + ", " + HexText(access) + ", " + Decimal(share) + ", " +
       Decimal(security) + ", " + Decimal(disposition) + ", " + HexText(flags) + ", " +
       Decimal(pattern) + ") = " + result);
  SetLastError(openError.value_or(ERROR_SUCCESS));
  return opened;
}

// An operation that the system refuses leaves the record as a running one does.
void ScriptedPipe::Begin(Operation& operation, OVERLAPPED* overlapped, void* buffer, DWORD size) {
  if (overlapped->Offset != 0 || overlapped->OffsetHigh != 0) Note("an offset that is not 0");
  operation = {overlapped, buffer, size, ERROR_IO_INCOMPLETE, 0};
  overlapped->Internal = static_cast<ULONG_PTR>(STATUS_PENDING);
}

void ScriptedPipe::End(Operation& operation, DWORD error, DWORD count) {
  operation.error = error;
  operation.count = count;
  operation.overlapped->Internal = error;
  operation.overlapped->InternalHigh = count;
}

void ScriptedPipe::CompleteRead(const std::string& bytes) {
  std::memcpy(read.buffer, bytes.data(), bytes.size());
  End(read, ERROR_SUCCESS, static_cast<DWORD>(bytes.size()));
}

void ScriptedPipe::FailRead(DWORD error) { End(read, error, 0); }

void ScriptedPipe::CompleteWrite(std::optional<DWORD> count) {
  End(write, ERROR_SUCCESS, count.value_or(write.size));
}

void ScriptedPipe::FailWrite(DWORD error) { End(write, error, 0); }

BOOL ScriptedPipe::Read(HANDLE file, LPVOID buffer, DWORD size, LPDWORD count,
                        LPOVERLAPPED overlapped) {
  if (!IsOurs(file)) return readHook.CallOriginal(file, buffer, size, count, overlapped);
  const std::string call = "ReadFile(" + Label(file) + ", " + Decimal(size) + ", " +
                           Decimal(count) + ", " + Label(overlapped->hEvent) + ") = ";
  Begin(read, overlapped, buffer, size);
  DWORD error = ERROR_IO_PENDING;
  if (!reads.empty()) {
    const ReadAnswer answer = std::move(reads.front());
    reads.pop_front();
    error = answer.error;
    if (error == ERROR_SUCCESS) CompleteRead(answer.bytes);
  }
  Note(call + (error == ERROR_SUCCESS      ? "done"
               : error == ERROR_IO_PENDING ? "pending"
                                           : ErrorText(error)));
  SetLastError(error);
  return error == ERROR_SUCCESS;
}

BOOL ScriptedPipe::Write(HANDLE file, LPCVOID buffer, DWORD size, LPDWORD count,
                         LPOVERLAPPED overlapped) {
  if (!IsOurs(file)) return writeHook.CallOriginal(file, buffer, size, count, overlapped);
  if (insideWrite) insideWrite();
  written.append(static_cast<const char*>(buffer), size);
  Begin(write, overlapped, const_cast<void*>(buffer), size);
  DWORD error = ERROR_SUCCESS;
  if (!writes.empty()) {
    error = writes.front();
    writes.pop_front();
  }
  if (error == ERROR_SUCCESS) CompleteWrite();
  Note("WriteFile(" + Label(file) + ", " + Decimal(size) + ", " + Decimal(count) + ", " +
       Label(overlapped->hEvent) + ") = " +
       (error == ERROR_SUCCESS      ? "done"
        : error == ERROR_IO_PENDING ? "pending"
                                    : ErrorText(error)));
  SetLastError(error);
  return error == ERROR_SUCCESS;
}

BOOL ScriptedPipe::Result(HANDLE file, LPOVERLAPPED overlapped, LPDWORD count, BOOL wait) {
  if (!IsOurs(file)) return resultHook.CallOriginal(file, overlapped, count, wait);
  const Operation& operation = overlapped == read.overlapped ? read : write;
  *count = operation.count;
  Note("GetOverlappedResult(" + Label(file) + ", " + Label(overlapped->hEvent) + ", " +
       std::to_string(wait) + ") = " +
       (operation.error == ERROR_SUCCESS ? Decimal(operation.count) : ErrorText(operation.error)));
  SetLastError(operation.error);
  return operation.error == ERROR_SUCCESS;
}

BOOL ScriptedPipe::Set(HANDLE event) {
  if (IsOurs(event)) Note("SetEvent(" + Label(event) + ")");
  return setHook.CallOriginal(event);
}

BOOL ScriptedPipe::Reset(HANDLE event) {
  if (IsOurs(event)) Note("ResetEvent(" + Label(event) + ")");
  return resetHook.CallOriginal(event);
}

BOOL ScriptedPipe::Close(HANDLE handle) {
  if (IsOurs(handle)) {
    if (insideClose) insideClose();
    Note("CloseHandle(" + Label(handle) + ")");
    labels.erase(handle);
  }
  return closeHook.CallOriginal(handle);
}

}  // namespace test_support
