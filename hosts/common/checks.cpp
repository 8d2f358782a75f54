#include "hosts/common/checks.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace host {
namespace {

// What Windows' code pages turn into "|" for want of anything better, in UTF-8, and the other bars.
constexpr std::array<std::string_view, 15> kLooksLikeBar{
    "\xC2\xA6",      // U+00A6 broken bar
    "\xC7\x80",      // U+01C0 dental click
    "\xE2\x80\x96",  // U+2016 double vertical line
    "\xE2\x86\x95",  // U+2195 up down arrow
    "\xE2\x86\xA8",  // U+21A8 up down arrow with base
    "\xE2\x88\xA3",  // U+2223 divides
    "\xE2\x88\xA5",  // U+2225 parallel to
    "\xE2\x8F\x90",  // U+23D0 vertical line extension
    "\xE2\x94\x82",  // U+2502 box drawings, light vertical
    "\xE2\x94\x83",  // U+2503 box drawings, heavy vertical
    "\xE2\x95\x91",  // U+2551 box drawings, double vertical
    "\xE2\x9D\x98",  // U+2758 light vertical bar
    "\xEF\xBD\x9C",  // U+FF5C fullwidth vertical line
    "\xEF\xBF\xA4",  // U+FFE4 fullwidth broken bar
    "\xEF\xBF\xA8",  // U+FFE8 halfwidth forms, light vertical
};

}  // namespace

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
  for (const std::string_view bar : kLooksLikeBar) {
    if (text.find(bar) != std::string_view::npos) return false;
  }
  // Bytes of letters beyond ASCII are negative here and welcome.
  return std::none_of(text.begin(), text.end(), [](char c) {
    return c == '|' || c == kDelete || (c >= 0 && c < kFirstPrintable);
  });
}

bool IsPartOfLink(std::string_view text) {
  static constexpr std::string_view kMarks = "-._~:/?#[]@!$&'()*+,;=%";
  return std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           kMarks.find(c) != std::string_view::npos;
  });
}

}  // namespace host
