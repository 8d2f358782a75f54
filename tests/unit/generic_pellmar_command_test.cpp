#include "gamepipe/generic_pellmar_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/log.h"
#include "tests/unit/log_capture.h"

namespace launcher {
namespace {

using testing::ElementsAre;

// "%p" of the C library that the log uses.
std::string PointerText(const void* pointer) {
  auto value = reinterpret_cast<std::uintptr_t>(pointer);
#ifdef _WIN32
  const char* const digits = "0123456789ABCDEF";
#else
  const char* const digits = "0123456789abcdef";
#endif
  std::string text;
  for (; value != 0; value >>= 4) text.insert(text.begin(), digits[value & 0xF]);
#ifdef _WIN32
  return std::string(16 - text.size(), '0') + text;
#else
  return "0x" + text;
#endif
}

using Texts = std::vector<std::wstring>;

Texts TextsOf(EventInfo& event) {
  return {event.GetSource(), event.GetName(), event.GetArg0(), event.GetArg1(), event.GetArg2(),
          event.GetArg3(),   event.GetArg4(), event.GetArg5(), event.GetArg6(), event.GetArg7()};
}

class Receiver final : public CommandEventReceiver {
 public:
  void QueueEvent(EventPtr event) override {
    LogLine("queued\n");
    events.push_back(std::move(event));
  }
  std::vector<EventPtr> events;
};

class GenericPellmarCommandTest : public testing::Test {
 protected:
  // The ten texts of the one event that a received command makes.
  Texts EventOf(const std::string& name, const std::string& args) {
    receiver.events.clear();
    LogCapture capture;
    command.execute(name, args);
    log = capture.Take();
    if (receiver.events.size() != 1) {
      ADD_FAILURE() << receiver.events.size() << " events";
      return {};
    }
    return TextsOf(*receiver.events[0]);
  }

