#include "examples/demo/host.h"

#include <stdexcept>

#include "examples/demo/console.h"

namespace demo {
namespace {

constexpr unsigned int kKnownAbiVersion = 1;
constexpr DWORD kPollMilliseconds = 100;

template <typename T>
T Export(HMODULE library, const char* name) {
  // By way of void*: an export may be a function or a variable.
  void* const address = reinterpret_cast<void*>(GetProcAddress(library, name));
  if (address == nullptr) throw std::runtime_error(std::string("the DLL does not export ") + name);
  return reinterpret_cast<T>(address);
}

Event CopyEvent(IEventInfo& info) {
  return {ToUtf8(info.GetSource()),
          ToUtf8(info.GetName()),
          {ToUtf8(info.GetArg0()), ToUtf8(info.GetArg1()), ToUtf8(info.GetArg2()),
           ToUtf8(info.GetArg3()), ToUtf8(info.GetArg4()), ToUtf8(info.GetArg5()),
           ToUtf8(info.GetArg6()), ToUtf8(info.GetArg7())}};
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
  library = LoadLibraryW(dllPath.c_str());
  if (library == nullptr) {
    throw std::runtime_error("cannot load " + ToUtf8(dllPath) + ": " +
                             DescribeError(GetLastError()));
  }
  // The number first: it tells whether the other exports mean what the header says.
  exportedAbiVersion = Export<const unsigned int*>(library, "g_LauncherABIVersion");
  if (*exportedAbiVersion != kKnownAbiVersion) {
    throw std::runtime_error("the DLL has ABI version " + std::to_string(*exportedAbiVersion) +
                             ", this host knows 1");
  }
  exportedVersion = Export<const wchar_t*>(library, "g_LauncherVersion");
  const auto createLauncher = Export<decltype(&CreateLauncher)>(library, "CreateLauncher");
  destroyLauncher = Export<decltype(&DestroyLauncher)>(library, "DestroyLauncher");

  eventQueued = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  launcher = createLauncher(this, &Host::Notify);
  if (launcher == nullptr) throw std::runtime_error("CreateLauncher returned null");
}

Host::~Host() {
  destroyLauncher(launcher);
  CloseHandle(eventQueued);
  FreeLibrary(library);
}

std::string Host::version() const { return ToUtf8(exportedVersion); }

std::string Host::Take(IString* text) const {
  if (text == nullptr) throw std::runtime_error("out of memory");
  std::string copy = ToUtf8(text->GetString());
  launcher->FreeString(text);
  return copy;
}

// Runs on any thread and under the launcher's lock, so it only wakes the host up.
void Host::Notify(void* plugin) { SetEvent(static_cast<Host*>(plugin)->eventQueued); }

void Host::FetchEvents() {
  while (IEventInfo* const info = launcher->GetNextEvent()) {
    events.push_back(CopyEvent(*info));
    launcher->FreeEvent(info);
  }
}

// A game's pipe is only looked after inside PollApps; results of workers come by themselves.
void Host::PollAfterPause() {
  WaitForSingleObject(eventQueued, kPollMilliseconds);
  launcher->PollApps();
}

Event Host::WaitForEvent(const std::string& description,
                         const std::function<bool(const Event&)>& fits) {
  const ULONGLONG start = GetTickCount64();
  for (;;) {
    FetchEvents();
    while (!events.empty()) {
      const Event event = events.front();
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
