#include "tools/launcher-console/output.h"

#include <algorithm>

#include "hosts/common/standard_streams.h"
#include "hosts/common/text.h"
#include "tools/launcher-console/terminal_text.h"

namespace console {
namespace {

constexpr std::string_view kGap = "  ";  // between two columns

std::string Cell(const std::string& text) { return Fitted(Printable(text), Output::kLongestCell); }

std::string Padded(const std::string& cell, std::size_t width, Align align) {
  const std::string blanks(width - std::min(width, DisplayWidth(cell)), ' ');
  return align == Align::kRight ? blanks + cell : cell + blanks;
}

std::string_view Sequence(Colour colour) {
  switch (colour) {
    case Colour::kGreen:
      return "\x1B[32m";
    case Colour::kYellow:
      return "\x1B[33m";
    case Colour::kRed:
      return "\x1B[31m";
    case Colour::kNone:
      break;
  }
  return "\x1B[0m";
}

std::string Dumped(const Json& json, int indent) {
  return PrintableJson(json.dump(indent, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace

Output::Output(HANDLE outputStream) : stream(outputStream) {
  DWORD mode = 0;
  isConsole = GetConsoleMode(stream, &mode) != FALSE;
  if (!isConsole) return;
  hasSequences = SetConsoleMode(stream, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE;
  hasColours = hasSequences && host::EnvironmentText(L"NO_COLOR").empty();
}

std::size_t Output::Width() const {
  constexpr std::size_t kUsual = 80;
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!isConsole || !GetConsoleScreenBufferInfo(stream, &info)) return kUsual;
  const int width = info.srWindow.Right - info.srWindow.Left;  // the last column stays free
  return width > 0 ? static_cast<std::size_t>(width) : kUsual;
}

void Output::Line(const std::string& text) {
  ClearProgress();
  Write(Printable(text) + "\n");
}

void Output::Marked(Colour colour, const std::string& word, std::size_t width,
                    const std::string& text) {
  ClearProgress();
  std::string marked = word;
  if (hasColours && colour != Colour::kNone) {
    marked = std::string(Sequence(colour)) + word + std::string(Sequence(Colour::kNone));
  }
  Write("  " + marked + std::string(width - std::min(width, word.size()), ' ') + Printable(text) +
        "\n");
}

void Output::Progress(const std::string& text) {
  if (!isConsole) return;
  ClearProgress();
  const std::string printable = Fitted(Printable(text), Width());
  progressLength = DisplayWidth(printable);
  Write(printable + "\r");
}

void Output::Document(const Json& json) {
  ClearProgress();
  Write(Dumped(json, 2));
}

void Output::Record(const Json& json) { Write(Dumped(json, -1)); }

void Output::Table(const std::vector<Row>& rows, const std::vector<Align>& columns) {
  std::vector<std::size_t> widths(columns.size(), 0);
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], DisplayWidth(Cell(row[i])));
    }
  }
  bool isHeadline = true;
  for (const Row& row : rows) {
    std::string line;
    std::string rule;
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (i > 0) {
        line += kGap;
        rule += kGap;
      }
      line += Padded(Cell(row[i]), widths[i], columns[i]);
      rule.append(widths[i], '-');
    }
    Line(line.substr(0, line.find_last_not_of(' ') + 1));
    if (isHeadline) Line(rule);
    isHeadline = false;
  }
}

void Output::Redraw() {
  ClearProgress();
  if (isRedrawn && !hasSequences) Write("\n");
  // Moves up to the first of the lines and clears from there.
  if (isRedrawn && linesToRedraw > 0 && hasSequences) {
    Write("\x1B[" + std::to_string(linesToRedraw) + "A\x1B[J");
  }
  isRedrawn = true;
  linesToRedraw = 0;
}

void Output::ClearProgress() {
  if (progressLength == 0) return;
  Write(std::string(progressLength, ' ') + "\r");
  progressLength = 0;
}

void Output::Write(const std::string& text) {
  linesToRedraw += static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  if (isConsole) {
    const std::wstring wide = host::ToWide(text);
    DWORD written = 0;
    WriteConsoleW(stream, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
  } else {
    // A reader that has closed its end, such as `head`, is no failure.
    host::WriteAll(stream, text.data(), text.size());
  }
}

}  // namespace console
