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

enum class Colour { kNone, kGreen, kYellow, kRed };

/// One of the process's two output streams. UTF-8; a console window gets it as UTF-16, whatever its
/// code page. A text that came from a game or a server cannot move the cursor: what could is shown
/// as U+FFFD, and as \uXXXX in JSON.
class Output {
 public:
  explicit Output(HANDLE outputStream);

  /// Whether it is a console window, in which lines may be overwritten.
  bool IsConsole() const { return isConsole; }
  /// Columns of the window; 80 when there is none.
  std::size_t Width() const;

  void Line(const std::string& text = "");
  /// A word in colour, filled up to `width`, and a text after it. Colour only
  /// in a console window, and not when the environment variable NO_COLOR is set.
  void Marked(Colour colour, const std::string& word, std::size_t width, const std::string& text);
  /// A line that the next output overwrites. Written to a console window only.
  void Progress(const std::string& text);
  void Document(const Json& json);
  /// One line.
  void Record(const Json& json);
  /// The first row is the headline. Cells are cut to `kLongestCell` columns.
  void Table(const std::vector<Row>& rows, const std::vector<Align>& columns);
  /// In a console window, each call makes what follows overwrite what was written since the last
  /// one; elsewhere an empty line separates the two.
  void Redraw();

  static constexpr std::size_t kLongestCell = 48;

 private:
  void Write(const std::string& text);
  void ClearProgress();

  HANDLE stream;
  bool isConsole;
  bool hasSequences = false;  // understands colours and movements
  bool hasColours = false;
  bool isRedrawn = false;
  std::size_t linesToRedraw = 0;
  std::size_t progressLength = 0;
};

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_OUTPUT_H_
