// Keeps the launcher's diagnostic lines away from what a program itself reads and writes.
#ifndef LAUNCHER_HOSTS_COMMON_STANDARD_STREAMS_H_
#define LAUNCHER_HOSTS_COMMON_STANDARD_STREAMS_H_

#include <windows.h>

#include <string>

namespace host {

/// The streams that the process was started with. The launcher reports every call on the standard
/// streams of the process that it is loaded into; once an object of this class is made, before the
/// DLL is loaded, those lines go elsewhere, and only these handles reach the original streams. One
/// object in a process, which lives to the end.
class StandardStreams {
 public:
  /// The lines are appended to `diagnosticsPath`, or dropped when it is empty. Throws
  /// std::runtime_error when the file cannot be opened.
  explicit StandardStreams(const std::wstring& diagnosticsPath);

  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;

  // Not inherited by programs that this one starts: a game must not keep them open.
  HANDLE input;
  HANDLE output;
  HANDLE error;
};

/// Writes all bytes. False when the reader is gone.
bool WriteAll(HANDLE stream, const char* bytes, std::size_t size);

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_STANDARD_STREAMS_H_
