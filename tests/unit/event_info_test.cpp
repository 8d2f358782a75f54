#include "core/event_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace launcher {
namespace {

using Texts = std::vector<std::wstring>;

Texts TextsOf(IEventInfo& event) {
  return {event.GetSource(), event.GetName(), event.GetArg0(), event.GetArg1(), event.GetArg2(),
          event.GetArg3(),   event.GetArg4(), event.GetArg5(), event.GetArg6(), event.GetArg7()};
}

TEST(EventInfo, HoldsTenTexts) {
  const EventPtr event = EventInfo::Create(
      {L"source", L"name", {L"a0", L"a1", L"a2", L"a3", L"a4", L"a5", L"a6", L"a7"}});
  EXPECT_EQ(TextsOf(*event),
            (Texts{L"source", L"name", L"a0", L"a1", L"a2", L"a3", L"a4", L"a5", L"a6", L"a7"}));
}

TEST(EventInfo, TextsMayBeEmptyAnywhere) {
  const EventPtr event =
      EventInfo::Create({L"", L"name", {L"", L"a1", L"", L"", L"a4", L"", L"", L""}});
  EXPECT_THAT(TextsOf(*event),
              testing::ElementsAre(L"", L"name", L"", L"a1", L"", L"", L"a4", L"", L"", L""));
}

TEST(EventInfo, TakesPartsOfTexts) {
  const std::wstring text = L"one two";
  EventFields fields;
  fields.source = std::wstring_view(text).substr(0, 3);
  fields.name = std::wstring_view(text).substr(4);
  const EventPtr event = EventInfo::Create(fields);
  EXPECT_STREQ(event->GetSource(), L"one");
  EXPECT_STREQ(event->GetName(), L"two");
}

TEST(EventInfo, HoldsLongAndNonAsciiTexts) {
  const std::wstring longText(100000, L'x');
  const EventPtr event = EventInfo::Create(
      {L"Gr\u00FC\u00DFe", L"\U0001F3AE", {longText, L"b", longText, L"", L"", L"", L"", L""}});
  EXPECT_STREQ(event->GetSource(), L"Gr\u00FC\u00DFe");
  EXPECT_STREQ(event->GetName(), L"\U0001F3AE");
  EXPECT_EQ(event->GetArg0(), longText);
  EXPECT_STREQ(event->GetArg1(), L"b");
  EXPECT_EQ(event->GetArg2(), longText);
}

}  // namespace
}  // namespace launcher
