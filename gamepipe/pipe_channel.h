// The bytes of a game's pipe, moved in both directions with overlapped I/O. No call waits: every
// step starts an operation or harvests one that has finished.
#ifndef LAUNCHER_GAMEPIPE_PIPE_CHANNEL_H_
#define LAUNCHER_GAMEPIPE_PIPE_CHANNEL_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "core/handles.h"
#include "gamepipe/byte_vector.h"
#include "gamepipe/command.h"
#include "gamepipe/frame.h"

namespace launcher {

/// One end of an open pipe, with at most one read and one write outstanding. All calls come on one
/// thread; a command that runs inside `PumpRead` may call in again and may even close the channel,
/// so callers keep a reference of their own while they pump.
///
/// Results are Windows error codes; 0 means success or "still running". After any other result the
/// channel is good for nothing but `Close`.
class PipeChannel {
 public:
  /// `commandHandler` outlives the channel.
  explicit PipeChannel(vorn::CommandHandler& commandHandler);
  PipeChannel(const PipeChannel&) = delete;
  PipeChannel& operator=(const PipeChannel&) = delete;
  ~PipeChannel() = default;

  /// Opens the pipe. Returns 0, also when it is open already, or a Windows error code.
  std::uint32_t Open(const char* path);

  /// Queues one command after those that wait and starts to write. True when that went well.
  bool Send(const vorn::PellmarCommand& command);

  /// Harvests a finished write, then starts one for everything that is queued.
  std::uint32_t PumpWrite();

  /// Harvests a finished read and runs the commands in it, then starts the next read.
  std::uint32_t PumpRead();

  /// Closes the pipe but not the events. A second call does nothing.
  void ClosePipe();

  /// Closes everything that is open and gives the channel up. Memory that the system may still
  /// write to, because an operation was outstanding when the pipe was closed, is kept until it no
  /// longer does.
  static void Destroy(std::shared_ptr<PipeChannel> channel);

  bool IsOpened() const { return opened; }
  bool HasPipe() const { return static_cast<bool>(handle); }

 private:
  friend class RetiredChannels;

  bool SystemUsesMemory() const;

  UniqueFile handle;
  vorn::CommandHandler& handler;
  bool opened = false;
  ReceiveBuffer received;
  std::vector<std::uint8_t> readBuffer;
  ByteVector pendingSend;
  ByteVector inFlight;
  bool readPending = false;
  bool writePending = false;
  UniqueEvent writeEvent;
  UniqueEvent readEvent;
  OVERLAPPED writeOverlapped = {};
  OVERLAPPED readOverlapped = {};
  // Whether the system accepted the last operation: its OVERLAPPED then shows when the system is done
  // with it and the buffer. Unlike the pending flags they survive the closing of the pipe.
  bool readAccepted = false;
  bool writeAccepted = false;
  // Set while the channel is in the list of those that the system may still write to.
  std::shared_ptr<PipeChannel> self;
  PipeChannel* nextRetired = nullptr;
};

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_PIPE_CHANNEL_H_
