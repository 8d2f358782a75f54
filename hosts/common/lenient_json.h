// A reader for the launcher's JSON results, which no strict parser reads in every case.
#ifndef LAUNCHER_HOSTS_COMMON_LENIENT_JSON_H_
#define LAUNCHER_HOSTS_COMMON_LENIENT_JSON_H_

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// An object, an array, a text or a number.
struct JsonNode {
  std::string key;   // empty in an array and at the root
  std::string text;  // of a text or a number
  std::vector<JsonNode> children;

  /// The first child of that key. Throws std::runtime_error when there is none.
  const JsonNode& Child(std::string_view wanted) const;
};

/// Reads the result of a ping batch or of a server query, and repairs what sets them apart from
/// JSON:
///
/// * Texts that came from a server or from the host (the names of players, maps and modes,
///   addresses) stand between their quotation marks as they are, without escapes. A text is
///   therefore taken to end where the launcher's own next line begins, and not at the next
///   quotation mark.
/// * Players are members of an object, named by their ids, and two players may have the same id, as
///   computer players do. Both are kept.
///
/// Throws std::runtime_error for a text that is still no JSON then, or has other kinds of values or
/// more levels than the launcher writes.
JsonNode ReadLenientJson(const std::string& text);

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_LENIENT_JSON_H_
