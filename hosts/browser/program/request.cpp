#include "hosts/browser/program/request.h"

#include <algorithm>
#include <utility>

#include "hosts/common/known_applications.h"

namespace browser_host {
namespace {

[[noreturn]] void ThrowInvalid(const std::string& what) {
  throw RequestError("invalid_params", what);
}

const std::string& CheckedText(const Json& value, const std::string& name) {
  if (!value.is_string()) ThrowInvalid("'" + name + "' must be a text");
  const auto& text = value.get_ref<const std::string&>();
  if (text.size() > Request::kLongestText) ThrowInvalid("'" + name + "' is too long");
  // The launcher's texts end at their first zero.
  if (text.find('\0') != std::string::npos) ThrowInvalid("'" + name + "' holds a zero");
  return text;
}

}  // namespace

Request::Request(const std::string& message, Json& id) {
  int deepest = 0;
  std::size_t members = 0;
  // What is beyond a limit is not even kept: Json copies and prints itself by recursion, and looks
  // through all members of an object to add one.
  const auto keep = [&](int depth, Json::parse_event_t event, const Json&) {
    if (event == Json::parse_event_t::key) return ++members <= kMostMembers;
    if (event != Json::parse_event_t::object_start && event != Json::parse_event_t::array_start) {
      return true;
    }
    deepest = std::max(deepest, depth + 1);
    return deepest <= kMostLevels;
  };
  Json json = Json::parse(message, keep, false);
  if (!json.is_object()) throw RequestError("malformed", "a message must be a JSON object");
  const auto foundId = json.find("id");
  if (foundId == json.end() || !foundId->is_number_unsigned()) {
    throw RequestError("malformed", "'id' must be a whole number, 0 or more");
  }
  id = *foundId;
  if (deepest > kMostLevels || members > kMostMembers) {
    throw RequestError("too_large", "a message may have " + std::to_string(kMostLevels) +
                                        " levels and " + std::to_string(kMostMembers) + " members");
  }
  const auto foundMethod = json.find("method");
  if (foundMethod == json.end() || !foundMethod->is_string()) {
    throw RequestError("malformed", "'method' must be a text");
  }
  method = *foundMethod;
  parameters = json.value("params", Json::object());
  if (!parameters.is_object()) throw RequestError("malformed", "'params' must be an object");
}

const Json& Request::Member(const char* name) const {
  const auto found = parameters.find(name);
  if (found == parameters.end()) ThrowInvalid("'" + std::string(name) + "' is missing");
  return *found;
}

std::string Request::Text(const char* name) const { return CheckedText(Member(name), name); }

std::string Request::TextOr(const char* name, const std::string& byDefault) const {
  return parameters.contains(name) ? Text(name) : byDefault;
}

bool Request::FlagOr(const char* name, bool byDefault) const {
  if (!parameters.contains(name)) return byDefault;
  const Json& value = Member(name);
  if (!value.is_boolean()) ThrowInvalid("'" + std::string(name) + "' must be true or false");
  return value;
}

std::uint64_t Request::Number(const char* name, std::uint64_t most) const {
  const Json& value = Member(name);
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
    ThrowInvalid("'" + std::string(name) + "' must be a whole number from 0 to " +
                 std::to_string(most));
  }
  return value;
}

std::vector<std::string> Request::Texts(const char* name, std::size_t most) const {
  const Json& value = Member(name);
  if (!value.is_array() || value.size() > most) {
    ThrowInvalid("'" + std::string(name) + "' must be a list of at most " + std::to_string(most) +
                 " texts");
  }
  std::vector<std::string> texts;
  for (const Json& element : value) texts.push_back(CheckedText(element, name));
  return texts;
}

std::string Request::AppId() const {
  std::string appId = Text("appId");
  if (host::FindKnownApplication(appId) == nullptr) {
    throw RequestError("unknown_application", "the launcher knows no application '" + appId + "'");
  }
  return appId;
}

}  // namespace browser_host
