#include "gamepipe/command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vorn {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Calls = std::vector<std::string>;

// Notes what happens to it under its own label.
class NotingCommand : public PellmarCommand {
 public:
  NotingCommand(std::string commandLabel, Calls& noted)
      : PellmarCommand("", ""), label(std::move(commandLabel)), calls(noted) {}
  ~NotingCommand() override { calls.push_back(label + " destroyed"); }

  void execute(const std::string& receivedName, const std::string& receivedArgs) override {
    calls.push_back(label + " got " + receivedName + "(" + receivedArgs + ")");
  }

 private:
  std::string label;
  Calls& calls;
};

TEST(PellmarCommand, AnswersItsQuestionsWithFalseAndDoesNothing) {
  PellmarCommand command("JoinGame", "a b");
  EXPECT_FALSE(command.isQuery());
  EXPECT_FALSE(command.isReply());
  command.execute("LeaveGame", "c");
  EXPECT_EQ(command.name, "JoinGame");
  EXPECT_EQ(command.args, "a b");
}

TEST(CommandHandler, RegisteredNamesGoToTheirCommandsOthersToTheDefault) {
  Calls calls;
  CommandHandler handler(std::make_unique<NotingCommand>("default", calls));
  EXPECT_THAT(handler.commands, IsEmpty());
  handler.commands["one"] = std::make_unique<NotingCommand>("first", calls);
  handler.commands["two"] = std::make_unique<NotingCommand>("second", calls);
  for (const char* const name : {"two", "one", "", "One", "oneX", "on"}) {
    handler.Dispatch(name, "a b");
  }
  EXPECT_THAT(calls,
              ElementsAre("second got two(a b)", "first got one(a b)", "default got (a b)",
                          "default got One(a b)", "default got oneX(a b)", "default got on(a b)"));
}

TEST(CommandHandler, WithoutATargetNothingHappens) {
  Calls calls;
  CommandHandler handler(nullptr);
  handler.Dispatch("unknown", "a");
  // A name that is registered without an object does not fall back on the default.
  handler.defaultCommand = std::make_unique<NotingCommand>("default", calls);
  handler.commands["empty"] = nullptr;
  handler.Dispatch("empty", "a");
  EXPECT_THAT(calls, IsEmpty());
}

TEST(CommandHandler, DestroysTheRegisteredCommandsThenTheDefault) {
  Calls calls;
  {
    CommandHandler handler(std::make_unique<NotingCommand>("default", calls));
    for (const char* const name : {"b", "c", "a"}) {
      handler.commands[name] = std::make_unique<NotingCommand>(name, calls);
    }
  }
  EXPECT_THAT(calls, ElementsAre("a destroyed", "b destroyed", "c destroyed", "default destroyed"));
}

}  // namespace
}  // namespace vorn
