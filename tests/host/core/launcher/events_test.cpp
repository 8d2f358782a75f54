// Queuing, fetching and freeing of events, and the notifier.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "tests/support/allocation_tracker.h"
#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

std::vector<std::wstring> NamesOf(const std::vector<Event>& events) {
  std::vector<std::wstring> names;
  for (const Event& event : events) names.push_back(event.name);
  return names;
}

TEST(CoreEvents, AnEmptyQueueGivesNullAndStaysEmpty) {
  DllHost host;
  EXPECT_EQ(host->GetNextEvent(), nullptr);
  EXPECT_EQ(host->GetNextEvent(), nullptr);
  host.Post(L"s", L"after");
  EXPECT_THAT(NamesOf(host.Drain()), ElementsAre(L"after"));
  EXPECT_EQ(host->GetNextEvent(), nullptr);
}

TEST(CoreEvents, NullArgumentsReadAsEmptyTextsNeverAsNull) {
  DllHost host;
  host.Post(L"source", L"name");
  IEventInfo* const event = host->GetNextEvent();
  ASSERT_NE(event, nullptr);
  const wchar_t* const arguments[] = {event->GetArg0(), event->GetArg1(), event->GetArg2(),
                                      event->GetArg3(), event->GetArg4(), event->GetArg5(),
                                      event->GetArg6(), event->GetArg7()};
  for (const wchar_t* const argument : arguments) {
    ASSERT_NE(argument, nullptr);
    EXPECT_STREQ(argument, L"");
  }
  EXPECT_STREQ(event->GetSource(), L"source");
  EXPECT_STREQ(event->GetName(), L"name");
  host->FreeEvent(event);
}

TEST(CoreEvents, TextsAreCopiedWhenTheEventIsPosted) {
  DllHost host;
  std::wstring source = L"source";
  std::wstring name = L"name";
  std::wstring argument = L"argument";
  host.Post(source.c_str(), name.c_str(), argument.c_str());
  source.assign(6, L'x');
  name.assign(4, L'x');
  argument.assign(8, L'x');
  EXPECT_THAT(host.Drain(), ElementsAre(Event{L"source", L"name", {L"argument"}}));
}

TEST(CoreEvents, LongTextsAndAnyCodeUnitsPassUnchanged) {
  DllHost host;
  const std::wstring longText(1000000, L'x');
  // Outside the basic plane, an unpaired surrogate, and the last code unit.
  const wchar_t* const odd = L"\u00E9\U0001F600\xD800\xFFFF";
  host->PostEvent(L"", odd, longText.c_str(), L"a1", L"a2", L"a3", L"a4", L"a5", L"a6", L"a7");
  EXPECT_THAT(
      host.Drain(),
      ElementsAre(Event{L"", odd, {longText, L"a1", L"a2", L"a3", L"a4", L"a5", L"a6", L"a7"}}));
}

TEST(CoreEvents, ComeInTheOrderInWhichTheyWereQueued) {
  DllHost host;
  std::vector<std::wstring> expected;
  for (int i = 0; i < 1000; ++i) {
    expected.push_back(std::to_wstring(i));
    host.Post(L"s", expected.back().c_str());
  }
  EXPECT_EQ(NamesOf(host.Drain()), expected);
}

TEST(CoreEvents, AreTheHostsOwnOnceFetched) {
  DllHost host;
  host.Post(L"s", L"first");
  host.Post(L"s", L"second");
  IEventInfo* const first = host->GetNextEvent();
  IEventInfo* const second = host->GetNextEvent();
  host->FreeEvent(first);
  host.Post(L"s", L"third");
  EXPECT_STREQ(second->GetName(), L"second");
  host->FreeEvent(second);
  EXPECT_THAT(NamesOf(host.Drain()), ElementsAre(L"third"));
}

TEST(CoreEvents, FreeingNullDoesNothing) {
  DllHost host;
  const AllocationTracker memory(host.Module());
  host->FreeEvent(nullptr);
  host->FreeString(nullptr);
  EXPECT_EQ(memory.Count(), 0u);
  host.Post(L"s", L"n");
  EXPECT_THAT(host.Drain(), SizeIs(1));
}

