#include "core/text.h"

#include <array>
#include <cstddef>
#include <cwchar>
#include <memory>

#include "core/windows_api.h"

namespace launcher {
namespace {

// Generous on purpose: a UTF-16 code unit needs at most three bytes.
constexpr std::size_t kNarrowBytesPerUnit = 8;

// The terminator and one spare character, so that the text stays terminated even when the conversion
// of the last bytes fails.
constexpr std::size_t kWideSpare = 2;

// Texts up to this length are converted on the stack.
constexpr std::size_t kStackBytes = 256;

}  // namespace

std::string WideToUtf8(const std::wstring& wide) {
  const std::size_t capacity = wide.size() * kNarrowBytesPerUnit + 1;
  const auto buffer = std::make_unique<char[]>(capacity);
  WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), static_cast<int>(wide.size() + 1), buffer.get(),
                      static_cast<int>(capacity), nullptr, nullptr);
  return buffer.get();
}

void AppendUtf8ToWide(std::string_view narrow, std::wstring& wide) {
  const std::size_t capacity = narrow.size() + kWideSpare;
  std::array<wchar_t, kStackBytes + kWideSpare> stackBuffer;
  std::unique_ptr<wchar_t[]> heapBuffer;
  wchar_t* buffer = stackBuffer.data();
  if (capacity > stackBuffer.size()) {
    heapBuffer = std::make_unique_for_overwrite<wchar_t[]>(capacity);
    buffer = heapBuffer.get();
  }
  const int written =
      MultiByteToWideChar(CP_UTF8, 0, narrow.data(), static_cast<int>(narrow.size() + 1), buffer,
                          static_cast<int>(capacity));
  // The count includes the terminator; a failed conversion wrote nothing that may be read.
  if (written > 0) {
    buffer[written] = L'\0';
    wide.append(buffer, wcslen(buffer));
  }
}

std::wstring Utf8ToWide(const std::string& narrow) {
  std::wstring wide;
  AppendUtf8ToWide(narrow, wide);
  return wide;
}

}  // namespace launcher
