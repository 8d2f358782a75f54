#include "tests/support/text.h"

#include <windows.h>

#include <cstdint>

namespace test_support {
namespace {

std::string Hex(std::uint64_t value, int digits, const char* alphabet) {
  std::string text(static_cast<std::size_t>(digits), '0');
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit, value >>= 4) {
    *digit = alphabet[value & 0xF];
  }
  return text;
}

}  // namespace

std::string Narrow(std::wstring_view wide) {
  const int length = static_cast<int>(wide.size());
  std::string narrow(wide.size() * 3, '\0');
  const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, narrow.data(),
                                       static_cast<int>(narrow.size()), nullptr, nullptr);
  narrow.resize(static_cast<std::size_t>(size));
  return narrow;
}

std::wstring Widen(std::string_view narrow) {
  std::wstring wide(narrow.size(), L'\0');
  const int length = MultiByteToWideChar(CP_UTF8, 0, narrow.data(), static_cast<int>(narrow.size()),
                                         wide.data(), static_cast<int>(wide.size()));
  wide.resize(static_cast<std::size_t>(length));
  return wide;
}

std::string PointerText(const void* value) {
  return Hex(reinterpret_cast<std::uintptr_t>(value), 16, "0123456789ABCDEF");
}

std::string HexText(unsigned int value) { return Hex(value, 8, "0123456789abcdef"); }

std::vector<std::string> Lines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

std::size_t CountOf(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos;
       at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

}  // namespace test_support
