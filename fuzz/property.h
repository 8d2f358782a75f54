// What fuzzers and their replay share. A property is a function of arbitrary bytes that throws
// PropertyViolation when the library does not keep a promise: libFuzzer then stops with the input
// in a file, and the replay test fails with the text.
#ifndef LAUNCHER_FUZZ_PROPERTY_H_
#define LAUNCHER_FUZZ_PROPERTY_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace fuzz {

using ByteSpan = std::span<const std::uint8_t>;

class PropertyViolation : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline void Require(bool kept, const char* promise) {
  if (!kept) throw PropertyViolation(std::string("not kept: ") + promise);
}

/// Takes an input apart from its front. Where the input has ended, everything is zero or empty, so
/// that every input means something.
class Input {
 public:
  explicit Input(ByteSpan data) : rest(data) {}

  bool Empty() const { return rest.empty(); }

  std::uint8_t Byte() {
    if (rest.empty()) return 0;
    const std::uint8_t value = rest.front();
    rest = rest.subspan(1);
    return value;
  }

  std::uint64_t BigEndian(std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) value = value << 8 | Byte();
    return value;
  }

  /// At most `count` bytes.
  ByteSpan Bytes(std::size_t count) {
    const ByteSpan taken = rest.first(count < rest.size() ? count : rest.size());
    rest = rest.subspan(taken.size());
    return taken;
  }

  std::string Text(std::size_t count) {
    const ByteSpan bytes = Bytes(count);
    return {bytes.begin(), bytes.end()};
  }

  ByteSpan Rest() { return Bytes(rest.size()); }

 private:
  ByteSpan rest;
};

}  // namespace fuzz

#endif  // LAUNCHER_FUZZ_PROPERTY_H_
