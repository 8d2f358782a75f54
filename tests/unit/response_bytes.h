// Responses of game servers, for the tests of their decoding.
#ifndef LAUNCHER_TESTS_UNIT_RESPONSE_BYTES_H_
#define LAUNCHER_TESTS_UNIT_RESPONSE_BYTES_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "query/net_message.h"
#include "query/query_json.h"
#include "query/query_response.h"

namespace launcher {

using Bytes = std::vector<std::uint8_t>;

inline Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes joined;
  for (const Bytes& part : parts) joined.insert(joined.end(), part.begin(), part.end());
  return joined;
}

/// The bytes of a text, without a length.
inline Bytes Ascii(std::string_view text) { return {text.begin(), text.end()}; }

/// The result's text.
inline std::wstring QueryJson(const QueryResult& result) {
  return MakeQueryEvent({}, result)->GetArg1();
}

/// A response that was decoded as a query's thread does it.
struct Decoded {
  QueryResult result;
  /// The response ended before it was decoded.
  bool cutShort = false;
  std::size_t consumed = 0;
};

/// Decodes into `into`, for the rare test that wants data there before.
inline void DecodeInto(Decoded& into, std::span<const std::uint8_t> response) {
  NetMessage message = NetMessage::MakeIncoming();
  // Bytes of an earlier, longer datagram follow the response.
  std::fill_n(message.Buffer(), NetMessage::kCapacity, std::uint8_t{0x5A});
  std::copy(response.begin(), response.end(), message.Buffer());
  message.SetSize(response.size());
  try {
    QueryParseResponse(into.result, message);
  } catch (const NetMessageException&) {
    into.cutShort = true;
  }
  into.consumed = message.Cursor();
}

inline Decoded Decode(std::span<const std::uint8_t> response) {
  Decoded decoded;
  DecodeInto(decoded, response);
  return decoded;
}

}  // namespace launcher

#endif  // LAUNCHER_TESTS_UNIT_RESPONSE_BYTES_H_
