// The slots that destroy, called by number as a host of another compiler does. tests/host_c/ calls all
// others so.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/allocation_tracker.h"
#include "tests/support/dll_host.h"

namespace test_support {
namespace {

using testing::ElementsAre;

// The function in a slot of the object's first table.
template <typename Function>
Function Slot(void* object, std::size_t number) {
  return reinterpret_cast<Function>((*static_cast<void***>(object))[number]);
}

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
  void* NewString() { return host->GetLauncherVersion(); }

  DllHost host;
};

TEST_F(CoreSlots, Slot3CallsSlot1OfTheStringWithBit0SetAndNothingElse) {
  NotingObject<2> string;
  host->FreeString(static_cast<IString*>(string.Address()));
  EXPECT_THAT(string.Calls(), ElementsAre(SlotCall(1U, string.Address(), 1U)));
}

TEST_F(CoreSlots, Slot1OfAStringDestroysItAndFreesItWhenBit0IsSet) {
  AllocationTracker memory(host.Module());
  void* string = NewString();
  EXPECT_EQ(Slot<DestroySlot>(string, 1)(string, 1), string);
  EXPECT_EQ(memory.Outstanding(), 0u);

  string = NewString();
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

}  // namespace
}  // namespace test_support
