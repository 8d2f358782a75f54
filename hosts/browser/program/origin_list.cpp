#include "hosts/browser/program/origin_list.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "hosts/common/text.h"

namespace browser_host {
namespace {

constexpr std::string_view kExtension = "chrome-extension://";
constexpr std::string_view kSecure = "https://";
constexpr std::string_view kPlain = "http://";
constexpr std::size_t kExtensionIdLength = 32;

bool IsExtensionId(std::string_view id) {
  return id.size() == kExtensionIdLength &&
         std::all_of(id.begin(), id.end(), [](char c) { return c >= 'a' && c <= 'p'; });
}

bool IsDigits(std::string_view text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The host without its port, or an empty text when the two have another form. Small letters, as
// browsers spell hosts.
std::string_view HostOf(std::string_view hostAndPort) {
  const std::size_t colon = hostAndPort.find(':');
  const std::string_view name = hostAndPort.substr(0, colon);
  if (colon != std::string_view::npos && !IsDigits(hostAndPort.substr(colon + 1))) return {};
  const bool isWellFormed = std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.';
  });
  return isWellFormed ? name : std::string_view();
}

bool IsOrigin(std::string_view text) {
  if (text.starts_with(kExtension)) return IsExtensionId(text.substr(kExtension.size()));
  if (text.starts_with(kSecure)) return !HostOf(text.substr(kSecure.size())).empty();
  if (!text.starts_with(kPlain)) return false;
  const std::string_view name = HostOf(text.substr(kPlain.size()));
  return name == "127.0.0.1" || name == "localhost";
}

}  // namespace

OriginList::OriginList(const std::string& text) {
  std::istringstream lines(text);
  int number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    std::istringstream words(line);
    std::string origin;
    if (!(words >> origin) || origin.front() == '#') continue;
    bool isGood = IsOrigin(origin);
    Permissions permissions;
    for (std::string word; words >> word;) {
      isGood = isGood && word == "probe";
      permissions.probe = true;
    }
    if (!isGood) {
      throw std::runtime_error("line " + std::to_string(number) +
                               " of the list of origins is not understood: " + line);
    }
    origins[origin] = permissions;
  }
}

OriginList OriginList::Load(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  if (!file) throw std::runtime_error("cannot read the list of origins " + host::ToUtf8(path));
  return OriginList(text.str());
}

const Permissions* OriginList::Find(const std::string& origin) const {
  const auto found = origins.find(origin);
  return found == origins.end() ? nullptr : &found->second;
}

}  // namespace browser_host
