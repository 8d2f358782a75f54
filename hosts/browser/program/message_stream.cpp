#include "hosts/browser/program/message_stream.h"

#include <array>
#include <cstddef>

#include "hosts/common/standard_streams.h"

namespace browser_host {
namespace {

constexpr std::size_t kLengthSize = 4;
constexpr unsigned int kBitsPerByte = 8;

bool ReadExactly(HANDLE stream, char* bytes, std::size_t size) {
  while (size > 0) {
    DWORD now = 0;
    if (!ReadFile(stream, bytes, static_cast<DWORD>(size), &now, nullptr) || now == 0) return false;
    bytes += now;
    size -= now;
  }
  return true;
}

}  // namespace

ReadResult ReadMessage(HANDLE stream, std::string& message) {
  std::array<char, kLengthSize> prefix{};
  if (!ReadExactly(stream, prefix.data(), prefix.size())) return ReadResult::kEnd;
  std::uint32_t length = 0;
  for (std::size_t i = 0; i < kLengthSize; ++i) {
    length |= std::uint32_t{static_cast<unsigned char>(prefix[i])} << (kBitsPerByte * i);
  }
  if (length > kLongestIncomingMessage) return ReadResult::kTooLong;
  message.resize(length);
  return ReadExactly(stream, message.data(), length) ? ReadResult::kMessage : ReadResult::kEnd;
}

bool WriteMessage(HANDLE stream, const std::string& message) {
  const auto length = static_cast<std::uint32_t>(message.size());
  std::string frame;
  for (std::size_t i = 0; i < kLengthSize; ++i) {
    frame += static_cast<char>(length >> (kBitsPerByte * i) & 0xFF);
  }
  frame += message;
  return host::WriteAll(stream, frame.data(), frame.size());
}

}  // namespace browser_host
