#include "tools/launcher-console/output.h"

#include <algorithm>

#include "hosts/common/standard_streams.h"
#include "hosts/common/text.h"

namespace console {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kGap = "  ";  // between two columns
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

bool IsContinuation(char byte) { return (byte & 0xC0) == 0x80; }

std::size_t CharacterCount(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return !IsContinuation(byte); }));
}

// The first `count` characters.
std::string Beginning(const std::string& text, std::size_t count) {
  std::size_t end = 0;
  while (end < text.size() && (IsContinuation(text[end]) || count > 0)) {
    if (!IsContinuation(text[end])) --count;
    ++end;
  }
  return text.substr(0, end);
}

std::string Cell(const std::string& text) {
  std::string cell = Printable(text);
  if (CharacterCount(cell) > Output::kLongestCell) {
    cell = Beginning(cell, Output::kLongestCell - 1);
    cell += kEllipsis;
  }
  return cell;
}

std::string Padded(const std::string& cell, std::size_t width, Align align) {
  const std::string blanks(width - CharacterCount(cell), ' ');
  return align == Align::kRight ? blanks + cell : cell + blanks;
}

}  // namespace

std::string Printable(std::string_view text) {
  constexpr unsigned char kFirstPrintable = 0x20;
  constexpr unsigned char kDelete = 0x7F;
  std::string printable;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < kFirstPrintable || byte == kDelete) {
      printable += kReplacement;
    } else {
      printable += c;
    }
  }
  return printable;
}

Output::Output(HANDLE outputStream) : stream(outputStream) {
  DWORD mode = 0;
  isConsole = GetConsoleMode(stream, &mode) != FALSE;
}

void Output::Line(const std::string& text) {
  ClearProgress();
  Write(Printable(text) + "\n");
}

void Output::Progress(const std::string& text) {
  if (!isConsole) return;
  ClearProgress();
  const std::string printable = Printable(text);
  progressLength = CharacterCount(printable);
  Write(printable + "\r");
}

void Output::Document(const Json& json) {
  Write(json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

void Output::Record(const Json& json) {
  Write(json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

void Output::Table(const std::vector<Row>& rows, const std::vector<Align>& columns) {
  std::vector<std::size_t> widths(columns.size(), 0);
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], CharacterCount(Cell(row[i])));
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

void Output::ClearProgress() {
  if (progressLength == 0) return;
  Write(std::string(progressLength, ' ') + "\r");
  progressLength = 0;
}

void Output::Write(const std::string& text) {
  if (isConsole) {
    const std::wstring wide = host::ToWide(text);
    DWORD written = 0;
    WriteConsoleW(stream, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
  } else {
    // A reader that has gone, as `head` does, is no failure.
    host::WriteAll(stream, text.data(), text.size());
  }
}

}  // namespace console
