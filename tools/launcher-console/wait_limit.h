// Time limits as people write them: in seconds.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_WAIT_LIMIT_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_WAIT_LIMIT_H_

#include <CLI/CLI.hpp>
#include <chrono>
#include <string>

namespace console {

inline constexpr double kLongestWaitSeconds = 86400;

inline std::chrono::milliseconds ToMilliseconds(double seconds) {
  constexpr double kMillisecondsPerSecond = 1000;
  return std::chrono::milliseconds(static_cast<long long>(seconds * kMillisecondsPerSecond));
}

/// Adds an option that takes seconds, from 0 to a day.
inline CLI::Option* AddSecondsOption(CLI::App& command, const std::string& name, double& seconds,
                                     const std::string& description) {
  return command.add_option(name, seconds, description)
      ->check(CLI::Range(0.0, kLongestWaitSeconds).description(""))
      ->type_name("SECONDS");
}

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_WAIT_LIMIT_H_
