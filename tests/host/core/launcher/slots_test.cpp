// The slot order, called by number as a host of another compiler does.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/allocation_tracker.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"

namespace test_support {
namespace {

using testing::ElementsAre;

// What stands in a slot of the object's first table.
template <typename Function>
Function Slot(void* object, std::size_t number) {
  return reinterpret_cast<Function>((*static_cast<void***>(object))[number]);
}

using Text = const wchar_t*;
using TextSlot = Text (*)(void*);
using IdToBool = bool (*)(void*, Text);
using IdToString = void* (*)(void*, Text);
using DestroySlot = void* (*)(void*, unsigned int);

// A call of a slot: its number, the object and the flags.
using SlotCall = std::tuple<std::size_t, void*, unsigned int>;

// An object of the test's own whose slots only note their calls. At most one of a size at a time.
template <std::size_t slotCount>
class NotingObject {
 public:
  NotingObject() { calls.clear(); }
  NotingObject(const NotingObject&) = delete;
  NotingObject& operator=(const NotingObject&) = delete;

  void* Address() { return &table; }
  const std::vector<SlotCall>& Calls() const { return calls; }

 private:
  template <std::size_t number>
  static void* Note(void* object, unsigned int flags) {
    calls.emplace_back(number, object, flags);
    return object;
  }

  template <std::size_t... numbers>
  static std::array<DestroySlot, slotCount> MakeSlots(std::index_sequence<numbers...>) {
    return {&Note<numbers>...};
  }

  static inline std::vector<SlotCall> calls;

  std::array<DestroySlot, slotCount> slots = MakeSlots(std::make_index_sequence<slotCount>());
  const DestroySlot* table = slots.data();
};

class CoreSlots : public testing::Test {
 protected:
  void* Object() { return host.Launcher(); }

  // Slot 0 of a string, slot 3 of the launcher.
  std::wstring Take(void* string) {
    if (string == nullptr) return L"<null>";
    std::wstring text = Slot<TextSlot>(string, 0)(string);
    Slot<void (*)(void*, void*)>(Object(), 3)(Object(), string);
    return text;
  }

  void Post(Text name) {
    Slot<void (*)(void*, Text, Text, Text, Text, Text, Text, Text, Text, Text, Text)>(Object(), 0)(
        Object(), L"source", name, L"0", L"1", L"2", L"3", L"4", L"5", L"6", L"7");
  }
  void* Next() { return Slot<void* (*)(void*)>(Object(), 1)(Object()); }
  void FreeEvent(void* event) { Slot<void (*)(void*, void*)>(Object(), 2)(Object(), event); }

