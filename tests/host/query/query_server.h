// A game server that a test plays, and what the host sees of a query.
#ifndef LAUNCHER_TESTS_HOST_QUERY_QUERY_SERVER_H_
#define LAUNCHER_TESTS_HOST_QUERY_QUERY_SERVER_H_

#include <optional>
#include <string>
#include <string_view>

#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/udp_peer.h"

namespace test_support {

/// Lets the library wait for a server's answers as long as a test may take, so that a busy machine
/// fails no test. Checks the time limit that the library gives.
class PatientSelect {
 public:
  /// Calls from `realFrom` on (from 0) keep the library's own limit.
  explicit PatientSelect(HMODULE module, std::size_t realFrom = SIZE_MAX);

 private:
  IMPORT_HOOK(select) hook;
};

/// Literal bytes, zeros included.
template <std::size_t size>
std::string BytesOf(const char (&literal)[size]) {
  return std::string(literal, size - 1);
}

/// The two requests that the server received, and their sender.
struct Exchange {
  std::string challengeRequest;
  std::string queryRequest;
  sockaddr_in client = {};
};

/// Receives the challenge request and answers it, then the query request. Missing requests stay
/// empty.
Exchange Serve(const UdpPeer& server, const std::string& challengeResponse,
               const std::string& queryResponse);

/// A response of version 3 that says as little as possible: no mode, no map, no teams.
std::string SmallResponse();

/// The JSON text of a query that has ended with this status before anything was decoded.
std::wstring JsonWithoutData(std::wstring_view status);

/// The JSON text of `SmallResponse`.
std::wstring SmallResponseJson();

/// The status in a result's JSON text, or "<none>".
std::wstring StatusOf(const std::optional<Event>& event);

}  // namespace test_support

#endif  // LAUNCHER_TESTS_HOST_QUERY_QUERY_SERVER_H_
