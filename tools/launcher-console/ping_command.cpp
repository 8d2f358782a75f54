#include <algorithm>
#include <limits>
#include <memory>
#include <optional>

#include "hosts/common/checks.h"
#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/options.h"

namespace console {
namespace {

struct PingArguments {
  std::vector<std::string> addresses;
  RoundOptions rounds;
  std::string sort = "time";
  bool isAnsweredOnly = false;
  std::optional<std::uint32_t> most;  // milliseconds
};

// Small batches show progress on the way.
constexpr std::size_t kAddressesPerBatch = 64;
constexpr std::size_t kMaxAddresses = 4096;

using Answer = std::optional<std::uint32_t>;  // milliseconds

struct Target {
  std::string address;
  std::vector<Answer> answers;  // one for each round

  std::vector<std::uint32_t> Times() const {
    std::vector<std::uint32_t> times;
    for (const Answer& answer : answers) {
      if (answer) times.push_back(*answer);
    }
    return times;
  }
};

struct Statistics {
  std::uint32_t least = 0;
  double median = 0;
  std::uint32_t most = 0;
};

// Of at least one time.
Statistics Summarize(std::vector<std::uint32_t> times) {
  std::sort(times.begin(), times.end());
  const std::size_t middle = times.size() / 2;
  double median = times[middle];
  if (times.size() % 2 == 0) median = (median + times[middle - 1]) / 2;
  return {times.front(), median, times.back()};
}

std::string ShortDecimal(double value) {
  const Json number = value;
  std::string text = number.dump();
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  return text;
}

std::string Milliseconds(double value) { return ShortDecimal(value) + " ms"; }

/// One run of the command.
class Ping {
 public:
  Ping(Session& consoleSession, const PingArguments& commandArguments)
      : session(consoleSession), arguments(commandArguments) {
    for (const std::string& address : CollectWords(arguments.addresses, arguments.rounds.file)) {
      if (!host::IsIpv4Address(address)) {
        throw WrongUsage("'" + address + "' is no IPv4 address, as in 192.0.2.1");
      }
      targets.push_back({address, {}});
    }
    if (targets.empty()) throw WrongUsage("no address is given");
    if (targets.size() > kMaxAddresses) {
      throw WrongUsage("more than " + std::to_string(kMaxAddresses) + " addresses");
    }
  }

  ExitCode Run() {
    bool isInterrupted = false;
    std::size_t done = 0;
    try {
      for (;;) {
        Round();
        ++done;
        if (arguments.rounds.isWatching && !session.IsJson()) {
          session.Out().Redraw();
          Print();
        }
        if (!arguments.rounds.GoesOn(done)) break;
        Session::Pause(ToMilliseconds(arguments.rounds.intervalSeconds));
      }
    } catch (const CommandError& error) {
      // What is known by now is still of use.
      if (error.exitCode != ExitCode::kInterrupted || done == 0) throw;
      isInterrupted = true;
      for (Target& target : targets) target.answers.resize(done);
    }
    if (session.IsJson()) {
      if (hasHelper) PrintJson();
    } else if (!arguments.rounds.isWatching) {
      Print();
    }
    if (!hasHelper) {
      throw CommandError(ExitCode::kEnvironment,
                         "the helper program gave no times: it is missing, does not start or does "
                         "not answer; 'launcher-console doctor' says which");
    }
    if (isInterrupted) return ExitCode::kInterrupted;
    return AnswerCount() == PingCount() ? ExitCode::kDone : ExitCode::kNotDone;
  }

 private:
  void Round() {
    for (Target& target : targets) target.answers.emplace_back();
    for (std::size_t attempt = 0; attempt <= arguments.rounds.retries; ++attempt) {
      std::vector<Target*> open;
      for (Target& target : targets) {
        if (!target.answers.back()) open.push_back(&target);
      }
      if (open.empty()) return;
      Measure(open);
    }
  }

  void Measure(const std::vector<Target*>& open) {
    for (std::size_t begin = 0; begin < open.size(); begin += kAddressesPerBatch) {
      const std::size_t end = std::min(begin + kAddressesPerBatch, open.size());
      std::vector<std::string> batch;
      for (std::size_t i = begin; i < end; ++i) batch.push_back(open[i]->address);
      session.Launcher().PingBatch(std::to_string(begin), std::move(batch));
    }
    std::size_t measured = 0;
    const bool isComplete = session.Wait(
        ToMilliseconds(arguments.rounds.timeoutSeconds), Session::Polling::kNo,
        [&](const host::Event& event) {
          if (!host::IsPingResult(event)) return false;
          const auto [hasTimes, times] = host::ReadPingResult(event.arguments[1]);
          const std::size_t begin = std::stoul(event.arguments[0]);
          hasHelper = hasHelper || hasTimes;
          for (std::size_t i = 0; i < times.size() && begin + i < open.size(); ++i) {
            open[begin + i]->answers.back() = times[i].milliseconds;
            ++measured;
          }
          return measured == open.size();
        },
        [&](std::chrono::milliseconds elapsed) {
          constexpr double kTenthsPerSecond = 10;
          const auto tenths = elapsed.count() / 100;
          session.Out().Progress(
              "pinging: " + std::to_string(measured) + " of " + std::to_string(open.size()) + ", " +
              ShortDecimal(static_cast<double>(tenths) / kTenthsPerSecond) + " s");
        });
    if (!isComplete) {
      throw CommandError(ExitCode::kEnvironment,
                         "the helper program has not answered for " +
                             std::to_string(open.size() - measured) + " of " +
                             std::to_string(open.size()) +
                             " addresses; 'launcher-console doctor' says more");
    }
  }

  std::size_t PingCount() const { return targets.size() * targets.front().answers.size(); }

