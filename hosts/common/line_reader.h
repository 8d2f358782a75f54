// A reader for texts whose every line is known but for one value.
#ifndef LAUNCHER_HOSTS_COMMON_LINE_READER_H_
#define LAUNCHER_HOSTS_COMMON_LINE_READER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace host {

/// What a line holds between its beginning and its end.
struct LineValue {
  enum class Kind {
    kNothing,
    kNumber,       // decimal, up to `most`, as the launcher writes it: no sign, no leading zeros
    kTwoNumbers,   // an id of 64 bits, `":`, and a number up to `most`
    kWord,         // capitals and underscores, perhaps none
    kStrangeText,  // from a stranger and without escapes: it may even hold line ends
  };

  Kind kind = Kind::kNothing;
  std::uint64_t most = 0;
};

/// One form of line and which lines may follow, written down as numbers of places: a line of this
/// form occurs at the place `from` and leads to the place `to`.
struct LineForm {
  int from;
  std::string_view before;
  LineValue value;
  std::string_view after;
  int to;
};

/// A form as it was found, with its value.
struct FoundLine {
  std::size_t form;  // its index
  std::string_view value;
};

/// Knows the forms and reads texts. Takes time in proportion to the length of the text.
class LineReader {
 public:
  /// A text leads from the place 0 to the place `lastPlace`. Of the forms at one place at most one
  /// fits any line.
  LineReader(std::vector<LineForm> lineForms, int lastPlace);

  /// Every line of `text`, or nothing when it cannot be read. There are texts that can be read in
  /// several ways, because a stranger's text may imitate lines: of these the reading is returned
  /// whose texts hold the fewest line ends, and so, if there is one, the reading in which no text
  /// holds any; of that kind there is at most one.
  std::optional<std::vector<FoundLine>> Read(std::string_view text) const;

 private:
  class LongTextSearch;

  std::optional<std::vector<FoundLine>> ReadShortTexts(std::string_view text) const;
  const std::vector<std::size_t>& FormsAt(int place) const {
    return formsAt[static_cast<std::size_t>(place)];
  }

  std::vector<LineForm> forms;
  int last;
  std::vector<std::vector<std::size_t>> formsAt;  // by place: indices into `forms`
};

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_LINE_READER_H_
