// What the code under test writes to the diagnostic log, natively and on Windows alike.
#ifndef LAUNCHER_TESTS_UNIT_LOG_CAPTURE_H_
#define LAUNCHER_TESTS_UNIT_LOG_CAPTURE_H_

#include <string>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <process.h>
#include <stdio.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>
#else
#include "tests/native/captured_log.h"
#endif

namespace launcher {

#ifdef _WIN32

/// Sends standard error to a file for a scope. One thread, one capture at a time.
class LogCapture {
 public:
  LogCapture() {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("unit_tests_log_" + std::to_string(_getpid()));
    // Deleted when its last descriptor is closed.
    file = _wopen(path.c_str(), _O_RDWR | _O_CREAT | _O_EXCL | _O_BINARY | _O_TEMPORARY,
                  _S_IREAD | _S_IWRITE);
    if (file == kNone) throw std::runtime_error("no file for the log: " + path.string());
    fflush(stderr);
    savedError = _dup(_fileno(stderr));
    if (savedError == kNone || _dup2(file, _fileno(stderr)) != 0) {
      throw std::runtime_error("standard error cannot be redirected");
    }
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture() {
    fflush(stderr);
    _dup2(savedError, _fileno(stderr));
    _close(savedError);
    _close(file);
  }

  /// The lines since the beginning or the last call, as UTF-8.
  std::string Take() {
    fflush(stderr);
    // The descriptors share one position in the file.
    const long end = _lseek(file, 0, SEEK_END);
    std::string text(static_cast<std::size_t>(end - taken), '\0');
    _lseek(file, taken, SEEK_SET);
    const int read = _read(file, text.data(), static_cast<unsigned int>(text.size()));
    if (read != static_cast<int>(text.size())) throw std::runtime_error("the log cannot be read");
    taken = end;
    return text;
  }

 private:
  static constexpr int kNone = -1;

  int file = kNone;
  int savedError = kNone;
  long taken = 0;
};

#else

/// One thread, one capture at a time.
class LogCapture {
 public:
  LogCapture() { TakeLog(); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;
  ~LogCapture() { TakeLog(); }

  /// The lines since the beginning or the last call, as UTF-8.
  std::string Take() { return TakeLog(); }
};

#endif

}  // namespace launcher

#endif  // LAUNCHER_TESTS_UNIT_LOG_CAPTURE_H_
