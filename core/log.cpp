#include "core/log.h"

#include <io.h>
#include <stdio.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "core/short_copy.h"
#include "core/windows_api.h"

// The library is compiled with variables that are zero from the start, which is as much work for
// the buffers of a line as formatting it.
#if defined(__GNUC__) && !defined(__clang__)
#define LAUNCHER_UNFILLED [[gnu::uninitialized]]
#else
#define LAUNCHER_UNFILLED
#endif

namespace launcher {
namespace {

// Longer than nearly every line; longer ones go through the heap.
constexpr std::size_t kStackCharacters = 512;

// A UTF-16 code unit takes at most three bytes in UTF-8 (a surrogate pair takes four for two).
constexpr std::size_t kMaxBytesPerUnit = 3;

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};

// Memory for `count` elements: `stackMemory` when it is large enough, else the heap, else (when
// memory has run out) `stackMemory` again with `count` cut down to what it holds.
template <typename T, std::size_t StackCount>
class ScratchMemory {
 public:
  explicit ScratchMemory(std::size_t count) : capacity(count) {
    if (count > StackCount) {
      heapMemory.reset(static_cast<T*>(std::malloc(count * sizeof(T))));
    }
    if (heapMemory == nullptr && count > StackCount) capacity = StackCount;
  }
  T* data() { return heapMemory ? heapMemory.get() : stackMemory; }
  std::size_t size() const { return capacity; }

 private:
  T stackMemory[StackCount];
  std::unique_ptr<T, FreeDeleter> heapMemory;
  std::size_t capacity;
};

// The handle behind a stream of the runtime, so that redirections made through the runtime and
// those made when the process was started are both followed. A process without such a stream (a
// browser) may still have been given a standard handle later, by AllocConsole for example.
HANDLE StreamHandle(FILE* stream, DWORD standardHandle) {
  const int descriptor = _fileno(stream);
  if (descriptor >= 0) {
    auto* const handle = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
    if (handle != INVALID_HANDLE_VALUE) return handle;
  }
  return GetStdHandle(standardHandle);
}

void WriteBytes(FILE* stream, DWORD standardHandle, const char* bytes, std::size_t size) {
  DWORD written = 0;
  WriteFile(StreamHandle(stream, standardHandle), bytes, static_cast<DWORD>(size), &written,
            nullptr);
}

// A buffer of a line and what stands in it.
template <typename T>
class LineBuffer {
 public:
  LineBuffer(T* memory, std::size_t capacity) : begin(memory), end(memory), room(capacity) {}

  int Length() const { return static_cast<int>(end - begin); }

  // False when the text does not fit.
  bool Append(const T* text, std::size_t length) {
    if (length > room) return false;
    end = CopyShort(text, length, end);
    room -= length;
    return true;
  }

  // As the run-time writes "%p".
  bool AppendPointer(const void* pointer) {
    constexpr std::size_t kDigits = 2 * sizeof(pointer);
    auto value = reinterpret_cast<std::uintptr_t>(pointer);
    T digits[kDigits];
    for (std::size_t i = kDigits; i-- > 0; value >>= 4) {
      digits[i] = static_cast<T>("0123456789ABCDEF"[value & 0xF]);
    }
    return Append(digits, kDigits);
  }