  std::vector<std::uint32_t> AllTimes() const {
    std::vector<std::uint32_t> all;
    for (const Target& target : targets) {
      const auto times = target.Times();
      all.insert(all.end(), times.begin(), times.end());
    }
    return all;
  }

  std::size_t AnswerCount() const { return AllTimes().size(); }

  // Sorted and filtered. Those that never answered come last.
  std::vector<const Target*> Shown() const {
    const auto time = [](const Target* target) {
      const auto times = target->Times();
      return times.empty() ? std::numeric_limits<double>::infinity() : Summarize(times).median;
    };
    std::vector<const Target*> shown;
    for (const Target& target : targets) {
      const bool hasAnswer = !target.Times().empty();
      if (!hasAnswer && (arguments.isAnsweredOnly || arguments.most)) continue;
      if (arguments.most && time(&target) > *arguments.most) continue;
      shown.push_back(&target);
    }
    if (arguments.sort == "time") {
      std::stable_sort(shown.begin(), shown.end(),
                       [&time](const Target* a, const Target* b) { return time(a) < time(b); });
    } else if (arguments.sort == "address") {
      std::stable_sort(shown.begin(), shown.end(), [](const Target* a, const Target* b) {
        return AddressNumber(a->address) < AddressNumber(b->address);
      });
    }
    return shown;
  }

  void Print() const {
    if (targets.front().answers.size() == 1) {
      PrintOneRound();
    } else {
      PrintRounds();
    }
    std::string summary =
        std::to_string(AnswerCount()) + " of " + std::to_string(PingCount()) + " answered";
    if (AnswerCount() > 0) {
      const Statistics all = Summarize(AllTimes());
      summary += "; min " + Milliseconds(all.least) + ", median " + Milliseconds(all.median) +
                 ", max " + Milliseconds(all.most);
    }
    session.Out().Line();
    session.Out().Line(summary);
  }

  void PrintOneRound() const {
    std::vector<Row> rows{{"ADDRESS", "TIME"}};
    for (const Target* const target : Shown()) {
      const Answer& answer = target->answers.back();
      rows.push_back({target->address, answer ? Milliseconds(*answer) : "no answer"});
    }
    session.Out().Table(rows, {Align::kLeft, Align::kRight});
  }

  void PrintRounds() const {
    std::vector<Row> rows{{"ADDRESS", "SENT", "ANSWERED", "LAST", "MIN", "MEDIAN", "MAX"}};
    for (const Target* const target : Shown()) {
      const auto times = target->Times();
      const Answer& last = target->answers.back();
      Row row{target->address, std::to_string(target->answers.size()), std::to_string(times.size()),
              last ? Milliseconds(*last) : "no answer"};
      if (times.empty()) {
        row.insert(row.end(), {"", "", ""});
      } else {
        const Statistics statistics = Summarize(times);
        row.insert(row.end(), {Milliseconds(statistics.least), Milliseconds(statistics.median),
                               Milliseconds(statistics.most)});
      }
      rows.push_back(std::move(row));
    }
    session.Out().Table(rows, {Align::kLeft, Align::kRight, Align::kRight, Align::kRight,
                               Align::kRight, Align::kRight, Align::kRight});
  }

  static void AddStatistics(const std::vector<std::uint32_t>& times, Json& json) {
    if (times.empty()) return;
    const Statistics statistics = Summarize(times);
    json["min"] = statistics.least;
    json["median"] = statistics.median;
    json["max"] = statistics.most;
  }

  void PrintJson() const {
    Json list = Json::array();
    for (const Target* const target : Shown()) {
      Json rounds = Json::array();
      for (const Answer& answer : target->answers) {
        rounds.push_back(answer ? Json(*answer) : Json(nullptr));
      }
      Json entry = {{"address", target->address}, {"milliseconds", rounds.back()}};
      if (rounds.size() > 1) {
        entry["rounds"] = std::move(rounds);
        AddStatistics(target->Times(), entry);
      }
      list.push_back(std::move(entry));
    }
    Json result = {{"times", std::move(list)}, {"sent", PingCount()}, {"answered", AnswerCount()}};
    AddStatistics(AllTimes(), result);
    session.Result(std::move(result));
  }

  Session& session;
  const PingArguments& arguments;
  std::vector<Target> targets;
  bool hasHelper = false;
};

}  // namespace

void AddPingCommand(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<PingArguments>();
  arguments->rounds.timeoutSeconds = 30;
  CLI::App* const ping =
      app.add_subcommand("ping", "Measure the round-trip times to servers, the fastest first");
  ping->group(kServersGroup);
  ping->add_option("ADDRESS", arguments->addresses, "IPv4 addresses, as in 192.0.2.1");
  AddRoundOptions(*ping, arguments->rounds);
  ping->add_option("--sort", arguments->sort, "time (default), address, or given")
      ->check(CLI::IsMember({"time", "address", "given"}).description(""))
      ->type_name("ORDER");
  ping->add_flag("--answered", arguments->isAnsweredOnly, "Leave out those that did not answer");
  ping->add_option("--below", arguments->most, "Leave out those that take longer")
      ->check(CLI::Range(0, 500).description(""))
      ->type_name("MSEC");
  ping->footer(
      "Examples:\n"
      "  launcher-console ping 192.0.2.1 192.0.2.2\n"
      "  launcher-console ping --file servers.txt --retry 2 --below 80\n"
      "  launcher-console ping 192.0.2.1 --count 10 --interval 0.5\n"
      "  launcher-console ping 192.0.2.1 192.0.2.2 --watch");
  ping->callback([&action, arguments] {
    action = [arguments](Session& session) { return Ping(session, *arguments).Run(); };
  });
}

}  // namespace console
