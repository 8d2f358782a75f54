#include "core/launcher/event_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace launcher {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

EventPtr Event(const wchar_t* name) {
  EventFields fields;
  fields.name = name;
  return EventInfo::Create(fields);
}

std::vector<std::wstring> NamesIn(EventQueue& queue) {
  std::vector<std::wstring> names;
  while (const EventPtr event = queue.Pop()) names.emplace_back(event->GetName());
  return names;
}

TEST(EventQueue, GivesInTheOrderInWhichItTook) {
  EventQueue queue;
  EXPECT_EQ(queue.Pop(), nullptr);
  queue.Push(Event(L"first"));
  EXPECT_THAT(NamesIn(queue), ElementsAre(L"first"));
  EXPECT_EQ(queue.Pop(), nullptr);
  queue.Push(Event(L"second"));
  queue.Push(Event(L"third"));
  EXPECT_STREQ(queue.Pop()->GetName(), L"second");
  queue.Push(Event(L"fourth"));
  queue.Push(queue.Pop());  // again
  EXPECT_THAT(NamesIn(queue), ElementsAre(L"fourth", L"third"));
}

TEST(EventQueue, APoppedEventIsItsReceiversAlone) {
  EventPtr event;
  {
    EventQueue queue;
    queue.Push(Event(L"first"));
    queue.Push(Event(L"second"));
    event = queue.Pop();
  }
  EXPECT_STREQ(event->GetName(), L"first");
}

TEST(EventQueue, CanBeCleared) {
  EventQueue queue;
  queue.Clear();
  queue.Push(Event(L"first"));
  queue.Push(Event(L"second"));
  queue.Clear();
  EXPECT_THAT(NamesIn(queue), IsEmpty());
  queue.Push(Event(L"third"));
  EXPECT_THAT(NamesIn(queue), ElementsAre(L"third"));
}

TEST(EventQueue, FreesWhatIsLeft) {
  // The leak check of the sanitizer build sees an event that stays.
  EventQueue queue;
  queue.Push(Event(L"first"));
  queue.Push(Event(L"second"));
}

}  // namespace
}  // namespace launcher
