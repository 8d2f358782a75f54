#include "core/log.h"

#include <stdio.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace launcher {
namespace {

// A UTF-16 code unit takes at most three bytes in UTF-8 (a surrogate pair takes four for two).
constexpr std::size_t kMaxBytesPerUnit = 3;

constexpr std::size_t kShortLine = 512;

// Memory for a line: on the stack for nearly every one, from the heap for a longer one, and when
// there is none left as much as fits on the stack.
template <typename T>
class LineMemory {
 public:
  explicit LineMemory(std::size_t wanted) {
    if (wanted <= kShortLine) return;
    heapMemory.reset(static_cast<T*>(std::malloc(wanted * sizeof(T))));
    if (heapMemory != nullptr) capacity = wanted;
  }
  T* data() { return heapMemory != nullptr ? heapMemory.get() : stackMemory; }
  std::size_t size() const { return capacity; }

 private:
  struct FreeDeleter {
    void operator()(T* memory) const { std::free(memory); }
  };

  T stackMemory[kShortLine];
  std::unique_ptr<T, FreeDeleter> heapMemory;
  std::size_t capacity = kShortLine;
};

// A stream that the host has closed takes nothing. It still holds its old descriptor, by now perhaps
// that of a file of the host's, and a text longer than the stream's buffer would go there.
bool IsOpen(FILE* stream) {
#if defined(_MSC_VER) || defined(_UCRT)
  return _fileno(stream) >= 0;
#else
  return (stream->_flag & (_IOWRT | _IORW)) != 0;
#endif
}

void Write(FILE* stream, const char* text, std::size_t size) {
  _lock_file(stream);
  if (IsOpen(stream)) static_cast<void>(fwrite(text, 1, size, stream));
  _unlock_file(stream);
}

void WriteUtf8(FILE* stream, const char* text, std::size_t length) { Write(stream, text, length); }

// By hand, so that nothing that can fail comes between a line and its stream. Returns the end of the
// bytes.
char* EncodeUtf8(const wchar_t* text, std::size_t length, char* out) {
  for (std::size_t i = 0; i < length; ++i) {
    char32_t codePoint = text[i];
    if (codePoint >= 0xD800 && codePoint < 0xE000) {
      const bool paired =
          codePoint < 0xDC00 && i + 1 < length && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
      codePoint = paired ? 0x10000 + ((codePoint - 0xD800) << 10) + (text[++i] - 0xDC00U)
                         : 0xFFFD;  // an unpaired surrogate
    }
    if (codePoint < 0x80) {
      *out++ = static_cast<char>(codePoint);
      continue;
    }
    const int following = codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
    *out++ = static_cast<char>((0xFF00U >> (following + 1)) | (codePoint >> (6 * following)));
    for (int shift = 6 * (following - 1); shift >= 0; shift -= 6) {
      *out++ = static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F));
    }
  }
  return out;
}

void WriteUtf8(FILE* stream, const wchar_t* text, std::size_t length) {
  LineMemory<char> bytes(length * kMaxBytesPerUnit);
  length = std::min(length, bytes.size() / kMaxBytesPerUnit);
  const char* const end = EncodeUtf8(text, length, bytes.data());
  Write(stream, bytes.data(), static_cast<std::size_t>(end - bytes.data()));
}

// The run-time's formatters by their own names: the C++ library redirects the standard names to an
// implementation that reads "%s" in a wide format as narrow text.
int Measure(const char* format, va_list arguments) { return _vscprintf(format, arguments); }
int Measure(const wchar_t* format, va_list arguments) { return _vscwprintf(format, arguments); }

void Format(char* text, std::size_t size, const char* format, va_list arguments) {
  _vsnprintf(text, size, format, arguments);
}
void Format(wchar_t* text, std::size_t size, const wchar_t* format, va_list arguments) {
  _vsnwprintf(text, size, format, arguments);
}

template <typename T>
void FormatAndWrite(FILE* stream, const T* format, va_list arguments) {
  va_list measured;
  va_copy(measured, arguments);
  const int length = Measure(format, measured);
  va_end(measured);
  if (length < 0) return;
  LineMemory<T> line(static_cast<std::size_t>(length));
  Format(line.data(), line.size(), format, arguments);
  WriteUtf8(stream, line.data(), std::min(static_cast<std::size_t>(length), line.size()));
}

// Appends a text; null when it does not fit or needs to be encoded.
template <typename T>
char* AppendPlain(const T* text, char* cursor, const char* end) {
  for (; *text != '\0'; ++text) {
    if (cursor == end || (sizeof(T) > 1 && *text >= 0x80)) return nullptr;
    *cursor++ = static_cast<char>(*text);
  }
  return cursor;
}

// Appends an address in the run-time's form, 16 upper-case digits; null when it does not fit.
char* AppendAddress(std::uintptr_t address, char* cursor, const char* end) {
  constexpr int kDigits = 16;
  if (end - cursor < kDigits) return nullptr;
  for (int shift = 4 * (kDigits - 1); shift >= 0; shift -= 4) {
    *cursor++ = "0123456789ABCDEF"[(address >> shift) & 0xF];
  }
  return cursor;
}

// Nearly all lines are short and ASCII with no conversion but "%s" and "%p". Those are put together here, in
// a fraction of the run-time's time. False for any other line, of which nothing is written.
template <typename T>
// NOLINTNEXTLINE(readability-non-const-parameter): va_arg moves it on.
bool WritePlain(FILE* stream, const T* format, va_list arguments) {
  char line[kShortLine];
  char* cursor = line;
  const char* const end = line + kShortLine;
  for (; *format != '\0'; ++format) {
    if (cursor == end) return false;
    if (*format != '%') {
      *cursor++ = static_cast<char>(*format);
      continue;
    }
    ++format;
    if (*format == 's') {
      const T* const text = va_arg(arguments, const T*);
      cursor = text == nullptr ? nullptr : AppendPlain(text, cursor, end);
    } else if (*format == 'p') {
      cursor =
          AppendAddress(reinterpret_cast<std::uintptr_t>(va_arg(arguments, void*)), cursor, end);
    } else {
      return false;
    }
    if (cursor == nullptr) return false;
  }
  Write(stream, line, static_cast<std::size_t>(cursor - line));
  return true;
}

template <typename T>
void WriteLine(FILE* stream, const T* format, va_list arguments) {
  va_list plain;
  va_copy(plain, arguments);
  if (!WritePlain(stream, format, plain)) FormatAndWrite(stream, format, arguments);
  va_end(plain);
}

}  // namespace

void LogLine(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  WriteLine(stderr, format, arguments);
  va_end(arguments);
}

void LogLine(const wchar_t* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  WriteLine(stderr, format, arguments);
  va_end(arguments);
}

void PrintText(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  WriteLine(stdout, format, arguments);
  va_end(arguments);
}

}  // namespace launcher
