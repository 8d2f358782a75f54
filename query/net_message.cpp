#include "query/net_message.h"

#include <algorithm>
#include <new>

#include "core/log.h"

namespace launcher {
namespace {

[[noreturn]] void FailWrite(std::size_t count, std::size_t cursor, std::size_t size) {
  LogLine("%s: Attempting write %u bytes to offset %u to stream of %u bytes\n",
          "NetMessage::SegmentWrite", static_cast<unsigned int>(count),
          static_cast<unsigned int>(cursor), static_cast<unsigned int>(size));
  throw NetMessageException();
}

template <typename Number>
void ToBigEndian(Number value, std::uint8_t (&bytes)[sizeof(Number)]) {
  for (std::size_t i = sizeof(Number); i-- > 0; value >>= 8) {
    bytes[i] = static_cast<std::uint8_t>(value & 0xFF);
  }
}

}  // namespace

NetMessage NetMessage::MakeOutgoing() { return {kCapacity, true}; }

NetMessage NetMessage::MakeIncoming() { return {0, false}; }

NetMessage::NetMessage(std::size_t bound, bool forWriting)
    : data(static_cast<std::uint8_t*>(std::malloc(kCapacity))), size(bound), writable(forWriting) {
  if (data == nullptr) throw std::bad_alloc();
}

NetMessage::~NetMessage() = default;

void NetMessage::SetSize(std::size_t receivedSize) {
  size = receivedSize;
  // Servers send a few KiB. With the rest of the buffer still taken, what is made of the response
  // would lie after it in memory that the system has to provide anew for each query.
  void* const shrunk = std::realloc(data.get(), std::max<std::size_t>(size, 1));
  if (shrunk == nullptr) return;
  static_cast<void>(data.release());
  data.reset(static_cast<std::uint8_t*>(shrunk));
}

void NetMessage::FailRead(std::size_t count, std::size_t cursor, std::size_t size) {
  LogLine("%s: Attempting read %u bytes from offset %u from stream of %u bytes\n",
          "NetMessage::SegmentRead", static_cast<unsigned int>(count),
          static_cast<unsigned int>(cursor), static_cast<unsigned int>(size));
  throw NetMessageException();
}

void NetMessage::SegmentRead(void* destination, std::size_t count) {
  std::copy_n(Take(count), count, static_cast<std::uint8_t*>(destination));
}

std::string_view NetMessage::ReadString() {
  const std::size_t announced = ReadByte();
  const std::span bytes(Take(announced), announced);
  char* const end =
      std::copy(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0'), stringBuffer);
  *end = '\0';
  return {stringBuffer, end};
}

void NetMessage::SegmentWrite(std::span<const std::uint8_t> bytes) {
  if (bytes.size() > size - cursor) FailWrite(bytes.size(), cursor, size);
  std::copy(bytes.begin(), bytes.end(), data.get() + cursor);
  cursor += bytes.size();
}

void NetMessage::SegmentWrite(std::uint32_t value) {
  std::uint8_t bytes[sizeof(value)];
  ToBigEndian(value, bytes);
  SegmentWrite(bytes);
}

void NetMessage::SegmentWrite(std::uint64_t value) {
  std::uint8_t bytes[sizeof(value)];
  ToBigEndian(value, bytes);
  SegmentWrite(bytes);
}

}  // namespace launcher