TEST(CoreEvents, UnfetchedOnesAreDiscardedWithTheLauncher) {
  DllHost host;
  host.Destroy();
  AllocationTracker memory(host.Module());
  host.Create();
  host.Destroy();
  const std::size_t keptByALauncher = memory.Outstanding();
  host.Create();
  for (int i = 0; i < 100; ++i) host.Post(L"source", L"name", L"argument");
  host.Destroy();
  EXPECT_EQ(memory.Outstanding(), 2 * keptByALauncher);
}

TEST(CoreNotifier, IsCalledOncePerEventOnThePostingThread) {
  DllHost host;
  host.Post(L"s", L"1");
  host.Post(L"s", L"2");
  DWORD other = 0;
  std::thread([&] {
    other = GetCurrentThreadId();
    host.Post(L"s", L"3");
  }).join();
  const DWORD own = GetCurrentThreadId();
  ASSERT_NE(own, other);
  EXPECT_THAT(host.Notifications().ThreadIds(), ElementsAre(own, own, other));
}

TEST(CoreNotifier, IsNotCalledByAnythingElse) {
  DllHost host;
  host->FreeEvent(nullptr);
  EXPECT_EQ(host->GetNextEvent(), nullptr);
  host->WaitForThreads();
  EXPECT_EQ(host.GetLauncherVersion(), L"162");
  EXPECT_TRUE(host->SetParameter(L"TAVR-GAME", L"key", L"value"));
  host->PollApps();
  EXPECT_EQ(host.Notifications().CallCount(), 0);
}

TEST(CoreNotifier, RunsAfterTheEventWasQueued) {
  DllHost host;
  std::vector<Event> seen;
  host.Notifications().SetInsideCall([&] { seen = host.Drain(); });
  host.Post(L"source", L"name", L"a0");
  EXPECT_THAT(seen, ElementsAre(Event{L"source", L"name", {L"a0"}}));
}

// Another thread may come between any two steps: here one fetches whenever the lock is about to be
// taken, and one looks when it has been left.
TEST(CoreEvents, AreQueuedAndFetchedUnderTheLock) {
  DllHost host;
  bool isInside = false;
  std::vector<std::size_t> beforeTheLock;
  std::vector<std::size_t> afterTheLock;
  const auto look = [&](std::vector<std::size_t>& found) {
    if (std::exchange(isInside, true)) return;
    found.push_back(host.Drain().size());
    isInside = false;
  };
  IMPORT_HOOK(EnterCriticalSection) enters(host.Module());
  enters.SetReplacement([&](CRITICAL_SECTION* section) {
    look(beforeTheLock);
    enters.CallOriginal(section);
  });
  IMPORT_HOOK(LeaveCriticalSection) leaves(host.Module());
  leaves.SetReplacement([&](CRITICAL_SECTION* section) {
    leaves.CallOriginal(section);
    look(afterTheLock);
  });
  bool wasNotified = false;
  host.Notifications().SetInsideCall([&] {
    wasNotified = true;
    EXPECT_TRUE(afterTheLock.empty());
  });
  host.Post(L"s", L"n");
  EXPECT_TRUE(wasNotified);
  EXPECT_THAT(beforeTheLock, ElementsAre(0u));
  EXPECT_THAT(afterTheLock, ElementsAre(1u));

  host.Notifications().SetInsideCall({});
  isInside = true;
  host.Post(L"s", L"n");
  isInside = false;
  // The other one was faster.
  EXPECT_EQ(host->GetNextEvent(), nullptr);
  EXPECT_THAT(beforeTheLock, ElementsAre(0u, 1u));
}

TEST(CoreEvents, OfTwoLaunchersDoNotMix) {
  DllHost host;
  Notifier otherNotifier;
  ILauncher* const other = host.Dll().createLauncher(&otherNotifier, &Notifier::Callback);
  ASSERT_NE(other, nullptr);
  host.Post(L"s", L"own");
  EXPECT_EQ(other->GetNextEvent(), nullptr);
  EXPECT_EQ(otherNotifier.CallCount(), 0);
  EXPECT_THAT(NamesOf(host.Drain()), ElementsAre(L"own"));
  host.Dll().destroyLauncher(other);
}

}  // namespace
}  // namespace test_support