  Receiver receiver;
  GenericPellmarCommand command{receiver, L"BRENNA-GAME"};
  std::string log;
};

TEST_F(GenericPellmarCommandTest, HasNeitherNameNorArgumentsOfItsOwn) {
  EXPECT_EQ(command.name, "");
  EXPECT_EQ(command.args, "");
  EXPECT_FALSE(command.isQuery());
  EXPECT_FALSE(command.isReply());
}

TEST_F(GenericPellmarCommandTest, MakesAnEventOfACommand) {
  EXPECT_THAT(
      EventOf("PlayerJoined", "Aldo 3 red"),
      ElementsAre(L"BRENNA-GAME", L"PlayerJoined", L"Aldo", L"3", L"red", L"", L"", L"", L"", L""));
}

TEST_F(GenericPellmarCommandTest, EventsComeFromTheApplication) {
  const LogCapture capture;
  GenericPellmarCommand other(receiver, L"SOLANO-GAME");
  other.execute("X", "");
  ASSERT_EQ(receiver.events.size(), 1U);
  EXPECT_STREQ(receiver.events[0]->GetSource(), L"SOLANO-GAME");
}

TEST_F(GenericPellmarCommandTest, RunsOfBlanksSeparateLikeOne) {
  EXPECT_THAT(EventOf("X", "a  b c"),
              ElementsAre(L"BRENNA-GAME", L"X", L"a", L"b", L"c", L"", L"", L"", L"", L""));
  EXPECT_THAT(EventOf("X", "   a b    c   "),
              ElementsAre(L"BRENNA-GAME", L"X", L"a", L"b", L"c", L"", L"", L"", L"", L""));
}

TEST_F(GenericPellmarCommandTest, OnlyBlanksSeparate) {
  EXPECT_THAT(EventOf("X", "a\tb,c\nd"),
              ElementsAre(L"BRENNA-GAME", L"X", L"a\tb,c\nd", L"", L"", L"", L"", L"", L"", L""));
}

TEST_F(GenericPellmarCommandTest, EightWordsFillTheArguments) {
  EXPECT_THAT(EventOf("X", "1 2 3 4 5 6 7 8"),
              ElementsAre(L"BRENNA-GAME", L"X", L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8"));
}

TEST_F(GenericPellmarCommandTest, FurtherWordsAreDropped) {
  EXPECT_THAT(EventOf("X", "1 2 3 4 5 6 7 8 9"),
              ElementsAre(L"BRENNA-GAME", L"X", L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8"));
  EXPECT_THAT(EventOf("X", "1 2 3 4 5 6 7 8 9 10 11 12"),
              ElementsAre(L"BRENNA-GAME", L"X", L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8"));
}

TEST_F(GenericPellmarCommandTest, WithoutWordsAllArgumentsAreEmpty) {
  const auto noArguments =
      ElementsAre(L"BRENNA-GAME", L"X", L"", L"", L"", L"", L"", L"", L"", L"");
  EXPECT_THAT(EventOf("X", ""), noArguments);
  EXPECT_THAT(EventOf("X", " "), noArguments);
  EXPECT_THAT(EventOf("X", "     "), noArguments);
}

TEST_F(GenericPellmarCommandTest, ANameMayBeEmptyOrHoldBlanks) {
  EXPECT_THAT(EventOf("", "a"),
              ElementsAre(L"BRENNA-GAME", L"", L"a", L"", L"", L"", L"", L"", L"", L""));
  EXPECT_THAT(EventOf(" two words ", "a"),
              ElementsAre(L"BRENNA-GAME", L" two words ", L"a", L"", L"", L"", L"", L"", L"", L""));
}

TEST_F(GenericPellmarCommandTest, TextIsUtf8) {
  EXPECT_THAT(EventOf("Gr\xC3\xBC\xC3\x9F", "\xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xAE"),
              ElementsAre(L"BRENNA-GAME", L"Gr\u00FC\u00DF", L"\u65E5\u672C", L"\U0001F3AE", L"",
                          L"", L"", L"", L"", L""));
}

TEST_F(GenericPellmarCommandTest, InvalidBytesAreReplaced) {
  EXPECT_THAT(EventOf("a\xFF"
                      "b",
                      "\xFF c\xC3 d"),
              ElementsAre(L"BRENNA-GAME", L"a\uFFFDb", L"\uFFFD", L"c\uFFFD", L"d", L"", L"", L"",
                          L"", L""));
}

TEST_F(GenericPellmarCommandTest, AZeroByteEndsTheTextItStandsIn) {
  EXPECT_THAT(EventOf(std::string("A\0B", 3), std::string("a\0b c", 5)),
              ElementsAre(L"BRENNA-GAME", L"A", L"a", L"c", L"", L"", L"", L"", L"", L""));
}

TEST_F(GenericPellmarCommandTest, LongTextsStayWhole) {
  const std::string name(255, 'n');
  std::string args = "a ";
  args.append(60000, 'b');
  const std::vector<std::wstring> texts = EventOf(name, args);
  EXPECT_EQ(texts.at(1), std::wstring(255, L'n'));
  EXPECT_EQ(texts.at(2), L"a");
  EXPECT_EQ(texts.at(3), std::wstring(60000, L'b'));
}

TEST_F(GenericPellmarCommandTest, LogsTheCommandThenTheHandOver) {
  EventOf("PlayerJoined", "Aldo  3 red");
  EXPECT_EQ(log,
            "GenericPellmarCommand::execute: args Aldo  3 red\n"
            "GenericPellmarCommand::execute: Posting event to instance " +
                PointerText(static_cast<CommandEventReceiver*>(&receiver)) +
                "\n"
                "queued\n");
}

TEST_F(GenericPellmarCommandTest, LogsEmptyArguments) {
  EventOf("X", "");
  EXPECT_EQ(log.substr(0, log.find('\n') + 1), "GenericPellmarCommand::execute: args \n");
}

}  // namespace
}  // namespace launcher
