#include "examples/demo/host.h"

#include <stdexcept>
#include <utility>

#include "examples/demo/console.h"

namespace demo {
namespace {

constexpr DWORD kPollMilliseconds = 100;

Event CopyEvent(const launcher_host::Event& event) {
  Event copy{event.SourceUtf8(), event.NameUtf8(), {}};
  for (std::size_t i = 0; i < copy.arguments.size(); ++i) {
    copy.arguments[i] = event.ArgumentUtf8(static_cast<int>(i));
  }
  return copy;
}

void PrintEvent(const Event& event) {
  std::string line = "    event \"" + event.name + "\"";
  if (!event.source.empty()) line += " from " + event.source;
  for (const std::string& argument : event.arguments) {
    if (argument.empty()) continue;
    const bool isJson = argument.find('\n') != std::string::npos;
    line += isJson ? ", " + std::to_string(argument.size()) + " bytes of JSON"
                   : ", \"" + argument + "\"";
  }
  Print(line);
}

}  // namespace

Host::Host(const std::wstring& dllPath) {
  launcher_host::LoadError error;
  launcher = launcher_host::Launcher::Load(dllPath, error);
  if (!launcher) throw std::runtime_error(launcher_host::Describe(error, ToUtf8(dllPath)));
}

std::string Host::version() const { return ToUtf8(launcher.Version()); }

std::string Host::Take(IString* text) const {
  const launcher_host::String owned(launcher.Get(), text);
  if (!owned) throw std::runtime_error("out of memory");
  return owned.Utf8();
}

void Host::FetchEvents() {
  while (const launcher_host::Event event = launcher.NextEvent()) {
    events.push_back(CopyEvent(event));
  }
}

// A game's pipe is only served inside PollApps; results of workers come by themselves.
void Host::PollAfterPause() {
  WaitForSingleObject(launcher.WakeEvent(), kPollMilliseconds);
  launcher.PollApps();
}

Event Host::WaitForEvent(const std::string& description,
                         const std::function<bool(const Event&)>& fits) {
  const ULONGLONG start = GetTickCount64();
  for (;;) {
    FetchEvents();
    while (!events.empty()) {
      Event event = std::move(events.front());
      events.pop_front();
      PrintEvent(event);
      if (fits(event)) return event;
    }
    if (GetTickCount64() - start > kPatienceMilliseconds) {
      throw std::runtime_error("waited in vain for " + description);
    }
    PollAfterPause();
  }
}

void Host::WaitUntil(const std::string& description, const std::function<bool()>& holds) {
  const ULONGLONG start = GetTickCount64();
  while (!holds()) {
    if (GetTickCount64() - start > kPatienceMilliseconds) {
      throw std::runtime_error("waited in vain until " + description);
    }
    PollAfterPause();
  }
}

}  // namespace demo
