// Texts: conversions, the words of a command, the events made of them, and the ping JSON.
#ifndef LAUNCHER_FUZZ_TEXT_PROPERTY_H_
#define LAUNCHER_FUZZ_TEXT_PROPERTY_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/event_info.h"
#include "core/text.h"
#include "fuzz/property.h"
#include "gamepipe/command_event.h"
#include "gamepipe/words.h"
#include "ping/ping_json.h"

namespace fuzz {

inline void CheckConversions(const std::string& narrow) {
  const std::wstring wide = launcher::Utf8ToWide(narrow);
  Require(wide.find(L'\0') == wide.npos, "a converted text holds no zero");
  Require(wide.size() <= narrow.size(), "no byte becomes more than one character");
  const std::string back = launcher::WideToUtf8(wide);
  Require(launcher::Utf8ToWide(back) == wide, "a wide text survives the way through UTF-8");
  const bool plain = std::all_of(narrow.begin(), narrow.end(), [](char c) {
    const auto byte = static_cast<std::uint8_t>(c);
    return byte != 0 && byte < 0x80;
  });
  if (plain) Require(back == narrow, "plain text survives the way through UTF-16");

  // In memory of exactly the size that is asked for.
  const auto memory = std::make_unique<wchar_t[]>(launcher::WideCapacity(narrow.size()));
  const std::size_t length = launcher::Utf8ToWide(narrow, memory.get());
  Require(std::wstring_view(memory.get(), length) == wide, "both ways to convert agree");
  Require(memory[length] == L'\0', "a converted text is terminated");
}

inline void CheckWords(const std::string& text, const std::string& delimiters) {
  const std::vector<std::string_view> words = launcher::SplitString(text, delimiters);
  const auto isDelimiter = [&](char c) { return delimiters.find(c) != delimiters.npos; };
  if (text.empty()) {
    Require(words.size() == 1 && words[0].empty(), "an empty text is one empty word");
    return;
  }
  const char* end = text.data();
  for (const std::string_view word : words) {
    Require(!word.empty(), "no word is empty");
    Require(std::none_of(word.begin(), word.end(), isDelimiter), "no word holds a delimiter");
    Require(std::all_of(end, word.data(), isDelimiter), "between words are delimiters alone");
    Require(end == text.data() || end < word.data(), "words that touch are one word");
    end = word.data() + word.size();
  }
  Require(std::all_of(end, text.data() + text.size(), isDelimiter), "no word is left out");
}

inline void CheckCommandEvent(const std::string& name, const std::string& args) {
  const launcher::EventPtr event = launcher::MakeCommandEvent(L"source", name, args);
  Require(event->GetSource() == std::wstring(L"source") &&
              event->GetName() == launcher::Utf8ToWide(name),
          "an event is named after its command");
  const std::array<std::wstring, launcher::EventFields::kArgumentCount> arguments = {
      event->GetArg0(), event->GetArg1(), event->GetArg2(), event->GetArg3(),
      event->GetArg4(), event->GetArg5(), event->GetArg6(), event->GetArg7()};
  const std::vector<std::string_view> words = launcher::SplitString(args, " ");
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string word(i < words.size() ? words[i] : std::string_view());
    Require(arguments[i] == launcher::Utf8ToWide(word),
            "the arguments are the words, missing ones are empty");
  }
}

/// Reads the ping JSON of `infos` back, piece by piece.
inline void CheckPingJson(const launcher::PingInfos& infos) {
  const std::wstring json = launcher::BuildPingJson(infos);
  std::wstring_view rest = json;
  const auto expect = [&rest](std::wstring_view piece) {
    Require(rest.starts_with(piece), "the ping JSON has its shape");
    rest.remove_prefix(piece.size());
  };
  expect(L"[\n");
  for (std::size_t i = 0; i < infos.size(); ++i) {
    expect(L"\t{\n\t\t\"ipAddress\": \"");
    expect(infos[i].ipAddress);
    expect(L"\",\n\t\t\"roundTripMSEC\": ");
    std::uint64_t number = 0;
    std::size_t digits = 0;
    for (; digits < rest.size() && rest[digits] >= L'0' && rest[digits] <= L'9'; ++digits) {
      number = number * 10 + static_cast<std::uint64_t>(rest[digits] - L'0');
    }
    Require(digits > 0 && digits <= 10 && number == infos[i].roundTripMsec,
            "a time is in the ping JSON");
    Require(digits == 1 || rest[0] != L'0', "a number has no leading zero");
    rest.remove_prefix(digits);
    expect(i + 1 < infos.size() ? L"\n\t},\n" : L"\n\t}\n");
  }
  expect(L"]\n");
  Require(rest.empty(), "nothing follows the ping JSON");
}

/// The first byte tells how many of the next bytes are delimiters, at most three; what follows is
/// the text, and once more, cut into pieces of eleven bytes, a list of addresses and their times.
inline void CheckText(ByteSpan data) {
  Input input(data);
  const std::string delimiters = input.Text(input.Byte() & 3U);
  const ByteSpan textBytes = input.Rest();
  const std::string text(textBytes.begin(), textBytes.end());

  CheckConversions(text);
  CheckWords(text, delimiters);
  CheckCommandEvent(delimiters, text);

  constexpr std::size_t kTimeBytes = 4;
  constexpr std::size_t kAddressBytes = 7;
  launcher::PingInfos infos;
  for (Input pieces(textBytes); !pieces.Empty();) {
    launcher::PingInfo& info = infos.emplace_back();
    info.roundTripMsec = static_cast<std::uint32_t>(pieces.BigEndian(kTimeBytes));
    info.ipAddress = launcher::Utf8ToWide(pieces.Text(kAddressBytes));
  }
  CheckPingJson(infos);
}

}  // namespace fuzz

#endif  // LAUNCHER_FUZZ_TEXT_PROPERTY_H_
