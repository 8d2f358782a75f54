// Everything that the console writes.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_OUTPUT_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_OUTPUT_H_

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

#include "hosts/common/results.h"

namespace console {

using host::Json;

using Row = std::vector<std::string>;

/// Which columns of a table hold numbers and are lined up on the right.
enum class Align { kLeft, kRight };

/// One of the process's two output streams. UTF-8; a console window gets it as UTF-16, whatever its
/// code page. A text that came from a game or a server cannot move the cursor: control characters
/// are shown as U+FFFD.
class Output {
 public:
  explicit Output(HANDLE outputStream);

  /// Whether a person looks at it, so that lines may be overwritten.
  bool IsConsole() const { return isConsole; }

  void Line(const std::string& text = "");
  /// Overwrites itself at the next call; nothing unless a person looks.
  void Progress(const std::string& text);
  void Document(const Json& json);
  /// One line.
  void Record(const Json& json);
  /// The first row is the headline. Cells are cut to `kLongestCell` characters.
  void Table(const std::vector<Row>& rows, const std::vector<Align>& columns);

  static constexpr std::size_t kLongestCell = 48;

 private:
  void Write(const std::string& text);
  void ClearProgress();

  HANDLE stream;
  bool isConsole;
  std::size_t progressLength = 0;
};

/// Replaces control characters.
std::string Printable(std::string_view text);

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_OUTPUT_H_
