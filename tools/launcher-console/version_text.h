// A version for one cell of a table.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_VERSION_TEXT_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_VERSION_TEXT_H_

#include <string>

#include "hosts/common/results.h"

namespace console {

/// A game's version is the whole text of its file "version.json". Its member "version" when it has
/// one, else the text as it is.
inline std::string ShortVersion(const std::string& text) {
  const host::Json json = host::Json::parse(text, nullptr, false);
  if (json.is_object() && json.contains("version") && json["version"].is_string()) {
    return json["version"];
  }
  return text;
}

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_VERSION_TEXT_H_
