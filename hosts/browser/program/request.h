// A request of a page, checked.
#ifndef LAUNCHER_HOSTS_BROWSER_PROGRAM_REQUEST_H_
#define LAUNCHER_HOSTS_BROWSER_PROGRAM_REQUEST_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "hosts/common/results.h"

namespace browser_host {

using host::Json;

/// Answers a request with an error, or takes the place of a result. The codes are in
/// docs/browser-host.md.
class RequestError : public std::runtime_error {
 public:
  RequestError(std::string errorCode, const std::string& message)
      : std::runtime_error(message), code(std::move(errorCode)) {}

  const std::string code;
};

/// {"id": 7, "method": "launch", "params": {...}}
class Request {
 public:
  /// Throws RequestError for a text that is no such request. `id` is good as soon as the text has
  /// one, so that the error can be answered.
  Request(const std::string& message, Json& id);

  const std::string& Method() const { return method; }
  const Json& Parameters() const { return parameters; }

  // Members of the parameters. Each throws RequestError when the member is missing, of another type
  // or too long.
  std::string Text(const char* name) const;
  std::string TextOr(const char* name, const std::string& byDefault) const;
  bool FlagOr(const char* name, bool byDefault) const;
  std::uint64_t Number(const char* name, std::uint64_t most) const;
  std::vector<std::string> Texts(const char* name, std::size_t most) const;
  /// The identifier of an application that the launcher knows.
  std::string AppId() const;

  static constexpr std::size_t kLongestText = 4096;  // bytes
  // Of a message; one with more is answered with "too_large".
  static constexpr int kMostLevels = 32;
  static constexpr std::size_t kMostMembers = 1000;

 private:
  const Json& Member(const char* name) const;

  std::string method;
  Json parameters;
};

}  // namespace browser_host

#endif  // LAUNCHER_HOSTS_BROWSER_PROGRAM_REQUEST_H_
