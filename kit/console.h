/// What the kit's programs share as console programs: UTF-8 arguments, options, reports.
#ifndef LAUNCHER_KIT_CONSOLE_H_
#define LAUNCHER_KIT_CONSOLE_H_

// The order matters.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "hosts/common/text.h"

namespace kit {

enum ExitCode : int { kSuccess = 0, kFailure = 1, kWrongUsage = 2 };

/// A wrong command line; `what()` says what is wrong.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

using host::DescribeError;
using host::EnvironmentText;
using host::ToUtf8;
using host::ToWide;

/// The words of a whole command line, without the program's name, as UTF-8.
inline std::vector<std::string> SplitCommandLine(const wchar_t* commandLine) {
  int count = 0;
  wchar_t** words = CommandLineToArgvW(commandLine, &count);
  std::vector<std::string> arguments;
  for (int i = 1; i < count; ++i) arguments.push_back(ToUtf8(words[i]));
  LocalFree(words);
  return arguments;
}

/// Lines for a person: on standard output and, when `OpenFile` was called, at the end of that file
/// too, because nobody sees the console of a program that the shell has started.
/// Any thread.
class Report {
 public:
  Report() = default;
  Report(const Report&) = delete;
  Report& operator=(const Report&) = delete;
  ~Report() {
    if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
  }

  /// Throws UsageError when the file cannot be opened.
  void OpenFile(const std::wstring& path) {
    file = CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
      throw UsageError("cannot write to " + ToUtf8(path) + ": " + DescribeError(GetLastError()));
    }
  }

  void Line(const std::string& text) {
    const std::lock_guard<std::mutex> guard(mutex);
    const std::string line = text + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fflush(stdout);
    if (file != INVALID_HANDLE_VALUE) {
      // One write for each line: several programs may append to the same file.
      DWORD written = 0;
      WriteFile(file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    }
  }

 private:
  std::mutex mutex;
  HANDLE file = INVALID_HANDLE_VALUE;
};

/// Reads the options of a program. False when they ask for help, which is then printed.
inline bool ReadOptions(CLI::App& app, std::vector<std::string> arguments) {
  app.allow_windows_style_options(false);            // "/x" is a value, not an option
  std::reverse(arguments.begin(), arguments.end());  // the parser takes the last one first
  try {
    app.parse(arguments);
    return true;
  } catch (const CLI::CallForHelp&) {
    std::fputs(app.help().c_str(), stdout);
    return false;
  }
}

/// "01 ff 7A" or "01ff7a". Throws UsageError for anything else.
inline std::vector<std::uint8_t> ParseHex(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  std::string digits;
  for (const char c : text) {
    if (c != ' ') digits += c;
  }
  if (digits.size() % 2 != 0 ||
      digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw UsageError("'" + text + "' is not a list of hexadecimal bytes");
  }
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

/// Runs a program's `body`, which returns its exit code, and turns what it throws into a message.
template <typename Body>
int RunProgram(const char* programName, const Body& body) {
  SetConsoleOutputCP(CP_UTF8);
  try {
    return body();
  } catch (const CLI::ParseError& error) {
    std::fprintf(stderr, "%s: %s\nTry: %s --help\n", programName, error.what(), programName);
    return kWrongUsage;
  } catch (const UsageError& error) {
    std::fprintf(stderr, "%s: %s\nTry: %s --help\n", programName, error.what(), programName);
    return kWrongUsage;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", programName, error.what());
    return kFailure;
  }
}

}  // namespace kit

#endif  // LAUNCHER_KIT_CONSOLE_H_
