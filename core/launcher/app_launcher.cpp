#include "core/launcher/app_launcher.h"

#include <atomic>
#include <cstdio>
#include <new>
#include <utility>

#include "apps/base_app.h"
#include "apps/games.h"
#include "apps/ostrel_app.h"
#include "core/environment.h"
#include "core/launcher/app_string.h"
#include "core/launcher/launcher_message.h"
#include "core/launcher/version.h"
#include "core/log.h"
#include "ping/ping_batch.h"
#include "query/query_thread.h"

namespace launcher {
namespace {

constexpr WORD kSocketsVersion = MAKEWORD(2, 0);

// The parameter that tells receivers of the launcher's message what it means: "a launcher exists".
constexpr WPARAM kLauncherCreated = 5;

// Sockets are started by the first launcher of the process and never stopped: another launcher, or
// a host that uses sockets itself, may still need them.
std::atomic<bool> socketsNotStarted{true};

void OpenDebugConsole() {
  AllocConsole();
  static_cast<void>(std::freopen("CONOUT$", "wt", stdout));
  static_cast<void>(std::freopen("CONOUT$", "wt", stderr));
  LogLine("%s: Displaying console\n", "AppLauncher::AppLauncher");
}

void StartSockets() {
  WSADATA data;
  if (WSAStartup(kSocketsVersion, &data) != 0) {
    LogLine("%s: Failed to initialize winsock\n", "AppLauncher::AppLauncher");
  }
}

// No exception reaches the host, which may be written in any language: a slot that runs out of memory
// answers null or false.
template <typename Text>
IString* NewString(const Text& text) noexcept {
  try {
    return new AppString(text());
  } catch (...) {
    return nullptr;
  }
}

template <typename Call>
bool Ask(BaseApp* app, const Call& call) noexcept {
  try {
    return app != nullptr && call(*app);
  } catch (...) {
    return false;
  }
}

template <typename Call>
IString* AskText(BaseApp* app, const wchar_t* unknown, const Call& call) noexcept {
  return NewString([&]() -> std::wstring { return app == nullptr ? unknown : call(*app); });
}

}  // namespace

AppLauncher::AppLauncher(void* hostPlugin, NotifyCallback hostNotifier)
    : notifier(hostNotifier), plugin(hostPlugin) {
  if (const auto debug = ReadEnvironment(L"KOVLAUNCH_DEBUG"); debug && debug->starts_with(L'1')) {
    OpenDebugConsole();
  }
  // No line end: plug-in hosts look for the bare text.
  PrintText("Plugin process ID: %li", static_cast<long>(GetCurrentProcessId()));
  CreateApps();
  if (socketsNotStarted.exchange(false)) StartSockets();
  LogLine("%s: this=%p Creating instance with plugin %p and notifier %p, thread is %08x\n",
          "AppLauncher::AppLauncher", static_cast<void*>(this), plugin,
          reinterpret_cast<void*>(notifier), static_cast<unsigned int>(GetCurrentThreadId()));
  lock.emplace();
  PostMessageW(HWND_BROADCAST, RegisterLauncherMessage(LAUNCHER_VERSION_WIDE), kLauncherCreated, 0);
}

AppLauncher::~AppLauncher() {
  LogLine("%s: Destroying instance %p\n", "AppLauncher::~AppLauncher", static_cast<void*>(this));
  WaitForThreads();
  // The map's own destructor keeps no order; hosts see the applications go in ascending order.
  while (!apps.empty()) apps.erase(apps.begin());
  events.Clear();
  lock.reset();
}

void AppLauncher::CreateApps() {
  for (auto& app : CreateGames(*this, notifier)) {
    const std::wstring& id = app->GetId();
    apps.insert_or_assign(id, std::move(app));
  }
  auto store = std::make_unique<OstrelApp>(*this, notifier);
  apps.insert_or_assign(store->GetId(), std::move(store));
}

BaseApp* AppLauncher::FindApp(const wchar_t* appId) const {
  const auto found = apps.find(std::wstring_view(appId));
  return found == apps.end() ? nullptr : found->second.get();
}

void AppLauncher::PostEvent(const wchar_t* source, const wchar_t* name, const wchar_t* arg0,
                            const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3,
                            const wchar_t* arg4, const wchar_t* arg5, const wchar_t* arg6,
                            const wchar_t* arg7) {
  EventPtr event =
      EventInfo::CreateIfMemory(source, name, arg0, arg1, arg2, arg3, arg4, arg5, arg6, arg7);
  if (event != nullptr) QueueEvent(std::move(event));
}

void AppLauncher::PostStateChange(const wchar_t* appId, const wchar_t* state) {
  // Through the table of slots, which the compiler would skip in a call on `this`: a host that has
  // replaced the first slot sees these events too.
  ILauncher* volatile const host = this;
  host->PostEvent(appId, L"StateChanged", state, nullptr, nullptr, nullptr, nullptr, nullptr,
                  nullptr, nullptr);
}

// The one place where an event is queued and the host is notified.
void AppLauncher::QueueEvent(EventPtr event) {
  const CriticalSectionGuard guard(*lock);
  events.Push(std::move(event));
  if (notifier != nullptr) notifier(plugin);
}

IEventInfo* AppLauncher::GetNextEvent() {
  const CriticalSectionGuard guard(*lock);
  return events.Pop().release();
}

void AppLauncher::FreeEvent(IEventInfo* event) {
  if (event != nullptr) EventDeleter()(static_cast<EventInfo*>(event));
}

void AppLauncher::FreeString(IString* string) {
  if (string != nullptr) string->Destroy(AppString::kFreeMemory);
}

// Without the lock: a worker needs it to post its result.
void AppLauncher::WaitForThreads() { threads.WaitForAll(); }

// Exceptions leave this slot on purpose: it has no other way to report that a batch was not
// started, and hosts handle them.
bool AppLauncher::PingBatch(const wchar_t* batchId, const wchar_t* const* addresses,
                            unsigned long long count) {
  auto context = MakePingContext(*this, batchId, addresses, count);
  const CriticalSectionGuard guard(*lock);
  threads.Start(PingThreadWrap, std::move(context));
  return true;
}

bool AppLauncher::IsInstalled(const wchar_t* appId) {
  return Ask(FindApp(appId), [](BaseApp& app) { return app.IsInstalled(); });
}

IString* AppLauncher::GetVersion(const wchar_t* appId) {
  return AskText(FindApp(appId), L"INVALID_APP_ID", [](BaseApp& app) { return app.GetVersion(); });
}

IString* AppLauncher::GetParameter(const wchar_t* appId, const wchar_t* key) {
  return AskText(FindApp(appId), L"", [=](BaseApp& app) { return app.GetParameter(key); });
}

IString* AppLauncher::GetExtraArguments(const wchar_t* appId) {
  return AskText(FindApp(appId), L"INVALID_APP_ID",
                 [](BaseApp& app) { return app.GetExtraArguments(); });
}

IString* AppLauncher::GetLauncherVersion() {
  return NewString([] { return LAUNCHER_VERSION_WIDE; });
}

bool AppLauncher::SendCommand(const wchar_t* appId, const wchar_t* command, const wchar_t* arg0,
                              const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3) {
  return Ask(FindApp(appId),
             [=](BaseApp& app) { return app.SendCommand(command, arg0, arg1, arg2, arg3); });
}

bool AppLauncher::Kill(const wchar_t* appId, bool flag) {
  return Ask(FindApp(appId), [=](BaseApp& app) { return app.Kill(flag); });
}

bool AppLauncher::Launch(const wchar_t* appId, const wchar_t* text0, bool flag,
                         const wchar_t* text1, const wchar_t* text2, const wchar_t* text3,
                         const wchar_t* text4) {
  return Ask(FindApp(appId),
             [=](BaseApp& app) { return app.Launch(text0, flag, text1, text2, text3, text4); });
}

bool AppLauncher::IsRunning(const wchar_t* appId) {
  return Ask(FindApp(appId), [](BaseApp& app) { return app.IsRunning(); });
}

bool AppLauncher::SetParameter(const wchar_t* appId, const wchar_t* key, const wchar_t* value) {
  return Ask(FindApp(appId), [=](BaseApp& app) {
    app.SetParameter(key, value);
    return true;
  });
}

void AppLauncher::QueryServer(const wchar_t* requestId, const wchar_t* requestText2,
                              const wchar_t* gameIdText, const wchar_t* address,
                              unsigned int port) {
  try {
    auto request = MakeQueryRequest(*this, requestId, requestText2, gameIdText, address, port);
    const CriticalSectionGuard guard(*lock);
    threads.Start(QueryThreadWrap, std::move(request));
  } catch (const std::bad_alloc&) {
    // Nothing was started and nothing can be reported. A full thread list goes to the host instead.
  }
}

void AppLauncher::PollApps() {
  for (const auto& [id, app] : apps) {
    // An application that runs out of memory must not keep the others from being polled.
    Ask(app.get(), [](BaseApp& polled) {
      polled.Poll();
      return true;
    });
  }
}

void* AppLauncher::Destroy(unsigned int flags) {
  this->~AppLauncher();
  if ((flags & kFreeMemory) != 0) ::operator delete(this);
  return this;  // NOLINT(clang-analyzer-cplusplus.NewDelete): an address, as compilers' own do.
}

}  // namespace launcher
