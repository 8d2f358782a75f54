#include "tools/launcher-console/options.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "hosts/common/text.h"
#include "tools/launcher-console/errors.h"
#include "tools/launcher-console/suggestion.h"

namespace console {
namespace {

constexpr double kLongestWaitSeconds = 86400;

std::string ShortName(const std::string& id) { return id.substr(0, id.rfind('-')); }

void ReadWords(std::istream& stream, std::vector<std::string>& words) {
  for (std::string line; std::getline(stream, line);) {
    std::istringstream rest(line.substr(0, line.find('#')));
    for (std::string word; rest >> word;) words.push_back(word);
  }
}

}  // namespace

std::chrono::milliseconds ToMilliseconds(double seconds) {
  constexpr double kMillisecondsPerSecond = 1000;
  return std::chrono::milliseconds(static_cast<long long>(seconds * kMillisecondsPerSecond));
}

CLI::Option* AddSecondsOption(CLI::App& command, const std::string& name, double& seconds,
                              const std::string& description) {
  return command.add_option(name, seconds, description)
      ->check(CLI::Range(0.0, kLongestWaitSeconds).description(""))
      ->type_name("SECONDS");
}

const host::KnownApplication& FindApplication(const std::string& word) {
  std::vector<std::string> names;
  for (const auto& application : host::kKnownApplications) {
    if (SameIgnoringCase(word, application.id) ||
        SameIgnoringCase(word, ShortName(application.id))) {
      return application;
    }
    names.emplace_back(application.id);
    names.push_back(ShortName(application.id));
  }
  std::string message = "unknown application '" + word + "'" + DidYouMean(word, names);
  if (Nearest(word, names).empty()) {
    message += "; the launcher knows";
    for (const auto& application : host::kKnownApplications) {
      message += std::string(" ") + application.id;
    }
  }
  throw CLI::ValidationError(message);
}

CLI::Option* AddApplication(CLI::App& command, std::string& id, const std::string& description) {
  return command.add_option_function<std::string>(
      "APP", [&id](const std::string& word) { id = FindApplication(word).id; }, description);
}

bool IsStoreClient(const host::KnownApplication& application) {
  return application.pipeName[0] == '\0';
}

std::vector<std::string> CollectWords(const std::vector<std::string>& words,
                                      const std::string& file) {
  std::vector<std::string> collected = words;
  if (file == "-") {
    ReadWords(std::cin, collected);
  } else if (!file.empty()) {
    std::ifstream stream(std::filesystem::path(host::ToWide(file)));
    if (!stream) throw WrongUsage("cannot read " + file);
    ReadWords(stream, collected);
  }
  return collected;
}

std::uint32_t AddressNumber(const std::string& address) {
  std::uint32_t number = 0;
  std::istringstream parts(address);
  for (std::string part; std::getline(parts, part, '.');) {
    number = number << 8 | static_cast<std::uint32_t>(std::stoul(part));
  }
  return number;
}

void AddRoundOptions(CLI::App& command, RoundOptions& options) {
  command
      .add_option("--file", options.file, "Read further servers from a file; - is standard input")
      ->type_name("PATH");
  AddSecondsOption(command, "--timeout", options.timeoutSeconds,
                   "How long a round may take (default 30)");
  command
      .add_option_function<std::size_t>(
          "--count",
          [&options](const std::size_t& count) {
            options.count = count;
            options.hasCount = true;
          },
          "Ask so often (default once)")
      ->check(CLI::PositiveNumber.description(""))
      ->type_name("N");
  AddSecondsOption(command, "--interval", options.intervalSeconds,
                   "Pause between two rounds (default 1)");
  command.add_option("--retry", options.retries, "Ask those that did not answer so often again")
      ->check(CLI::Range(0, 100).description(""))
      ->type_name("N");
  command.add_flag("--watch", options.isWatching,
                   "Go on until Ctrl+C, or as often as --count says, and show the last round");
}

}  // namespace console
