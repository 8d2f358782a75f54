// A game's command for which there is no memory is lost; those behind it are not.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gamepipe/generic_pellmar_command.h"
#include "tests/support/failing_malloc.h"

namespace launcher {
namespace {

class Receiver final : public CommandEventReceiver {
 public:
  void QueueEvent(EventPtr event) override { events.push_back(std::move(event)); }
  std::vector<EventPtr> events;
};

TEST(CommandMemory, ACommandWithoutMemoryIsLostAlone) {
  Receiver receiver;
  GenericPellmarCommand command(receiver, L"TAVR-GAME");
  const std::string name = "ACommandWithALongEnoughName";
  const std::string args = "some arguments";
  std::size_t failures = 0;
  {
    // The list of the command's words, which has room for eight from the start.
    const test_support::FailingMalloc noMemory(8 * sizeof(std::string_view));
    command.execute(name, args);
    failures = noMemory.Count();
  }
  EXPECT_GT(failures, 0u);
  EXPECT_TRUE(receiver.events.empty());
  command.execute(name, args);
  ASSERT_EQ(receiver.events.size(), 1u);
  EXPECT_STREQ(receiver.events[0]->GetName(), L"ACommandWithALongEnoughName");
}

}  // namespace
}  // namespace launcher
