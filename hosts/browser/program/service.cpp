#include "hosts/browser/program/service.h"

#include <array>
#include <utility>

#include "hosts/browser/program/message_stream.h"
#include "hosts/common/known_applications.h"

namespace browser_host {
namespace {

// As often as the games' pipes are looked after while something goes on, and else: every look tries
// to open the pipe of every game, and most pages stay open for hours without one.
constexpr DWORD kBusyPollMilliseconds = 100;
constexpr DWORD kIdlePollMilliseconds = 1000;
// A request or an event is something for so long.
constexpr ULONGLONG kBusyMilliseconds = 10000;
// A helper that hangs keeps them waiting for ever.
constexpr std::size_t kMostWaiting = 16;

std::string ToText(const Json& message) {
  return message.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

bool Service::Serve() {
  while (!isClosed && !isRefused) {
    WaitForWork();
    if (!HandleInput()) break;
    if (!launcher) continue;
    PollWhenDue();
    DeliverEvent();
  }
  return !isRefused;
}

void Service::WaitForWork() const {
  if (!launcher) {
    WaitForSingleObject(input.Filled(), INFINITE);
    return;
  }
  if (mayHaveEvents) return;
  const std::array<HANDLE, 2> objects{input.Filled(), launcher->EventQueued()};
  WaitForMultipleObjects(static_cast<DWORD>(objects.size()), objects.data(), FALSE, PollInterval());
}

DWORD Service::PollInterval() const {
  const bool isBusy =
      !connectedGames.empty() || GetTickCount64() - lastActivity < kBusyMilliseconds;
  return isBusy ? kBusyPollMilliseconds : kIdlePollMilliseconds;
}

// Not with every message: polling tries to open the pipe of every game.
void Service::PollWhenDue() {
  const ULONGLONG now = GetTickCount64();
  if (now - lastPoll < PollInterval()) return;
  lastPoll = now;
  launcher->PollApps();
}

bool Service::HandleInput() {
  std::string message;
  switch (input.Take(message)) {
    case InputQueue::State::kEmpty:
      return true;
    case InputQueue::State::kMessage:
      Handle(message);
      return true;
    case InputQueue::State::kEnd:
      return false;
    case InputQueue::State::kTooLong:
      SendError(nullptr, "too_large",
                "a message is longer than " + std::to_string(kLongestIncomingMessage) + " bytes");
      isRefused = true;
      return false;
  }
  return false;
}

void Service::Handle(const std::string& message) {
  lastActivity = GetTickCount64();
  Json id;
  try {
    const Request request(message, id);
    if (request.Method() == "waitForThreads" && dispatcher) {
      if (waiting.size() == kMostWaiting) {
        throw RequestError("busy", std::to_string(kMostWaiting) + " requests wait already");
      }
      waiting.push_back(id);
      AnswerThoseWhoWait();
      return;
    }
    Send({{"id", id}, {"result", Answer(request)}});
  } catch (const RequestError& error) {
    SendError(id, error.code, error.what());
  } catch (const std::exception& error) {
    SendError(id, "failed", error.what());
  }
  // Nobody may try one origin after the other.
  if (!dispatcher) isRefused = true;
}

Json Service::Answer(const Request& request) {
  if (dispatcher) return dispatcher->Call(request);
  if (request.Method() != "hello") {
    throw RequestError("not_permitted", "the first request must be 'hello'");
  }
  return Hello(request);
}

Json Service::Hello(const Request& request) {
  const std::string origin = request.Text("origin");
  const Permissions* const permissions = origins.Find(origin);
  if (permissions == nullptr) {
    throw RequestError("refused", "the origin '" + origin + "' is not listed");
  }
  if (request.Number("protocol", kProtocolVersion) != kProtocolVersion) {
    throw RequestError("invalid_params", "the extension speaks another protocol");
  }
  try {
    launcher = std::make_unique<host::LauncherClient>(dllPath);
  } catch (const std::exception& error) {
    throw RequestError("dll_missing", error.what());
  }
  dispatcher.emplace(*launcher, *permissions);
  Json applications = Json::array();
  Json pipes = Json::object();
  for (const auto& application : host::kKnownApplications) {
    applications.push_back(application.id);
    if (*application.pipeName != '\0') pipes[application.id] = application.pipeName;
  }
  return {{"protocol", kProtocolVersion},
          {"launcherVersion", launcher->Version()},
          {"applications", std::move(applications)},
          {"pipes", std::move(pipes)},
          {"permissions", permissions->probe ? Json::array({"probe"}) : Json::array()}};
}

// One at a time: requests, and above all the end of the input, must not wait for a queue of events.
void Service::DeliverEvent() {
  const std::optional<host::Event> event = launcher->NextEvent();
  mayHaveEvents = event.has_value();
  if (!event) {
    AnswerThoseWhoWait();
    return;
  }
  lastActivity = GetTickCount64();
  if (event->name == "StateChanged") {
    if (event->arguments[0] == "READY") connectedGames.insert(event->source);
    if (event->arguments[0] == "GAMEISGONE") connectedGames.erase(event->source);
  }
  Send(Dispatcher::ToMessage(*event));
}

void Service::AnswerThoseWhoWait() {
  if (launcher->OutstandingResults() > 0 || mayHaveEvents) return;
  for (const Json& id : std::exchange(waiting, {})) Send({{"id", id}, {"result", nullptr}});
}

void Service::Send(const Json& message) {
  std::string text = ToText(message);
  if (text.size() > kLongestOutgoingMessage) {
    if (!message.contains("id")) return;  // an event that no browser would take
    text = ToText({{"id", message["id"]},
                   {"error",
                    {{"code", "too_large"},
                     {"message", "the answer is longer than " +
                                     std::to_string(kLongestOutgoingMessage) + " bytes"}}}});
  }
  if (!WriteMessage(output, text)) isClosed = true;
}

void Service::SendError(const Json& id, const std::string& code, const std::string& message) {
  Send({{"id", id}, {"error", {{"code", code}, {"message", message}}}});
}

}  // namespace browser_host
