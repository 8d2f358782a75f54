// What the process writes to one of its standard streams, as bytes.
#ifndef LAUNCHER_TESTS_SUPPORT_STREAM_CAPTURE_H_
#define LAUNCHER_TESTS_SUPPORT_STREAM_CAPTURE_H_

#include <cstddef>
#include <string>

#include "tests/support/scoped_handle.h"
#include "tests/support/temp_directory.h"

namespace test_support {

/// Sends standard error or standard output to a file for a scope. The DLL shares the C runtime with
/// the test program, so redirecting the runtime's descriptor redirects the DLL's lines; the file is
/// in binary mode, so the bytes come back as they were written, and the stream's buffer is flushed
/// before they are read. Threads may write meanwhile; begin
/// and end it while none does. Messages of failed expectations go to standard output: keep captures
/// of that stream short.
class StreamCapture {
 public:
  enum class Stream { kOutput, kError };

  explicit StreamCapture(Stream captured = Stream::kError);
  StreamCapture(const StreamCapture&) = delete;
  StreamCapture& operator=(const StreamCapture&) = delete;
  ~StreamCapture() { Stop(); }

  /// Everything since the beginning, or since `mark`.
  std::string Text(std::size_t mark = 0) const;
  /// The present end of the text, for a later `Text(mark)`.
  std::size_t Mark() const { return Text().size(); }

  /// Waits until the text since `mark` holds `part`; whether it came in time. For lines that a
  /// thread writes with nothing else to wait for.
  bool WaitForText(const std::string& part, DWORD timeoutMs, std::size_t mark = 0) const;

  /// Ends the redirection; the text stays readable.
  void Stop();

 private:
  TempDirectory directory;
  Stream stream;
  int descriptor;
  int savedDescriptor;
  ScopedHandle reader;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_STREAM_CAPTURE_H_
