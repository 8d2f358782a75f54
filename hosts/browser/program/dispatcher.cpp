#include "hosts/browser/program/dispatcher.h"

#include <array>
#include <functional>
#include <limits>
#include <map>
#include <numeric>

#include "hosts/common/checks.h"
#include "hosts/common/known_applications.h"

namespace browser_host {
namespace {

// Each is a thread, and a ping batch a process, too.
constexpr std::size_t kMostOutstandingResults = 16;
constexpr std::uint64_t kHighestPort = 65535;

// The launcher makes a link of its command line.
constexpr std::string_view kStoreClient = "OSTREL-APP";

// A page cannot harm with it.
constexpr std::string_view kHarmlessParameter = "EXTRA_ARGUMENTS";

Json ToJson(const host::PingResult& result) {
  if (!result.hasTimes) {
    throw RequestError(
        "helper_missing",
        "the helper program gave no times: it is missing, does not start or does not "
        "answer");
  }
  Json list = Json::array();
  for (const auto& [address, milliseconds] : result.times) {
    list.push_back({{"address", address},
                    {"milliseconds", milliseconds ? Json(*milliseconds) : Json(nullptr)}});
  }
  return list;
}

Json ArgumentsOf(const host::Event& event) {
  std::size_t count = event.arguments.size();
  while (count > 0 && event.arguments[count - 1].empty()) --count;
  Json arguments = Json::array();
  for (std::size_t i = 0; i < count; ++i) arguments.push_back(event.arguments[i]);
  return arguments;
}

// A result without its JSON text, which is replaced by what can be read from it.
Json ResultMessage(const host::Event& event, const std::function<Json()>& read) {
  Json json = {{"source", event.source},
               {"name", event.name},
               {"arguments", Json::array({event.arguments[0]})}};
  try {
    json["result"] = read();
  } catch (const RequestError& error) {
    json["result"] = nullptr;
    json["code"] = error.code;
    json["problem"] = error.what();
  } catch (const std::exception& error) {
    json["result"] = nullptr;
    json["problem"] = error.what();
  }
  return {{"event", std::move(json)}};
}

}  // namespace

Json Dispatcher::ToMessage(const host::Event& event) {
  if (host::IsPingResult(event)) {
    return ResultMessage(event, [&] { return ToJson(host::ReadPingResult(event.arguments[1])); });
  }
  if (host::IsQueryResult(event)) {
    return ResultMessage(event,
                         [&] { return host::ToJson(host::ReadQueryResult(event.arguments[1])); });
  }
  return {{"event",
           {{"source", event.source}, {"name", event.name}, {"arguments", ArgumentsOf(event)}}}};
}

Json Dispatcher::Call(const Request& request) {
  using Operation = Json (*)(Dispatcher&, const Request&);
  static const std::map<std::string, Operation> operations{
      {"echo", [](Dispatcher&, const Request& r) -> Json { return r.Parameters(); }},
      {"postEvent", [](Dispatcher& d, const Request& r) { return d.PostEvent(r); }},
      {"pingBatch", [](Dispatcher& d, const Request& r) { return d.PingBatch(r); }},
      {"isInstalled",
       [](Dispatcher& d, const Request& r) -> Json { return d.launcher.IsInstalled(r.AppId()); }},
      {"getVersion",
       [](Dispatcher& d, const Request& r) -> Json { return d.launcher.GetVersion(r.AppId()); }},
      {"getParameter",
       [](Dispatcher& d, const Request& r) -> Json {
         return d.launcher.GetParameter(r.AppId(), r.Text("key"));
       }},
      {"getExtraArguments",
       [](Dispatcher& d, const Request& r) -> Json {
         return d.launcher.GetExtraArguments(r.AppId());
       }},
      {"getLauncherVersion",
       [](Dispatcher& d, const Request&) -> Json { return d.launcher.GetLauncherVersion(); }},
      {"sendCommand", [](Dispatcher& d, const Request& r) { return d.SendCommand(r); }},
      {"kill", [](Dispatcher& d, const Request& r) -> Json { return d.launcher.Kill(r.AppId()); }},
      {"launch", [](Dispatcher& d, const Request& r) { return d.Launch(r); }},
      {"isRunning",
       [](Dispatcher& d, const Request& r) -> Json { return d.launcher.IsRunning(r.AppId()); }},
      {"setParameter", [](Dispatcher& d, const Request& r) { return d.SetParameter(r); }},
      {"queryServer", [](Dispatcher& d, const Request& r) { return d.QueryServer(r); }},
      {"pollApps",
       [](Dispatcher& d, const Request&) -> Json {
         d.launcher.PollApps();
         return nullptr;
       }},
  };
  const auto found = operations.find(request.Method());
  if (found == operations.end()) {
    throw RequestError("unknown_method", "there is no method '" + request.Method() + "'");
  }
  return found->second(*this, request);
}

Json Dispatcher::PostEvent(const Request& request) {
  host::Event event;
  event.source = request.Text("source");
  event.name = request.Text("name");
  const auto arguments = request.Texts("arguments", event.arguments.size());
  std::copy(arguments.begin(), arguments.end(), event.arguments.begin());
  // Results are counted, to know when the last worker is done.
  if (event.name == "PingBatchResult" || event.name == "QueryServerResult") {
    throw RequestError("not_permitted", "results come from the launcher alone");
  }
  launcher.PostEvent(event);
  return nullptr;
}

Json Dispatcher::PingBatch(const Request& request) {
  const std::string batchId = request.Text("batchId");
  const std::vector<std::string> addresses =
      request.Texts("addresses", host::LauncherClient::kMostAddresses);
  for (const std::string& address : addresses) {
    if (!host::IsIpv4Address(address)) {
      throw RequestError("invalid_params", "'" + address + "' is no IPv4 address");
    }
  }
  CheckRoomForResult();
  launcher.PingBatch(batchId, addresses);
  return true;
}

Json Dispatcher::SendCommand(const Request& request) {
  std::array<std::string, 4> arguments;
  const std::string command = request.Text("command");
  if (command.empty()) throw RequestError("invalid_params", "'command' must not be empty");
  const auto given = request.Texts("arguments", arguments.size());
  std::copy(given.begin(), given.end(), arguments.begin());
  const std::size_t size = std::accumulate(
      arguments.begin(), arguments.end(), command.size(),
      [](std::size_t sum, const std::string& argument) { return sum + argument.size(); });
  if (!commandBudget.Has(size)) {
    throw RequestError("busy", "the games have been sent too much; wait a little");
  }
  const bool isSent = launcher.SendCommand(request.AppId(), command, arguments);
  if (isSent) commandBudget.Take(size);
  return isSent;
}

Json Dispatcher::Launch(const Request& request) {
  const std::string commandLine = request.TextOr("commandLine", "");
  const std::string appId = request.AppId();
  // The helper's line has its fields separated by "|": a page must not add fields of its own, such
  // as another program.
  if (!host::FitsHelperLine(commandLine)) {
    throw RequestError("invalid_params",
                       "'commandLine' must hold no '|', nothing like it and no control character");
  }
  if (appId == kStoreClient && !host::IsPartOfLink(commandLine)) {
    throw RequestError("invalid_params",
                       "'commandLine' must be the rest of a link: letters, digits and "
                       "-._~:/?#[]@!$&'()*+,;=%");
  }
  return launcher.Launch(appId, commandLine, request.FlagOr("flag", false));
}

Json Dispatcher::SetParameter(const Request& request) {
  const std::string key = request.Text("key");
  const std::string value = request.Text("value");
  if (key != kHarmlessParameter && !permissions.probe) {
    throw RequestError("not_permitted",
                       "this origin may not set '" + key + "': it lacks the permission 'probe'");
  }
  if (!host::FitsHelperLine(value)) {
    throw RequestError("invalid_params",
                       "'value' must hold no '|', nothing like it and no control character");
  }
  return launcher.SetParameter(request.AppId(), key, value);
}

Json Dispatcher::QueryServer(const Request& request) {
  const std::string requestId = request.Text("requestId");
  const std::string address = request.Text("address");
  const std::string gameId = request.Text("gameId");
  const std::uint64_t port = request.Number("port", kHighestPort);
  // Else the result could not be told from a command of that game.
  if (host::FindKnownApplication(requestId) != nullptr) {
    throw RequestError("invalid_params", "'requestId' must be no application's identifier");
  }
  if (!host::IsIpv4Address(address) || port == 0) {
    throw RequestError("invalid_params",
                       "'address' and 'port' must be an IPv4 address and 1 to "
                       "65535");
  }
  if (!host::ParseNumber(gameId, std::numeric_limits<std::uint64_t>::max())) {
    throw RequestError("invalid_params", "'gameId' must be a decimal number, as a text");
  }
  CheckRoomForResult();
  launcher.QueryServer(requestId, request.TextOr("text", ""), gameId, address,
                       static_cast<std::uint16_t>(port));
  return nullptr;
}

void Dispatcher::CheckRoomForResult() const {
  if (launcher.OutstandingResults() < kMostOutstandingResults) return;
  throw RequestError(
      "busy", std::to_string(kMostOutstandingResults) + " pings and queries are still under way");
}

}  // namespace browser_host
