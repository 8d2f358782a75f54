// The bounds-checked byte stream of the server query. Nothing else in the query code touches the
// bytes of a datagram. Numbers are big-endian on the wire; a string is one length byte and as many
// bytes.
#ifndef LAUNCHER_QUERY_NET_MESSAGE_H_
#define LAUNCHER_QUERY_NET_MESSAGE_H_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

namespace launcher {

/// Thrown when a read or a write would pass the end of a NetMessage.
class NetMessageException : public std::exception {};

/// A buffer with a cursor. Every access that would pass the end writes a diagnostic line and throws
/// NetMessageException, with the cursor and the buffer left as they were. One thread.
class NetMessage {
 public:
  static constexpr std::size_t kCapacity = 0x10000;

  /// A message to be built and sent. Throws std::bad_alloc.
  static NetMessage MakeOutgoing();

  /// A message to be received into: fill `Buffer()`, then tell `SetSize`. Throws std::bad_alloc.
  static NetMessage MakeIncoming();

  NetMessage(NetMessage&&) = default;
  NetMessage(const NetMessage&) = delete;
  NetMessage& operator=(const NetMessage&) = delete;
  virtual ~NetMessage();

  /// The whole buffer, `kCapacity` bytes.
  std::uint8_t* Buffer() { return data.get(); }
  std::size_t Cursor() const { return cursor; }
  std::size_t Size() const { return size; }
  bool IsWritable() const { return writable; }

  /// The number of bytes received, at most `kCapacity`.
  void SetSize(std::size_t receivedSize) { size = receivedSize; }

  void SegmentRead(void* destination, std::size_t count);
  std::uint8_t ReadByte() { return ReadNumber<std::uint8_t>(); }
  std::uint16_t Read16() { return ReadNumber<std::uint16_t>(); }
  std::uint32_t Read32() { return ReadNumber<std::uint32_t>(); }
  std::uint64_t Read64() { return ReadNumber<std::uint64_t>(); }

  /// The text up to the first zero byte; all bytes that the length byte announces are consumed.
  /// Valid until the next call; a zero byte stands behind it.
  std::string_view ReadString();

  /// Appends bytes, big-endian numbers.
  void SegmentWrite(std::span<const std::uint8_t> bytes);
  void SegmentWrite(std::uint32_t value);
  void SegmentWrite(std::uint64_t value);

 private:
  static constexpr std::size_t kMaxString = 255;

  NetMessage(std::size_t bound, bool forWriting);

  [[noreturn]] static void FailRead(std::size_t count, std::size_t cursor, std::size_t size);

  // Room is tested by subtraction, so that no sum can overflow: the cursor never passes the size.
  const std::uint8_t* Take(std::size_t count) {
    if (count > size - cursor) FailRead(count, cursor, size);
    const std::uint8_t* const bytes = data.get() + cursor;
    cursor += count;
    return bytes;
  }

  // Spelled as one sum, which compilers turn into one load and a byte swap; a loop they leave a
  // loop.
  template <typename Number, std::size_t... Index>
  static Number FromBigEndian(const std::uint8_t* bytes,
                              std::index_sequence<Index...> /*offsets*/) {
    return static_cast<Number>(
        ((std::uint64_t{bytes[Index]} << (8 * (sizeof...(Index) - 1 - Index))) | ...));
  }

  template <typename Number>
  Number ReadNumber() {
    constexpr auto kBytes = std::make_index_sequence<sizeof(Number)>();
    return FromBigEndian<Number>(Take(sizeof(Number)), kBytes);
  }

  std::size_t cursor = 0;
  std::unique_ptr<std::uint8_t[]> data;
  std::size_t size;
  bool writable;
  char stringBuffer[kMaxString + 1];
};

}  // namespace launcher

#endif  // LAUNCHER_QUERY_NET_MESSAGE_H_
