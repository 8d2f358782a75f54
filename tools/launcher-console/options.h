// Options that several commands have, under one name.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_OPTIONS_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "hosts/common/known_applications.h"

namespace console {

std::chrono::milliseconds ToMilliseconds(double seconds);

/// Adds an option that takes seconds, from 0 to a day.
CLI::Option* AddSecondsOption(CLI::App& command, const std::string& name, double& seconds,
                              const std::string& description);

/// The application with this identifier or short name, which is the identifier without "-GAME" or
/// "-APP". Ignores case. Throws CLI::ValidationError for any other word.
const host::KnownApplication& FindApplication(const std::string& word);

/// Adds the argument APP; `id` becomes the identifier.
CLI::Option* AddApplication(CLI::App& command, std::string& id, const std::string& description);

/// Whether it is the store client, which has neither pipe nor process of its own here.
bool IsStoreClient(const host::KnownApplication& application);

/// Words of the command line, of a file, or of standard input when the file is called "-". "#"
/// begins a comment in a file. Throws WrongUsage when the file cannot be read.
std::vector<std::string> CollectWords(const std::vector<std::string>& words,
                                      const std::string& file);

/// For sorting: 192.0.2.9 comes before 192.0.2.10. The address has been checked.
std::uint32_t AddressNumber(const std::string& address);

/// What `ping` and `query` share.
struct RoundOptions {
  std::string file;
  double timeoutSeconds = 0;
  std::size_t count = 1;
  double intervalSeconds = 1;
  std::size_t retries = 0;
  bool isWatching = false;
  bool hasCount = false;

  /// Whether there is a round after this one.
  bool GoesOn(std::size_t roundsDone) const {
    return isWatching && !hasCount ? true : roundsDone < count;
  }
};

void AddRoundOptions(CLI::App& command, RoundOptions& options);

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_OPTIONS_H_
