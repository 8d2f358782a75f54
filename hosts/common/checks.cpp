#include "hosts/common/checks.h"

#include <algorithm>
#include <charconv>

namespace host {

std::optional<std::uint64_t> ParseNumber(std::string_view text, std::uint64_t most) {
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || value > most) return std::nullopt;
  return value;
}

bool IsIpv4Address(std::string_view text) {
  constexpr std::uint64_t kMaxPart = 255;
  constexpr int kParts = 4;
  for (int part = 1;; ++part) {
    const std::size_t dot = text.find('.');
    const std::string_view digits = text.substr(0, dot);
    if (!ParseNumber(digits, kMaxPart)) return false;
    if (digits.size() > 1 && digits.front() == '0') return false;
    if (dot == std::string_view::npos) return part == kParts;
    if (part == kParts) return false;
    text.remove_prefix(dot + 1);
  }
}

bool FitsHelperLine(std::string_view text) {
  constexpr char kFirstPrintable = 0x20;
  constexpr char kDelete = 0x7F;
  // Bytes of letters beyond ASCII are negative here and welcome.
  return std::none_of(text.begin(), text.end(), [](char c) {
    return c == '|' || c == kDelete || (c >= 0 && c < kFirstPrintable);
  });
}

}  // namespace host