  DllHost host;
};

TEST_F(CoreSlots, EventSlots0To2AndTheTenSlotsOfAnEvent) {
  Post(L"name");
  EXPECT_EQ(host.Notifications().CallCount(), 1);
  void* const event = Next();
  ASSERT_NE(event, nullptr);
  const Text expected[] = {L"source", L"name", L"0", L"1", L"2", L"3", L"4", L"5", L"6", L"7"};
  for (std::size_t slot = 0; slot < 10; ++slot) {
    EXPECT_STREQ(Slot<TextSlot>(event, slot)(event), expected[slot]) << slot;
  }
  FreeEvent(event);
  EXPECT_EQ(Next(), nullptr);
}

TEST_F(CoreSlots, Slot2FreesTheEvent) {
  const AllocationTracker memory(host.Module());
  Post(L"name");
  void* const event = Next();
  ASSERT_TRUE(memory.IsOutstanding(event));
  FreeEvent(event);
  EXPECT_EQ(memory.Outstanding(), 0u);
}

TEST_F(CoreSlots, Slot3FreesTheString) {
  const AllocationTracker memory(host.Module());
  void* const string = Slot<void* (*)(void*)>(Object(), 10)(Object());
  ASSERT_TRUE(memory.IsOutstanding(string));
  EXPECT_EQ(Take(string), L"162");
  EXPECT_EQ(memory.Outstanding(), 0u);
}

TEST_F(CoreSlots, Slot3CallsSlot1OfTheStringWithBit0SetAndNothingElse) {
  NotingObject<2> string;
  Slot<void (*)(void*, void*)>(Object(), 3)(Object(), string.Address());
  EXPECT_THAT(string.Calls(), ElementsAre(SlotCall(1U, string.Address(), 1U)));
}

TEST_F(CoreSlots, Slots4And5WaitForAPingBatch) {
  const EnvironmentVariable directory(L"KOVLAUNCH_INSTDIR", L"C:\\no such directory");
  using Ping = bool (*)(void*, Text, const Text*, unsigned long long);
  EXPECT_TRUE(Slot<Ping>(Object(), 5)(Object(), L"batch", nullptr, 0));
  Slot<void (*)(void*)>(Object(), 4)(Object());
  void* const event = Next();
  ASSERT_NE(event, nullptr);
  EXPECT_STREQ(Slot<TextSlot>(event, 1)(event), L"PingBatchResult");
  EXPECT_STREQ(Slot<TextSlot>(event, 2)(event), L"batch");
  EXPECT_STREQ(Slot<TextSlot>(event, 3)(event), L"[\n]\n");
  FreeEvent(event);
}

TEST_F(CoreSlots, Slots6To10And14AnswerForAnUnknownApplication) {
  EXPECT_FALSE(Slot<IdToBool>(Object(), 6)(Object(), L"NONE"));
  EXPECT_EQ(Take(Slot<IdToString>(Object(), 7)(Object(), L"NONE")), L"INVALID_APP_ID");
  EXPECT_EQ(Take(Slot<void* (*)(void*, Text, Text)>(Object(), 8)(Object(), L"NONE", L"key")), L"");
  EXPECT_EQ(Take(Slot<IdToString>(Object(), 9)(Object(), L"NONE")), L"INVALID_APP_ID");
  EXPECT_EQ(Take(Slot<void* (*)(void*)>(Object(), 10)(Object())), L"162");
  EXPECT_FALSE(Slot<IdToBool>(Object(), 14)(Object(), L"NONE"));
}

TEST_F(CoreSlots, Slots15And8SetAndReadAParameter) {
  using Set = bool (*)(void*, Text, Text, Text);
  EXPECT_TRUE(Slot<Set>(Object(), 15)(Object(), L"BRENNA-GAME", L"key", L"value"));
  using Get = void* (*)(void*, Text, Text);
  EXPECT_EQ(Take(Slot<Get>(Object(), 8)(Object(), L"BRENNA-GAME", L"key")), L"value");
}

TEST_F(CoreSlots, Slots11To13AnswerFalseForTheStoreClientThatIsNotInstalled) {
  using Send = bool (*)(void*, Text, Text, Text, Text, Text, Text);
  EXPECT_FALSE(Slot<Send>(Object(), 11)(Object(), L"OSTREL-APP", L"command", L"", L"", L"", L""));
  EXPECT_FALSE(Slot<bool (*)(void*, Text, bool)>(Object(), 12)(Object(), L"OSTREL-APP", true));
  using Launch = bool (*)(void*, Text, Text, bool, Text, Text, Text, Text);
  EXPECT_FALSE(Slot<Launch>(Object(), 13)(Object(), L"OSTREL-APP", L"", true, L"", L"", L"", L""));
}

TEST_F(CoreSlots, Slot16StartsAQuery) {
  IMPORT_HOOK(socket) sockets(host.Module());
  sockets.FailAlways(INVALID_SOCKET);
  using Query = void (*)(void*, Text, Text, Text, Text, unsigned int);
  Slot<Query>(Object(), 16)(Object(), L"request", L"second", L"1", L"127.0.0.1", 1);
  Slot<void (*)(void*)>(Object(), 4)(Object());
  void* const event = Next();
  ASSERT_NE(event, nullptr);
  EXPECT_STREQ(Slot<TextSlot>(event, 0)(event), L"request");
  EXPECT_STREQ(Slot<TextSlot>(event, 1)(event), L"QueryServerResult");
  EXPECT_STREQ(Slot<TextSlot>(event, 2)(event), L"second");
  FreeEvent(event);
}

TEST_F(CoreSlots, Slot17PollsTheGames) {
  IMPORT_HOOK(CreateFileA) opens(host.Module());
  Slot<void (*)(void*)>(Object(), 17)(Object());
  EXPECT_EQ(opens.CallCount(), 7u);
}

TEST_F(CoreSlots, Slot1OfAStringDestroysItAndFreesItWhenBit0IsSet) {
  AllocationTracker memory(host.Module());
  void* string = Slot<void* (*)(void*)>(Object(), 10)(Object());
  EXPECT_EQ(Slot<DestroySlot>(string, 1)(string, 1), string);
  EXPECT_EQ(memory.Outstanding(), 0u);

  string = Slot<void* (*)(void*)>(Object(), 10)(Object());
  EXPECT_EQ(Slot<DestroySlot>(string, 1)(string, 0), string);
  EXPECT_TRUE(memory.IsOutstanding(string));
  EXPECT_EQ(memory.Outstanding(), 1u);
  memory.Free(string);
}

TEST(CoreDestroySlot, DestroysTheLauncherAndFreesItWhenBit0IsSet) {
  DllHost host(DllHost::Creation::kLater);
  AllocationTracker memory(host.Module());
  void* launcher = host.Dll().createLauncher(nullptr, nullptr);
  ASSERT_TRUE(memory.IsOutstanding(launcher));
  EXPECT_EQ(Slot<DestroySlot>(launcher, 18)(launcher, 1), launcher);
  EXPECT_FALSE(memory.IsOutstanding(launcher));

  launcher = host.Dll().createLauncher(nullptr, nullptr);
  EXPECT_EQ(Slot<DestroySlot>(launcher, 18)(launcher, 0), launcher);
  EXPECT_TRUE(memory.IsOutstanding(launcher));
  memory.Free(launcher);
}

TEST(CoreDestroySlot, IsAllThatDestroyLauncherCallsWithBit0Set) {
  const LauncherDll dll;
  NotingObject<19> launcher;
  dll.destroyLauncher(static_cast<ILauncher*>(launcher.Address()));
  EXPECT_THAT(launcher.Calls(), ElementsAre(SlotCall(18U, launcher.Address(), 1U)));
}

// What DestroyLauncher is made of, for hosts whose compiler calls slot 18 by itself.
TEST(CoreDestroySlot, DestroyLauncherFreesTheObject) {
  DllHost host(DllHost::Creation::kLater);
  AllocationTracker memory(host.Module());
  ILauncher* const launcher = host.Dll().createLauncher(nullptr, nullptr);
  ASSERT_TRUE(memory.IsOutstanding(launcher));
  host.Dll().destroyLauncher(launcher);
  EXPECT_FALSE(memory.IsOutstanding(launcher));
}

}  // namespace
}  // namespace test_support
