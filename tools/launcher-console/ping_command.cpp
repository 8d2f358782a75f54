#include <algorithm>
#include <memory>

#include "hosts/common/checks.h"
#include "tools/launcher-console/commands.h"
#include "tools/launcher-console/wait_limit.h"

namespace console {
namespace {

using host::PingTime;

struct PingArguments {
  std::vector<std::string> addresses;
  double timeoutSeconds = 30;
};

// A batch has room for 256 times. Smaller ones show progress on the way.
constexpr std::size_t kAddressesPerBatch = 64;
constexpr std::size_t kMaxAddresses = 4096;

struct Statistics {
  std::uint32_t least = 0;
  double median = 0;
  std::uint32_t most = 0;
};

// The answered ones come first, in ascending order.
void Sort(std::vector<PingTime>& times) {
  std::stable_sort(times.begin(), times.end(), [](const PingTime& a, const PingTime& b) {
    return a.milliseconds < b.milliseconds;
  });
}

std::size_t AnsweredCount(const std::vector<PingTime>& times) {
  return static_cast<std::size_t>(
      std::count_if(times.begin(), times.end(),
                    [](const PingTime& time) { return time.milliseconds != host::kNoAnswer; }));
}

// Of the first `count` of sorted times, at least one.
Statistics Summarize(const std::vector<PingTime>& times, std::size_t count) {
  const std::size_t middle = count / 2;
  double median = times[middle].milliseconds;
  if (count % 2 == 0) median = (median + times[middle - 1].milliseconds) / 2;
  return {times[0].milliseconds, median, times[count - 1].milliseconds};
}

std::string ShortDecimal(double value) {
  Json number = value;
  std::string text = number.dump();
  if (text.ends_with(".0")) text.resize(text.size() - 2);
  return text;
}

std::vector<PingTime> Measure(Session& session, const PingArguments& arguments) {
  host::LauncherClient& launcher = session.Launcher();
  const std::vector<std::string>& addresses = arguments.addresses;
  for (std::size_t begin = 0; begin < addresses.size(); begin += kAddressesPerBatch) {
    const std::size_t end = std::min(begin + kAddressesPerBatch, addresses.size());
    launcher.PingBatch(std::to_string(begin),
                       {addresses.begin() + static_cast<std::ptrdiff_t>(begin),
                        addresses.begin() + static_cast<std::ptrdiff_t>(end)});
  }
  std::vector<PingTime> times;
  const bool complete = session.Wait(
      ToMilliseconds(arguments.timeoutSeconds), Session::Polling::kNo,
      [&](const host::Event& event) {
        if (!host::IsPingResult(event)) return false;
        const std::vector<PingTime> batch = host::ReadPingResult(event.arguments[1]);
        times.insert(times.end(), batch.begin(), batch.end());
        return times.size() == addresses.size();
      },
      [&](std::chrono::milliseconds elapsed) {
        constexpr double kSecond = 1000;
        session.Out().Progress(
            "pinging: " + std::to_string(times.size()) + " of " + std::to_string(addresses.size()) +
            ", " + ShortDecimal(static_cast<double>(elapsed.count() / 100) * 100 / kSecond) + " s");
      });
  if (!complete) {
    throw NotDone("the helper program has not answered for " +
                  std::to_string(addresses.size() - times.size()) + " of " +
                  std::to_string(addresses.size()) + " addresses; see 'doctor'");
  }
  return times;
}

void PrintTable(Session& session, const std::vector<PingTime>& times, std::size_t answered) {
  std::vector<Row> rows{{"ADDRESS", "TIME"}};
  for (const PingTime& time : times) {
    const bool hasAnswer = time.milliseconds != host::kNoAnswer;
    rows.push_back(
        {time.address, hasAnswer ? std::to_string(time.milliseconds) + " ms" : "no answer"});
  }
  session.Out().Table(rows, {Align::kLeft, Align::kRight});
  session.Out().Line();
  std::string summary =
      std::to_string(answered) + " of " + std::to_string(times.size()) + " answered";
  if (answered > 0) {
    const Statistics statistics = Summarize(times, answered);
    summary += "; min " + std::to_string(statistics.least) + " ms, median " +
               ShortDecimal(statistics.median) + " ms, max " + std::to_string(statistics.most) +
               " ms";
  }
  session.Out().Line(summary);
  if (times.front().milliseconds == 0) {
    session.Out().Line("0 ms: less than one millisecond, or the helper program gave no time");
  }
}

void PrintJson(Session& session, const std::vector<PingTime>& times, std::size_t answered) {
  Json list = Json::array();
  for (const PingTime& time : times) {
    const bool hasAnswer = time.milliseconds != host::kNoAnswer;
    list.push_back({{"address", time.address},
                    {"milliseconds", hasAnswer ? Json(time.milliseconds) : Json(nullptr)}});
  }
  Json document = {{"times", std::move(list)}, {"answered", answered}};
  if (answered > 0) {
    const Statistics statistics = Summarize(times, answered);
    document["min"] = statistics.least;
    document["median"] = statistics.median;
    document["max"] = statistics.most;
  }
  session.Out().Document(document);
}

ExitCode Ping(Session& session, const PingArguments& arguments) {
  if (arguments.addresses.size() > kMaxAddresses) {
    throw WrongUsage("more than " + std::to_string(kMaxAddresses) + " addresses");
  }
  for (const std::string& address : arguments.addresses) {
    if (!host::IsIpv4Address(address)) {
      throw WrongUsage("'" + address + "' is no IPv4 address, as in 192.0.2.1");
    }
  }
  std::vector<PingTime> times = Measure(session, arguments);
  Sort(times);
  const std::size_t answered = AnsweredCount(times);
  if (session.IsJson()) {
    PrintJson(session, times, answered);
  } else {
    PrintTable(session, times, answered);
  }
  return answered > 0 ? ExitCode::kDone : ExitCode::kNotDone;
}

}  // namespace

void AddPingCommand(CLI::App& app, Action& action) {
  const auto arguments = std::make_shared<PingArguments>();
  CLI::App* const ping =
      app.add_subcommand("ping", "Measure the round-trip times to servers, the fastest first");
  ping->add_option("ADDRESS", arguments->addresses, "IPv4 addresses, as in 192.0.2.1")->required();
  AddSecondsOption(*ping, "--timeout", arguments->timeoutSeconds,
                   "How long to wait for the helper program (default 30)");
  ping->callback([&action, arguments] {
    action = [arguments](Session& session) { return Ping(session, *arguments); };
  });
}

}  // namespace console
