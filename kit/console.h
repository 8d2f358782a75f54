/// What the kit's programs share as console programs: UTF-8 arguments, options, reports.
#ifndef LAUNCHER_KIT_CONSOLE_H_
#define LAUNCHER_KIT_CONSOLE_H_

// The order matters.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kit {

enum ExitCode : int { kSuccess = 0, kFailure = 1, kWrongUsage = 2 };

/// The command line cannot be obeyed; `what()` says why.
class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline std::string ToUtf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

inline std::wstring ToWide(std::string_view bytes) {
  const int size = static_cast<int>(bytes.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, nullptr, 0);
  std::wstring text(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(), length);
  return text;
}

/// "The system cannot find the file specified. (error 2)"
inline std::string DescribeError(DWORD code) {
  wchar_t text[512] = L"";
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                code, 0, text, 512, nullptr);
  while (length > 0 && text[length - 1] <= L' ') --length;
  return ToUtf8(std::wstring_view(text, length)) + " (error " + std::to_string(code) + ")";
}

/// The value of an environment variable, or nothing when it is not set.
inline std::optional<std::wstring> Environment(const wchar_t* name) {
  SetLastError(ERROR_SUCCESS);
  const DWORD size = GetEnvironmentVariableW(name, nullptr, 0);
  if (size == 0) {
    if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
    return std::wstring();
  }
  std::wstring value(size, L'\0');
  value.resize(GetEnvironmentVariableW(name, value.data(), size));
  return value;
}

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
/// too, because a program that was started through the shell has no console that anybody sees.
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

/// "--name value" and "--switch" options of a command line.
class Options {
 public:
  /// Throws UsageError for anything that is not in one of the two lists.
  Options(const std::vector<std::string>& arguments, const std::vector<std::string>& withValue,
          const std::vector<std::string>& switches) {
    const auto contains = [](const std::vector<std::string>& list, const std::string& name) {
      for (const std::string& entry : list) {
        if (entry == name) return true;
      }
      return false;
    };
    for (std::size_t i = 0; i < arguments.size(); ++i) {
      const std::string& name = arguments[i];
      if (contains(switches, name)) {
        values.emplace_back(name, "");
      } else if (!contains(withValue, name)) {
        throw UsageError("unknown option '" + name + "'");
      } else if (i + 1 == arguments.size()) {
        throw UsageError("option " + name + " needs a value");
      } else {
        values.emplace_back(name, arguments[++i]);
      }
    }
  }

  bool Has(const std::string& name) const { return Find(name).has_value(); }

  std::string Text(const std::string& name, const std::string& byDefault) const {
    return Find(name).value_or(byDefault);
  }

  /// Every value of an option that may be repeated, in order.
  std::vector<std::string> All(const std::string& name) const {
    std::vector<std::string> found;
    for (const auto& [key, value] : values) {
      if (key == name) found.push_back(value);
    }
    return found;
  }

  /// Decimal, or hexadecimal after "0x". Throws UsageError outside `least` to `most`.
  std::uint64_t Number(const std::string& name, std::uint64_t byDefault, std::uint64_t least,
                       std::uint64_t most) const {
    const std::optional<std::string> text = Find(name);
    if (!text) return byDefault;
    const bool hexadecimal = text->starts_with("0x");
    const std::string digits = hexadecimal ? text->substr(2) : *text;
    const char* allowed = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
    if (!digits.empty() && digits.find_first_not_of(allowed) == std::string::npos) {
      try {
        const std::uint64_t value = std::stoull(digits, nullptr, hexadecimal ? 16 : 10);
        if (value >= least && value <= most) return value;
      } catch (const std::out_of_range&) {
        // Reported below, like every other number that does not fit.
      }
    }
    throw UsageError("option " + name + " takes a number from " + std::to_string(least) + " to " +
                     std::to_string(most) + ", not '" + *text + "'");
  }

 private:
  std::optional<std::string> Find(const std::string& name) const {
    for (const auto& [key, value] : values) {
      if (key == name) return value;
    }
    return std::nullopt;
  }

  std::vector<std::pair<std::string, std::string>> values;
};

/// "01 ff 7A" or "01ff7a". Throws UsageError for anything else.
inline std::vector<std::uint8_t> ParseHex(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  std::string digits;
  for (const char c : text) {
    if (c != ' ') digits += c;
  }
  if (digits.size() % 2 != 0 ||
      digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw UsageError("'" + text + "' is no text of hexadecimal bytes");
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
