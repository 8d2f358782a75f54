// The parameters that `set` remembers from one run to the next.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SETTINGS_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SETTINGS_H_

#include <string>

#include "hosts/common/results.h"

namespace console {

/// A file with one JSON object for each application. The launcher itself forgets its parameters
/// when it is destroyed, which for a console is at the end of every command.
class Settings {
 public:
  /// A missing file holds no parameters. Throws CommandError for one that cannot be read.
  explicit Settings(std::wstring filePath);

  /// {"BRENNA-GAME": {"probeMethod": "path"}}
  const host::Json& Parameters() const { return parameters; }

  void Set(const std::string& appId, const std::string& key, const std::string& value);
  /// Whether there was such a parameter.
  bool Remove(const std::string& appId, const std::string& key);
  /// Writes the file: the old one stays until the new one is complete. Throws CommandError.
  void Save() const;

  const std::wstring& Path() const { return path; }

  /// In the user's folder for the data of programs, on this computer.
  static std::wstring DefaultPath();

 private:
  std::wstring path;
  host::Json parameters = host::Json::object();
};

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SETTINGS_H_
