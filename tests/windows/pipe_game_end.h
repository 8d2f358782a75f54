// What the tests of the library's end of a game's pipe have in common.
#ifndef LAUNCHER_TESTS_WINDOWS_PIPE_GAME_END_H_
#define LAUNCHER_TESTS_WINDOWS_PIPE_GAME_END_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "gamepipe/command.h"
#include "tests/support/pipe_server.h"

namespace launcher {

inline constexpr DWORD kPatienceMs = 20000;
inline constexpr wchar_t kPipeName[] = LR"(\\.\pipe\launcher_windows_tests)";
inline constexpr char kPipePath[] = R"(\\.\pipe\launcher_windows_tests)";

/// Bytes that may hold zeroes, from a literal.
template <std::size_t size>
std::string RawBytes(const char (&literal)[size]) {
  return {literal, size - 1};
}

using Command = std::pair<std::string, std::string>;

/// A handler whose default command keeps what it is given.
class RecordingHandler : public vorn::CommandHandler {
 public:
  RecordingHandler() : CommandHandler(nullptr) {
    defaultCommand = std::make_unique<Recorder>(received);
  }
  std::vector<Command> Take() { return std::exchange(received, {}); }

 private:
  class Recorder final : public vorn::PellmarCommand {
   public:
    explicit Recorder(std::vector<Command>& recorded) : PellmarCommand("", ""), list(recorded) {}
    void execute(const std::string& receivedName, const std::string& receivedArgs) override {
      list.emplace_back(receivedName, receivedArgs);
    }

   private:
    std::vector<Command>& list;
  };

  std::vector<Command> received;
};

/// Repeats a step until `done`, which other things than the step may also bring about; whether it
/// was in time. There is nothing to wait for: what the system finishes shows in a later step only.
template <typename Step, typename Done>
bool StepUntil(const Step& step, const Done& done) {
  const ULONGLONG deadline = GetTickCount64() + kPatienceMs;
  while (!done()) {
    if (GetTickCount64() >= deadline) return false;
    step();
    SwitchToThread();
  }
  return true;
}

}  // namespace launcher

#endif  // LAUNCHER_TESTS_WINDOWS_PIPE_GAME_END_H_
