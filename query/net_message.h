// The bounds-checked byte stream of the server query. Nothing else in the query code touches the
// bytes of a datagram. Numbers are big-endian on the wire; a string is one length byte and as many
// bytes.
#ifndef LAUNCHER_QUERY_NET_MESSAGE_H_
#define LAUNCHER_QUERY_NET_MESSAGE_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <span>
#include <string_view>

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

  /// A message to be received into: fill `Buffer()`, then call `SetSize`. Throws std::bad_alloc.
  static NetMessage MakeIncoming();

  NetMessage(NetMessage&&) = default;
  NetMessage(const NetMessage&) = delete;
  NetMessage& operator=(const NetMessage&) = delete;
  virtual ~NetMessage();

  /// `kCapacity` bytes, until `SetSize`.
  std::uint8_t* Buffer() { return data.get(); }
  std::size_t Cursor() const { return cursor; }
  std::size_t Size() const { return size; }
  bool IsWritable() const { return writable; }

  /// The number of bytes received, at most `kCapacity`. The rest of the buffer is given back, which
  /// may move it.
  void SetSize(std::size_t receivedSize);

  void SegmentRead(void* destination, std::size_t count);
  std::uint8_t ReadByte() { return ReadNumber<std::uint8_t>(); }
  std::uint16_t Read16() { return ReadNumber<std::uint16_t>(); }
  std::uint32_t Read32() { return ReadNumber<std::uint32_t>(); }
  std::uint64_t Read64() { return ReadNumber<std::uint64_t>(); }

  /// The text up to the first zero byte; all bytes that the length byte announces are consumed.
  /// Valid until the next call; a zero byte follows it.
  std::string_view ReadString();

  /// Appends bytes, big-endian numbers.
  void SegmentWrite(std::span<const std::uint8_t> bytes);
  void SegmentWrite(std::uint32_t value);
  void SegmentWrite(std::uint64_t value);

 private:
  static constexpr std::size_t kMaxString = 255;

  struct FreeDeleter {
    void operator()(std::uint8_t* memory) const { std::free(memory); }
  };

  NetMessage(std::size_t bound, bool forWriting);

  [[noreturn]] static void FailRead(std::size_t count, std::size_t cursor, std::size_t size);

  // Room is tested by subtraction, so that no sum can overflow: the cursor never passes the size.
  const std::uint8_t* Take(std::size_t count) {
    if (count > size - cursor) FailRead(count, cursor, size);
    const std::uint8_t* const bytes = data.get() + cursor;
    cursor += count;
    return bytes;
  }

  template <typename Number>
  Number ReadNumber() {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : std::span(Take(sizeof(Number)), sizeof(Number))) {
      value = value << 8 | byte;
    }
    return static_cast<Number>(value);
  }

  std::size_t cursor = 0;
  std::unique_ptr<std::uint8_t, FreeDeleter> data;
  // The bound of every access: of a message to be sent the capacity, of a received one its bytes.
  std::size_t size;
  // Whether the message is one to be sent. Says what it is for; what may be done with it follows
  // from `size` alone.
  bool writable;
  char stringBuffer[kMaxString + 1];
};

}  // namespace launcher

#endif  // LAUNCHER_QUERY_NET_MESSAGE_H_
