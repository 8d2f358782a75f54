/// Bytes on the wire, field by field, for a person who compares them with docs/formats.md. No Windows
/// header, no input or output.
#ifndef LAUNCHER_KIT_FIELDS_H_
#define LAUNCHER_KIT_FIELDS_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kit/wire.h"

namespace kit {

struct Field {
  std::size_t offset = 0;
  Bytes bytes;
  std::string name;
  std::string value;
};

/// "0A FF"; of more than `most` bytes the first ones and "..".
inline std::string Hex(const Bytes& bytes, std::size_t most) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (std::size_t i = 0; i < std::min(bytes.size(), most); ++i) {
    if (i > 0) text += ' ';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0xF];
  }
  return bytes.size() > most ? text + ".." : text;
}

/// In quotes. Anything but printable ASCII is written as \xNN: exact to the byte, and nothing in a
/// player's name can steer the terminal.
inline std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (byte < 0x20 || byte > 0x7E || c == '"' || c == '\\') {
      quoted += "\\x" + Hex({byte}, 1);
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

/// "   19  61 62                     arguments                 "ab""
inline std::string Describe(const Field& field) {
  constexpr std::size_t kOffsetWidth = 5;
  constexpr std::size_t kMaxBytes = 8;
  constexpr std::size_t kBytesWidth = 3 * kMaxBytes + 2;
  constexpr std::size_t kNameWidth = 28;
  const auto pad = [](std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width), ' ');
    return text;
  };
  const std::string offset = std::to_string(field.offset);
  std::string line(kOffsetWidth - std::min(kOffsetWidth, offset.size()), ' ');
  line += offset + "  " + pad(Hex(field.bytes, kMaxBytes), kBytesWidth);
  line += field.value.empty() ? field.name : pad(field.name, kNameWidth) + field.value;
  return line;
}

/// The fields of a command's frame, in order.
inline std::vector<Field> FrameFields(const Command& command) {
  const Bytes frame = EncodeFrame(command);
  std::vector<Field> fields;
  std::size_t offset = 0;
  const auto add = [&](std::size_t size, const char* name, std::string value) {
    const auto begin = frame.begin() + static_cast<std::ptrdiff_t>(offset);
    fields.push_back(
        {offset, Bytes(begin, begin + static_cast<std::ptrdiff_t>(size)), name, std::move(value)});
    offset += size;
  };
  add(2, "\"KE\"", "");
  add(2, "total length", std::to_string(frame.size()));
  add(1, "length of the name", std::to_string(command.name.size()));
  add(command.name.size(), "name", Quoted(command.name));
  add(2, "length of the arguments", std::to_string(command.arguments.size()));
  add(command.arguments.size(), "arguments", Quoted(command.arguments));
  return fields;
}

}  // namespace kit

#endif  // LAUNCHER_KIT_FIELDS_H_
