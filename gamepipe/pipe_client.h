// The launcher's end of a game's pipe.
#ifndef LAUNCHER_GAMEPIPE_PIPE_CLIENT_H_
#define LAUNCHER_GAMEPIPE_PIPE_CLIENT_H_

#include <cstdint>
#include <memory>
#include <string>

#include "gamepipe/command.h"
#include "gamepipe/pipe_channel.h"

namespace launcher {

/// Opened once and never again: after a failure the owner makes a new client. One thread.
class PipeClient {
 public:
  /// `pipePath` is plain ASCII, in which UTF-8 and the system's narrow code page agree.
  /// `commandHandler` outlives the client.
  PipeClient(std::string pipePath, vorn::CommandHandler& commandHandler);
  PipeClient(const PipeClient&) = delete;
  PipeClient& operator=(const PipeClient&) = delete;
  ~PipeClient();

  /// Makes one attempt, without waiting. A game that is still starting has no pipe yet; the owner
  /// tries again later. Leaves the reason of a failure in `lastError`.
  bool Open();

  /// One step of the connection: a read, then a write. Returns 0 or a Windows error code, which ends
  /// the connection, and keeps it in `lastError`.
  std::uint32_t Pump();

  /// Closes the pipe and gives the channel up. A second call does nothing.
  void Close();

  /// Sends a command when the pipe is open. Whether it went out shows in later steps.
  void Send(const vorn::PellmarCommand& command);

  bool IsConnected() const { return connected; }
  std::uint32_t GetLastErrorCode() const { return lastError; }

 private:
  std::uint32_t PumpChannel();

  bool connected = false;
  std::string path;
  std::shared_ptr<PipeChannel> channel;
  std::uint32_t lastError = 0;
};

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_PIPE_CLIENT_H_
