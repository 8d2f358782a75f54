// Messages between a browser and this program: a length of four bytes, little-endian, and so many
// bytes of JSON.
#ifndef LAUNCHER_HOSTS_BROWSER_PROGRAM_MESSAGE_STREAM_H_
#define LAUNCHER_HOSTS_BROWSER_PROGRAM_MESSAGE_STREAM_H_

#include <windows.h>

#include <cstdint>
#include <string>

namespace browser_host {

/// The browser ends a program that sends more.
inline constexpr std::uint32_t kLongestOutgoingMessage = 1024 * 1024;
/// The browser would send 64 MiB; nothing that a page has to say is that long.
inline constexpr std::uint32_t kLongestIncomingMessage = 1024 * 1024;

enum class ReadResult { kMessage, kEnd, kTooLong };

/// Waits for a whole message. `kEnd` is the end of the stream, also in the middle of a message;
/// after `kTooLong` nothing more can be read.
ReadResult ReadMessage(HANDLE stream, std::string& message);

/// False when the reader is gone. `message` is at most `kLongestOutgoingMessage` bytes.
bool WriteMessage(HANDLE stream, const std::string& message);

}  // namespace browser_host

#endif  // LAUNCHER_HOSTS_BROWSER_PROGRAM_MESSAGE_STREAM_H_
