// A game's end of its command pipe.
#ifndef LAUNCHER_TESTS_SUPPORT_PIPE_SERVER_H_
#define LAUNCHER_TESTS_SUPPORT_PIPE_SERVER_H_

#include <cstddef>
#include <optional>
#include <string>

#include "tests/support/scoped_handle.h"

namespace test_support {

/// One instance of a duplex byte-mode named pipe, waiting for a client from the beginning. Every
/// operation has a time limit, so that a test that fails does not hang.
class PipeServer {
 public:
  explicit PipeServer(const std::wstring& pipeName, DWORD bufferBytes = 65536);
  PipeServer(const PipeServer&) = delete;
  PipeServer& operator=(const PipeServer&) = delete;
  ~PipeServer() { Close(); }

  /// Waits until a client has connected; whether one has.
  bool Accept(DWORD timeoutMs);
  /// Writes all bytes; whether that was possible in time.
  bool Write(const std::string& bytes, DWORD timeoutMs);
  /// Reads exactly `count` bytes; fewer when the pipe broke or the time was over.
  std::string Read(std::size_t count, DWORD timeoutMs);
  /// How many bytes wait to be read now, or nothing when the pipe is broken.
  std::optional<DWORD> Available() const;
  /// Throws the client out, then waits for the next one.
  void DisconnectAndListen();
  /// Closes the pipe, as the end of the game's process does.
  void Close();

 private:
  void Listen();
  bool Finish(OVERLAPPED& overlapped, DWORD timeoutMs, DWORD& transferred) const;

  ScopedHandle pipe;
  ScopedHandle connected;
  ScopedHandle transferDone;
  OVERLAPPED connecting = {};
  bool isConnected = false;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_PIPE_SERVER_H_
