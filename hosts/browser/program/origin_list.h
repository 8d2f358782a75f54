// Who may use this program.
#ifndef LAUNCHER_HOSTS_BROWSER_PROGRAM_ORIGIN_LIST_H_
#define LAUNCHER_HOSTS_BROWSER_PROGRAM_ORIGIN_LIST_H_

#include <map>
#include <string>

namespace browser_host {

struct Permissions {
  /// May set the parameters that name the program of a game, and so start any program.
  bool probe = false;
};

/// A text with one origin a line, of the extension or of a page, as the browser spells it:
///
///   # a comment
///   chrome-extension://abcdefghijklmnopabcdefghijklmnop
///   https://games.example
///   http://127.0.0.1:8410 probe
///
/// There are no wildcards, and "http" only for this computer: whoever sits on the network could
/// pose as any other. One line that breaks a rule makes the whole list void, lest a slip of the pen
/// widens it.
class OriginList {
 public:
  /// Throws std::runtime_error that names the line.
  explicit OriginList(const std::string& text);

  /// Reads the file. Throws std::runtime_error when that fails, too.
  static OriginList Load(const std::wstring& path);

  /// Null when the origin is not listed. Compared byte by byte.
  const Permissions* Find(const std::string& origin) const;

 private:
  std::map<std::string, Permissions> origins;
};

}  // namespace browser_host

#endif  // LAUNCHER_HOSTS_BROWSER_PROGRAM_ORIGIN_LIST_H_
