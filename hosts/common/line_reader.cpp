#include "hosts/common/line_reader.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "hosts/common/checks.h"

namespace host {
namespace {

bool IsNumber(std::string_view text, std::uint64_t most) {
  return (text == "0" || !text.starts_with('0')) && ParseNumber(text, most).has_value();
}

bool IsTwoNumbers(std::string_view text, std::uint64_t most) {
  constexpr std::string_view kBetween = "\":";
  const std::size_t first = text.find(kBetween);
  return first != std::string_view::npos &&
         IsNumber(text.substr(0, first), std::numeric_limits<std::uint64_t>::max()) &&
         IsNumber(text.substr(first + kBetween.size()), most);
}

bool IsWord(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return (c >= 'A' && c <= 'Z') || c == '_'; });
}

bool Fits(const LineValue& value, std::string_view text) {
  switch (value.kind) {
    case LineValue::Kind::kNothing:
      return text.empty();
    case LineValue::Kind::kNumber:
      return IsNumber(text, value.most);
    case LineValue::Kind::kTwoNumbers:
      return IsTwoNumbers(text, value.most);
    case LineValue::Kind::kWord:
      return IsWord(text);
    case LineValue::Kind::kStrangeText:
      return true;
  }
  return false;
}

// The value of a line of this form; nothing for another line.
std::optional<std::string_view> ValueOf(const LineForm& form, std::string_view line) {
  if (line.size() < form.before.size() + form.after.size()) return std::nullopt;
  if (!line.starts_with(form.before) || !line.ends_with(form.after)) return std::nullopt;
  line.remove_prefix(form.before.size());
  line.remove_suffix(form.after.size());
  if (!Fits(form.value, line)) return std::nullopt;
  return line;
}

// Cuts a line off; nothing when none is left that has an end.
std::optional<std::string_view> TakeLine(std::string_view& rest) {
  const std::size_t end = rest.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(end + 1);
  return line;
}

}  // namespace

/// Looks for the reading with the fewest line ends inside of texts, line by line: of all readings
/// that are at the same place after the same line, only the best is kept.
class LineReader::LongTextSearch {
 public:
  LongTextSearch(const LineReader& lineReader, std::string_view wholeText)
      : reader(lineReader),
        text(wholeText),
        openTexts(reader.forms.size()),
        stepAt(reader.formsAt.size(), kNone) {}

  std::optional<std::vector<FoundLine>> Run() {
    Reach(0, {});
    std::string_view rest = text;
    for (; const std::optional<std::string_view> line = TakeLine(rest); ++lineNumber) {
      const std::vector<std::size_t> starts = std::exchange(reached, {});
      for (const std::size_t step : starts) stepAt[Index(steps[step].place)] = kNone;
      CloseTexts(*line);
      for (const std::size_t step : starts) ReadLine(step, *line);
    }
    const std::size_t end = stepAt[Index(reader.last)];
    if (!rest.empty() || end == kNone) return std::nullopt;
    return Trace(end);
  }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  /// A place reached after a line, with the way there.
  struct Step {
    int place = 0;
    std::size_t lineEnds = 0;  // inside of texts, on the whole way
    std::size_t previous = kNone;
    FoundLine found{};
  };

  /// A text that began in an earlier line.
  struct OpenText {
    std::size_t previous = kNone;
    std::size_t line = 0;
    const char* begin = nullptr;
  };

  static std::size_t Index(int place) { return static_cast<std::size_t>(place); }

  void Reach(int place, Step step) {
    step.place = place;
    std::size_t& best = stepAt[Index(place)];
    if (best == kNone) {
      best = steps.size();
      reached.push_back(best);
      steps.push_back(step);
    } else if (step.lineEnds < steps[best].lineEnds) {
      steps[best] = step;
    }
  }

  void ReadLine(std::size_t from, std::string_view line) {
    for (const std::size_t i : reader.FormsAt(steps[from].place)) {
      const LineForm& form = reader.forms[i];
      if (const auto value = ValueOf(form, line)) {
        Reach(form.to, {0, steps[from].lineEnds, from, {i, *value}});
      }
      if (form.value.kind == LineValue::Kind::kStrangeText && line.starts_with(form.before)) {
        OpenOne(i, {from, lineNumber, line.data() + form.before.size()});
      }
    }
  }

  /// Of two open texts of one form the better one stays so, whichever line they end in.
  void OpenOne(std::size_t form, OpenText candidate) {
    OpenText& best = openTexts[form];
    if (best.previous == kNone) {
      openForms.push_back(form);
    } else if (LineEndsNow(candidate) > LineEndsNow(best)) {
      return;
    }
    best = candidate;
  }

  std::size_t LineEndsNow(const OpenText& open) const {
    return steps[open.previous].lineEnds + (lineNumber - open.line);
  }

  void CloseTexts(std::string_view line) {
    for (const std::size_t i : openForms) {
      const LineForm& form = reader.forms[i];
      if (!line.ends_with(form.after)) continue;
      const OpenText& open = openTexts[i];
      const char* const end = line.data() + line.size() - form.after.size();
      Reach(form.to, {0,
                      LineEndsNow(open),
                      open.previous,
                      {i, {open.begin, static_cast<std::size_t>(end - open.begin)}}});
    }
  }

  std::vector<FoundLine> Trace(std::size_t end) const {
    std::vector<FoundLine> found;
    for (std::size_t i = end; steps[i].previous != kNone; i = steps[i].previous) {
      found.push_back(steps[i].found);
    }
    std::reverse(found.begin(), found.end());
    return found;
  }

  const LineReader& reader;
  const std::string_view text;
  std::vector<Step> steps;
  std::vector<OpenText> openTexts;     // by form
  std::vector<std::size_t> openForms;  // those that are open
  std::vector<std::size_t> stepAt;     // by place: the step that reached it after this line
  std::vector<std::size_t> reached;
  std::size_t lineNumber = 0;
};

LineReader::LineReader(std::vector<LineForm> lineForms, int lastPlace)
    : forms(std::move(lineForms)), last(lastPlace) {
  int highest = last;
  for (const LineForm& form : forms) highest = std::max({highest, form.from, form.to});
  formsAt.resize(static_cast<std::size_t>(highest) + 1);
  for (std::size_t i = 0; i < forms.size(); ++i) {
    formsAt[static_cast<std::size_t>(forms[i].from)].push_back(i);
  }
}

std::optional<std::vector<FoundLine>> LineReader::Read(std::string_view text) const {
  if (auto found = ReadShortTexts(text)) return found;
  return LongTextSearch(*this, text).Run();
}

std::optional<std::vector<FoundLine>> LineReader::ReadShortTexts(std::string_view text) const {
  std::vector<FoundLine> found;
  int place = 0;
  while (const std::optional<std::string_view> line = TakeLine(text)) {
    bool isKnown = false;
    for (const std::size_t i : FormsAt(place)) {
      const auto value = ValueOf(forms[i], *line);
      if (!value) continue;
      found.push_back({i, *value});
      place = forms[i].to;
      isKnown = true;
      break;
    }
    if (!isKnown) return std::nullopt;
  }
  if (!text.empty() || place != last) return std::nullopt;
  return found;
}

}  // namespace host
