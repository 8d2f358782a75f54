#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cwchar>
#include <utility>
#include <vector>

#include "core/log.h"
#include "core/text.h"
#include "tests/native/captured_log.h"

namespace launcher {
namespace {

// Enough for every line that tests provoke and, for what fuzzers provoke, a bound on memory.
constexpr std::size_t kMaxLine = 4096;
constexpr std::size_t kMaxLog = 1 << 20;

std::string& CapturedText() {
  static std::string text;
  return text;
}

void Append(const std::string& line) {
  if (CapturedText().size() + line.size() > kMaxLog) CapturedText().clear();
  CapturedText() += line;
}

// In a wide format "%s" means a wide text to the library, but a narrow one to this C library.
std::wstring WithWideStrings(const wchar_t* format) {
  std::wstring result;
  for (; *format != L'\0'; ++format) {
    result += *format;
    if (*format == L'%' && format[1] == L's') result += L'l';
  }
  return result;
}

void AppendNarrow(const char* format, va_list arguments) LAUNCHER_PRINTF_FORMAT(1, 0);

void AppendNarrow(const char* format, va_list arguments) {
  char line[kMaxLine];
  std::vsnprintf(line, sizeof(line), format, arguments);
  Append(line);
}

}  // namespace

std::string TakeLog() { return std::exchange(CapturedText(), {}); }

void LogLine(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  AppendNarrow(format, arguments);
  va_end(arguments);
}

void LogLine(const wchar_t* format, ...) noexcept {
  std::vector<wchar_t> line(kMaxLine);
  va_list arguments;
  va_start(arguments, format);
  std::vswprintf(line.data(), line.size(), WithWideStrings(format).c_str(), arguments);
  va_end(arguments);
  Append(WideToUtf8(line.data()));
}

void PrintText(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  AppendNarrow(format, arguments);
  va_end(arguments);
}

}  // namespace launcher
