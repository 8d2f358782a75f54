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

TEST(PellmarCommand, HoldsNameAndArguments) {
  const PellmarCommand command("JoinGame", "a b");
  EXPECT_EQ(command.name, "JoinGame");
  EXPECT_EQ(command.args, "a b");
}

TEST(PellmarCommand, CopiesItsTexts) {
  std::string name = "JoinGame";
  std::string args = "a b";
  const PellmarCommand command(name, args);
  name[0] = 'X';
  args[0] = 'X';
  EXPECT_EQ(command.name, "JoinGame");
  EXPECT_EQ(command.args, "a b");
}

TEST(PellmarCommand, AnswersItsQuestionsWithFalse) {
  const PellmarCommand command("JoinGame", "a b");
  EXPECT_FALSE(command.isQuery());
  EXPECT_FALSE(command.isReply());
}

TEST(PellmarCommand, ExecutesNothing) {
  PellmarCommand command("JoinGame", "a b");
  command.execute("Other", "c");
  EXPECT_EQ(command.name, "JoinGame");
  EXPECT_EQ(command.args, "a b");
}

TEST(CommandHandler, BeginsWithoutCommands) {
  const CommandHandler handler(nullptr);
  EXPECT_THAT(handler.commands, IsEmpty());
}

TEST(CommandHandler, GivesUnknownNamesToTheDefaultCommand) {
  Calls calls;
  CommandHandler handler(std::make_unique<NotingCommand>("default", calls));
  handler.commands["known"] = std::make_unique<NotingCommand>("known", calls);
  handler.Dispatch("unknown", "a b");
  handler.Dispatch("", "");
  handler.Dispatch("Known", "c");   // letter case counts
  handler.Dispatch("knownX", "d");  // so does length
  EXPECT_THAT(calls, ElementsAre("default got unknown(a b)", "default got ()",
                                 "default got Known(c)", "default got knownX(d)"));
}

TEST(CommandHandler, GivesRegisteredNamesToTheirCommands) {
  Calls calls;
  CommandHandler handler(std::make_unique<NotingCommand>("default", calls));
  handler.commands["one"] = std::make_unique<NotingCommand>("first", calls);
  handler.commands["two"] = std::make_unique<NotingCommand>("second", calls);
  handler.Dispatch("two", "a");
  handler.Dispatch("one", "b c");
  EXPECT_THAT(calls, ElementsAre("second got two(a)", "first got one(b c)"));
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

TEST(CommandHandler, OrdersNamesByBytesShorterFirst) {
  CommandHandler handler(nullptr);
  for (const char* const name : {"b", "\xC3\xA4", "ab", "a", "B"}) handler.commands[name] = nullptr;
  std::vector<std::string> names;
  for (const auto& entry : handler.commands) names.push_back(entry.first);
  EXPECT_THAT(names, ElementsAre("B", "a", "ab", "b", "\xC3\xA4"));
}

TEST(CommandHandler, DestroysTheRegisteredCommandsThenTheDefault) {
  Calls calls;
  {
    CommandHandler handler(std::make_unique<NotingCommand>("default", calls));
    handler.commands["b"] = std::make_unique<NotingCommand>("second", calls);
    handler.commands["c"] = std::make_unique<NotingCommand>("third", calls);
    handler.commands["a"] = std::make_unique<NotingCommand>("first", calls);
    handler.commands["d"] = nullptr;
  }
  EXPECT_THAT(calls, ElementsAre("first destroyed", "second destroyed", "third destroyed",
                                 "default destroyed"));
}

TEST(CommandHandler, DestroysThroughABasePointer) {
  Calls calls;
  class Derived final : public CommandHandler {
   public:
    explicit Derived(Calls& noted) : CommandHandler(nullptr), calls(noted) {}
    ~Derived() override { calls.push_back("derived handler destroyed"); }

   private:
    Calls& calls;
  };
  std::unique_ptr<CommandHandler> handler = std::make_unique<Derived>(calls);
  handler.reset();
  EXPECT_THAT(calls, ElementsAre("derived handler destroyed"));
}

}  // namespace
}  // namespace vorn
