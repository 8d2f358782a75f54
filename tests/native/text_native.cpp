// The text conversions for builds without Windows, where wide text has 32-bit characters. Invalid
// bytes become U+FFFD, one for each byte.
#include "core/text.h"

#include <cstddef>
#include <cstdint>

namespace launcher {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Decoded {
  char32_t codePoint;
  std::size_t length;
};

Decoded DecodeOne(std::string_view bytes) {
  const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
  const std::uint8_t lead = byteAt(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead >= 0xF0 && lead < 0xF5   ? 4
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                                                           : 0;
  if (length == 0 || bytes.size() < length) return {kReplacement, 1};
  char32_t codePoint = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byteAt(i) & 0xC0) != 0x80) return {kReplacement, 1};
    codePoint = codePoint << 6 | (byteAt(i) & 0x3FU);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = codePoint >= 0xD800 && codePoint < 0xE000;
  if (codePoint < kSmallest[length] || codePoint > 0x10FFFF || surrogate) return {kReplacement, 1};
  return {codePoint, length};
}

void AppendByte(std::string& text, char32_t value) { text += static_cast<char>(value & 0xFF); }

void AppendContinuation(std::string& text, char32_t codePoint, unsigned int shift) {
  AppendByte(text, 0x80 | ((codePoint >> shift) & 0x3F));
}

}  // namespace

std::string WideToUtf8(const std::wstring& wide) {
  std::string narrow;
  for (const wchar_t character : wide) {
    auto codePoint = static_cast<char32_t>(character);
    if (codePoint == 0) break;
    if ((codePoint >= 0xD800 && codePoint < 0xE000) || codePoint > 0x10FFFF) {
      codePoint = kReplacement;
    }
    if (codePoint < 0x80) {
      AppendByte(narrow, codePoint);
    } else if (codePoint < 0x800) {
      AppendByte(narrow, 0xC0 | (codePoint >> 6));
      AppendContinuation(narrow, codePoint, 0);
    } else if (codePoint < 0x10000) {
      AppendByte(narrow, 0xE0 | (codePoint >> 12));
      AppendContinuation(narrow, codePoint, 6);
      AppendContinuation(narrow, codePoint, 0);
    } else {
      AppendByte(narrow, 0xF0 | (codePoint >> 18));
      AppendContinuation(narrow, codePoint, 12);
      AppendContinuation(narrow, codePoint, 6);
      AppendContinuation(narrow, codePoint, 0);
    }
  }
  return narrow;
}

std::size_t Utf8ToWide(std::string_view narrow, wchar_t* wide) {
  narrow = narrow.substr(0, narrow.find('\0'));
  wchar_t* end = wide;
  while (!narrow.empty()) {
    const Decoded decoded = DecodeOne(narrow);
    *end++ = static_cast<wchar_t>(decoded.codePoint);
    narrow.remove_prefix(decoded.length);
  }
  *end = L'\0';
  return static_cast<std::size_t>(end - wide);
}

std::wstring Utf8ToWide(const std::string& narrow) {
  std::wstring wide(WideCapacity(narrow.size()), L'\0');
  wide.resize(Utf8ToWide(narrow, wide.data()));
  return wide;
}

}  // namespace launcher