 private:
  T* begin;
  T* end;
  std::size_t room;
};

// Formats a line whose conversions are all "%s" or "%p", which most lines are, in a fraction of the
// time that the run-time's formatter takes. Returns the length of the text, or -1 for every other
// line, for one that does not fit and for one with a null text: those are the run-time's.
template <typename T>
int FormatPlain(T* memory, std::size_t capacity, const T* format, va_list& arguments) {
  LineBuffer<T> line(memory, capacity);
  for (;;) {
    const T* const literal = format;
    while (*format != '%' && *format != '\0') ++format;
    if (!line.Append(literal, static_cast<std::size_t>(format - literal))) return -1;
    if (*format == '\0') return line.Length();
    if (format[1] == 's') {
      const T* const text = va_arg(arguments, const T*);
      if (text == nullptr || !line.Append(text, std::char_traits<T>::length(text))) return -1;
    } else if (format[1] == 'p') {
      if (!line.AppendPointer(va_arg(arguments, void*))) return -1;
    } else {
      return -1;
    }
    format += 2;
  }
}

// A formatter that returns the length of the text, or -1 when it did not fit into the buffer.
template <typename T>
using Formatter = int (*)(T*, std::size_t, const T*, va_list);
template <typename T>
using Measurer = int (*)(const T*, va_list);

// The Microsoft formatters are called by their own names: the C++ library redirects the standard
// names to an implementation that reads "%s" in a wide format as narrow text.
template <typename T, typename Sink>
void Format(Formatter<T> format, Measurer<T> measure, const T* text, va_list arguments,
            const Sink& sink) {
  LAUNCHER_UNFILLED T stackText[kStackCharacters];
  va_list retry;
  va_copy(retry, arguments);
  va_list plain;
  va_copy(plain, arguments);
  int length = FormatPlain(stackText, kStackCharacters, text, plain);
  va_end(plain);
  if (length < 0) length = format(stackText, kStackCharacters, text, arguments);
  if (length >= 0) {
    sink(stackText, static_cast<std::size_t>(length));
  } else {
    va_list again;
    va_copy(again, retry);
    length = measure(text, retry);
    if (length > 0) {
      const auto needed = static_cast<std::size_t>(length);
      const std::unique_ptr<T, FreeDeleter> heapText(
          static_cast<T*>(std::malloc((needed + 1) * sizeof(T))));
      if (heapText != nullptr) {
        format(heapText.get(), needed + 1, text, again);
        sink(heapText.get(), needed);
      } else {
        sink(stackText, kStackCharacters);
      }
    }
    va_end(again);
  }
  va_end(retry);
}

constexpr std::size_t kBlock = 8;

// Encodes the next characters of a text if all of them are ASCII.
bool EncodeAsciiBlock(const wchar_t* text, char* out) {
  unsigned int all = 0;
  for (std::size_t i = 0; i < kBlock; ++i) all |= text[i];
  if (all >= 0x80) return false;
  for (std::size_t i = 0; i < kBlock; ++i) out[i] = static_cast<char>(text[i]);
  return true;
}

std::size_t EncodeUtf8(const wchar_t* text, std::size_t length, char* out, std::size_t capacity) {
  char* const begin = out;
  const char* const end = out + capacity;
  for (std::size_t i = 0; i < length && end - out >= 4; ++i) {
    // The last character of a block needs room for four bytes like any other.
    while (length - i > kBlock && end - out >= static_cast<std::ptrdiff_t>(kBlock + 4) &&
           EncodeAsciiBlock(text + i, out)) {
      i += kBlock;
      out += kBlock;
    }
    unsigned int codePoint = text[i];
    if (codePoint < 0x80) {
      *out++ = static_cast<char>(codePoint);
      continue;
    }
    if (codePoint < 0x800) {
      *out++ = static_cast<char>(0xC0 | (codePoint >> 6));
      *out++ = static_cast<char>(0x80 | (codePoint & 0x3F));
      continue;
    }
    if (codePoint >= 0xD800 && codePoint < 0xE000) {
      const bool paired =
          codePoint < 0xDC00 && i + 1 < length && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000;
      if (paired) {
        codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (text[++i] - 0xDC00U);
        *out++ = static_cast<char>(0xF0 | (codePoint >> 18));
        *out++ = static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
        *out++ = static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (codePoint & 0x3F));
        continue;
      }
      codePoint = 0xFFFD;  // an unpaired surrogate
    }
    *out++ = static_cast<char>(0xE0 | (codePoint >> 12));
    *out++ = static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (codePoint & 0x3F));
  }
  return static_cast<std::size_t>(out - begin);
}

void WriteNarrow(FILE* stream, DWORD standardHandle, const char* format, va_list arguments) {
  Format<char>(_vsnprintf, _vscprintf, format, arguments,
               [&](const char* text, std::size_t length) {
                 WriteBytes(stream, standardHandle, text, length);
               });
}

}  // namespace

void LogLine(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  WriteNarrow(stderr, STD_ERROR_HANDLE, format, arguments);
  va_end(arguments);
}

void LogLine(const wchar_t* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  Format<wchar_t>(
      _vsnwprintf, _vscwprintf, format, arguments, [](const wchar_t* text, std::size_t length) {
        // One byte more than the text needs: the encoder wants room for the longest
        // sequence before it takes a unit.
        LAUNCHER_UNFILLED ScratchMemory<char, kStackCharacters * kMaxBytesPerUnit + 1> bytes(
            length * kMaxBytesPerUnit + 1);
        const std::size_t size = EncodeUtf8(text, length, bytes.data(), bytes.size());
        WriteBytes(stderr, STD_ERROR_HANDLE, bytes.data(), size);
      });
  va_end(arguments);
}

void PrintText(const char* format, ...) noexcept {
  va_list arguments;
  va_start(arguments, format);
  WriteNarrow(stdout, STD_OUTPUT_HANDLE, format, arguments);
  va_end(arguments);
}

}  // namespace launcher
