#include "tools/launcher-console/terminal_text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <iterator>

namespace console {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";
constexpr char32_t kInvalid = 0xFFFFFFFF;

struct Range {
  char32_t first;
  char32_t last;
};

// Control characters, line and paragraph separators, marks of direction, the byte order mark,
// annotations and tags.
constexpr Range kUnsafe[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},     {0x061C, 0x061C}, {0x200E, 0x200F},   {0x2028, 0x202E},
    {0x2066, 0x2069}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE007F}, {kInvalid, kInvalid}};

// What terminals give two columns: scripts and symbols of East Asia, and emoji.
constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},  {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF00, 0xFF60},  {0xFFE0, 0xFFE6},
    {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1FAFF}, {0x20000, 0x3FFFD}};

// Marks that share the column of the character before them.
constexpr Range kCombining[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x064B, 0x065F}, {0x0E34, 0x0E3A},
    {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200D}, {0x20D0, 0x20FF}, {0x302A, 0x302D},
    {0x3099, 0x309A}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}};

template <std::size_t size>
bool IsIn(const Range (&ranges)[size], char32_t character) {
  return std::any_of(std::begin(ranges), std::end(ranges), [character](const Range& range) {
    return character >= range.first && character <= range.last;
  });
}

struct Character {
  char32_t value;
  std::string_view bytes;
};

// The first character of a text that is not empty; a byte that begins none is `kInvalid`.
Character First(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  constexpr unsigned char kAsciiEnd = 0x80;
  const unsigned char lead = byte(0);
  if (lead < kAsciiEnd) return {lead, text.substr(0, 1)};
  const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  const Character invalid{kInvalid, text.substr(0, 1)};
  if (lead < 0xC2 || lead > 0xF4 || text.size() < size) return invalid;
  char32_t value = lead & (0x7FU >> size);
  for (std::size_t i = 1; i < size; ++i) {
    if ((byte(i) & 0xC0U) != 0x80) return invalid;
    value = value << 6 | (byte(i) & 0x3FU);
  }
  // Overlong forms, halves of pairs, beyond Unicode.
  constexpr std::array<char32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
  if (value < kLeast[size] || (value >= 0xD800 && value <= 0xDFFF) || value > 0x10FFFF) {
    return invalid;
  }
  return {value, text.substr(0, size)};
}

template <typename Visitor>
void ForEachCharacter(std::string_view text, const Visitor& visit) {
  while (!text.empty()) {
    const Character character = First(text);
    visit(character);
    text.remove_prefix(character.bytes.size());
  }
}

std::size_t WidthOf(char32_t character) {
  return IsIn(kCombining, character) ? 0 : IsIn(kWide, character) ? 2 : 1;
}

std::string EscapedUtf16(std::uint32_t unit) {
  char text[8];
  std::snprintf(text, sizeof(text), "\\u%04x", static_cast<unsigned int>(unit));
  return text;
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string printable;
  ForEachCharacter(text, [&printable](const Character& character) {
    printable += IsIn(kUnsafe, character.value) ? kReplacement : character.bytes;
  });
  return printable;
}

std::string PrintableJson(std::string_view json) {
  std::string printable;
  ForEachCharacter(json, [&printable](const Character& character) {
    constexpr char32_t kBeyondBasicPlane = 0x10000;
    if (character.value == '\n' || !IsIn(kUnsafe, character.value)) {
      printable += character.bytes;
    } else if (character.value == kInvalid) {
      printable += kReplacement;
    } else if (character.value < kBeyondBasicPlane) {
      printable += EscapedUtf16(character.value);
    } else {
      const std::uint32_t rest = character.value - kBeyondBasicPlane;
      printable += EscapedUtf16(0xD800 + (rest >> 10)) + EscapedUtf16(0xDC00 + (rest & 0x3FF));
    }
  });
  return printable;
}

std::size_t DisplayWidth(std::string_view text) {
  std::size_t width = 0;
  ForEachCharacter(text,
                   [&width](const Character& character) { width += WidthOf(character.value); });
  return width;
}

std::string Fitted(const std::string& text, std::size_t width) {
  if (DisplayWidth(text) <= width) return text;
  std::string fitted;
  std::size_t used = 1;  // the ellipsis
  bool isFull = false;
  ForEachCharacter(text, [&](const Character& character) {
    used += WidthOf(character.value);
    isFull = isFull || used > width;
    if (!isFull) fitted += character.bytes;
  });
  fitted += kEllipsis;
  return fitted;
}

std::vector<std::string> Wrapped(const std::string& line, std::size_t width) {
  constexpr std::size_t kLeastRoom = 20;
  const std::size_t begin = std::min(line.find_first_not_of(' '), line.size());
  std::size_t indent = begin;
  const std::size_t gap = line.find("  ", begin);
  if (begin > 0 && gap != std::string::npos) {
    indent = std::min(line.find_first_not_of(' ', gap), line.size());
  }
  if (indent + kLeastRoom > width) indent = begin;

  std::vector<std::string> lines;
  std::string rest = line;
  while (DisplayWidth(rest) > width) {
    std::size_t end = rest.rfind(' ', width);
    if (end == std::string::npos || end <= indent) break;
    lines.push_back(rest.substr(0, end));
    rest = std::string(indent, ' ') + rest.substr(end + 1);
  }
  lines.push_back(rest);
  return lines;
}

}  // namespace console
