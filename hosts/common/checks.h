// Checks of what people and pages hand to a host, before the launcher gets it: the launcher takes
// texts as they are.
#ifndef LAUNCHER_HOSTS_COMMON_CHECKS_H_
#define LAUNCHER_HOSTS_COMMON_CHECKS_H_

#include <cstdint>
#include <optional>
#include <string_view>

namespace host {

/// Four decimal numbers from 0 to 255 without leading zeros (some readers take those for octal).
bool IsIpv4Address(std::string_view text);

/// A decimal number without sign, up to `most`.
std::optional<std::uint64_t> ParseNumber(std::string_view text, std::uint64_t most);

/// Whether a text in UTF-8 can be a field of the helper's line of parameters, where "|" separates
/// fields and the line ends the request. That character cannot, nor can one that some code page turns
/// into it (the helper may take the line as such), nor a control character.
bool FitsHelperLine(std::string_view text);

/// Whether a text holds characters of a link alone, as RFC 3986 lists them.
bool IsPartOfLink(std::string_view text);

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_CHECKS_H_
