// Reads the JSON texts that a ping batch and a server query end with.
#ifndef LAUNCHER_HOSTS_COMMON_RESULTS_H_
#define LAUNCHER_HOSTS_COMMON_RESULTS_H_

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "launcher/results.hpp"

namespace host {

/// Keeps the order in which members are added.
using Json = nlohmann::ordered_json;

using launcher_host::ModeRow;
using launcher_host::NamedNumbers;
using launcher_host::Player;
using launcher_host::Team;

/// The last address of every batch: one that cannot answer. A helper that was there has written
/// something other than 0 for it, while a batch that no helper answered is all 0. This is the only
/// difference between a time of less than a millisecond and no time at all.
inline constexpr char kImpossibleAddress[] = "256.0.0.1";

struct PingAnswer {
  std::string address;
  std::optional<std::uint32_t> milliseconds;  // nothing for an address that did not answer
};

struct PingResult {
  /// Whether the helper has written times. It is missing, does not start or does not answer when not.
  bool hasTimes = false;
  std::vector<PingAnswer> times;  // without that of the impossible address
};

/// What a server reports, and how far it can be believed. The launcher writes the texts of strangers
/// (names, tags, map and mode) without escapes, between lines of its own, so that a text with line
/// ends in it can imitate those lines and pretend other players.
struct ServerState : launcher_host::ServerState {
  /// A text holds a line end: somebody is trying that. Such texts are cut out (they are empty here), and
  /// numbers and other names may be false.
  bool suspicious = false;
  /// No text holds a line end as it was read, but the same lines could come from one player less,
  /// whose name or tag imitates the end of one player and the beginning of another. Short names and
  /// numbers beside each other are enough for that, so most such servers are honest. A server that
  /// is neither suspicious nor ambiguous sent exactly what is read here.
  bool ambiguous = false;
};

/// Both take the text of the event, read exactly the lines that the launcher writes, and throw
/// std::runtime_error for a text that it cannot have written. No server can make it write one. The
/// batch must have ended with the impossible address.
PingResult ReadPingResult(const std::string& text);
ServerState ReadQueryResult(const std::string& text);

/// The same as strict JSON, for programs that read this one's output.
Json ToJson(const ServerState& state);

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_RESULTS_H_
