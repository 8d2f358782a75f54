#include "gamepipe/pipe_channel.h"

#include <cstddef>
#include <span>
#include <utility>

namespace launcher {
namespace {

constexpr std::size_t kReadSize = 4096;

constexpr DWORD kPipeFlags =
    FILE_FLAG_WRITE_THROUGH | FILE_FLAG_OVERLAPPED | FILE_FLAG_NO_BUFFERING;

UniqueEvent MakeEvent() { return UniqueEvent(CreateEventW(nullptr, TRUE, FALSE, nullptr)); }

}  // namespace

// Channels that were closed with operations outstanding. Closing the handle makes the system abandon
// the operations, but it reports that into the OVERLAPPED (and may still fill the buffer) at a moment
// of its own. The list is looked through whenever a channel is destroyed; what the system still uses
// when the DLL is unloaded is left to the process.
class RetiredChannels {
 public:
  static void Add(std::shared_ptr<PipeChannel> channel) {
    AcquireSRWLockExclusive(&lock);
    PipeChannel& added = *channel;
    added.nextRetired = head;
    added.self = std::move(channel);
    head = &added;
    ReleaseSRWLockExclusive(&lock);
  }

  static void FreeFinished() {
    AcquireSRWLockExclusive(&lock);
    for (PipeChannel** link = &head; *link != nullptr;) {
      PipeChannel& channel = **link;
      if (channel.SystemUsesMemory()) {
        link = &channel.nextRetired;
      } else {
        *link = channel.nextRetired;
        const std::shared_ptr<PipeChannel> last = std::move(channel.self);
      }
    }
    ReleaseSRWLockExclusive(&lock);
  }

 private:
  static inline PipeChannel* head = nullptr;
  static inline SRWLOCK lock = SRWLOCK_INIT;
};

PipeChannel::PipeChannel(vorn::CommandHandler& commandHandler)
    : handler(commandHandler), writeEvent(MakeEvent()), readEvent(MakeEvent()) {
  writeOverlapped.hEvent = writeEvent.get();
  readOverlapped.hEvent = readEvent.get();
}

void PipeChannel::Destroy(std::shared_ptr<PipeChannel> channel) {
  channel->readEvent.reset();
  channel->writeEvent.reset();
  channel->ClosePipe();
  RetiredChannels::FreeFinished();
  if (channel->SystemUsesMemory()) RetiredChannels::Add(std::move(channel));
}

bool PipeChannel::SystemUsesMemory() const {
  return (readAccepted && !HasOverlappedIoCompleted(&readOverlapped)) ||
         (writeAccepted && !HasOverlappedIoCompleted(&writeOverlapped));
}

std::uint32_t PipeChannel::Open(const char* path) {
  if (opened) return ERROR_SUCCESS;
  UniqueFile pipe(CreateFileA(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                              kPipeFlags, nullptr));
  if (!pipe) return GetLastError();
  handle = std::move(pipe);
  opened = true;
  return ERROR_SUCCESS;
}

void PipeChannel::ClosePipe() {
  opened = false;
  readPending = false;
  writePending = false;
  handle.reset();
}

bool PipeChannel::Send(const vorn::PellmarCommand& command) {
  AppendFrame(command, pendingSend);
  return PumpWrite() == ERROR_SUCCESS;
}

std::uint32_t PipeChannel::PumpWrite() {
  if (writePending) {
    DWORD written = 0;
    if (!GetOverlappedResult(handle.get(), &writeOverlapped, &written, FALSE)) {
      const DWORD error = GetLastError();
      return error == ERROR_IO_INCOMPLETE ? ERROR_SUCCESS : error;
    }
    // A short write is never continued: the game would find a torn frame.
    if (written != inFlight.size()) return ERROR_BUFFER_OVERFLOW;
    writePending = false;
  }
  if (pendingSend.empty()) return ERROR_SUCCESS;

  // The bytes of the last write make room; its storage becomes the queue's.
  inFlight.clear();
  inFlight.swap(pendingSend);
  ResetEvent(writeEvent.get());
  writeAccepted = true;
  if (WriteFile(handle.get(), inFlight.data(), static_cast<DWORD>(inFlight.size()), nullptr,
                &writeOverlapped)) {
    return ERROR_SUCCESS;
  }
  const DWORD error = GetLastError();
  if (error == ERROR_IO_PENDING) {
    writePending = true;
    return ERROR_SUCCESS;
  }
  writeAccepted = false;
  return error;
}

std::uint32_t PipeChannel::PumpRead() {
  if (readPending) {
    DWORD size = 0;
    if (!GetOverlappedResult(handle.get(), &readOverlapped, &size, FALSE)) {
      const DWORD error = GetLastError();
      return error == ERROR_IO_INCOMPLETE ? ERROR_SUCCESS : error;
    }
    received.Append(std::span(readBuffer).first(size));
    readBuffer.clear();
    readPending = false;
    if (!DecodeFrames(handler, received)) return ERROR_INVALID_DATA;
    // A command that ran may have polled again, found the pipe broken and closed this channel.
    if (!opened) return ERROR_SUCCESS;
  }
  // Or it may have started the next read.
  if (readPending) return ERROR_SUCCESS;

  readBuffer.resize(kReadSize);
  ResetEvent(readEvent.get());
  readPending = true;
  readAccepted = true;
  if (ReadFile(handle.get(), readBuffer.data(), kReadSize, nullptr, &readOverlapped)) {
    // Harvested by the next step, like a read that finishes later.
    SetEvent(readEvent.get());
    return ERROR_SUCCESS;
  }
  const DWORD error = GetLastError();
  if (error == ERROR_IO_PENDING) return ERROR_SUCCESS;
  readAccepted = false;
  return error;
}

}  // namespace launcher
