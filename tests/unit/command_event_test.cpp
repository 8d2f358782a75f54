// The event that a game's command becomes.

#include "gamepipe/command_event.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace launcher {
namespace {

struct Received {
  std::string name;
  std::string args;
  std::wstring eventName;
  std::vector<std::wstring> eventArgs;  // missing ones are empty
};

const Received kReceived[] = {
    {"PlayerJoined", "Aldo 3 red", L"PlayerJoined", {L"Aldo", L"3", L"red"}},
    // Any name is forwarded, those of the launcher's own events too.
    {"StateChanged", "READY", L"StateChanged", {L"READY"}},
    {"", "a", L"", {L"a"}},
    {" two words ", "a", L" two words ", {L"a"}},
    {"X", "   a b    c   ", L"X", {L"a", L"b", L"c"}},
    {"X", "a\tb,c\nd", L"X", {L"a\tb,c\nd"}},
    {"X", "", L"X", {}},
    {"X", "     ", L"X", {}},
    {"X", "1 2 3 4 5 6 7 8", L"X", {L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8"}},
    {"X", "1 2 3 4 5 6 7 8 9 10", L"X", {L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8"}},
    {"Gr\xC3\xBC\xC3\x9F",
     "\xE6\x97\xA5 \xF0\x9F\x8E\xAE",
     L"Gr\u00FC\u00DF",
     {L"\u65E5", L"\U0001F3AE"}},
    {"a\xFF"
     "b",
     "\xFF c\xC3 d",
     L"a\uFFFDb",
     {L"\uFFFD", L"c\uFFFD", L"d"}},
    // A zero byte ends the text that it is in.
    {std::string("A\0B", 3), std::string("a\0b c", 5), L"A", {L"a", L"c"}},
    {std::string(255, 'n'),
     "a " + std::string(60000, 'b'),
     std::wstring(255, L'n'),
     {L"a", std::wstring(60000, L'b')}},
};

TEST(MakeCommandEvent, NameAndWords) {
  for (Received received : kReceived) {
    SCOPED_TRACE(received.name + "(" + received.args.substr(0, 40) + ")");
    const EventPtr event = MakeCommandEvent(L"BRENNA-GAME", received.name, received.args);
    EXPECT_STREQ(event->GetSource(), L"BRENNA-GAME");
    EXPECT_EQ(event->GetName(), received.eventName);
    const std::vector<std::wstring> args{event->GetArg0(), event->GetArg1(), event->GetArg2(),
                                         event->GetArg3(), event->GetArg4(), event->GetArg5(),
                                         event->GetArg6(), event->GetArg7()};
    received.eventArgs.resize(args.size());
    EXPECT_EQ(args, received.eventArgs);
  }
}

}  // namespace
}  // namespace launcher
