// The launcher: the one implementation of the host's interface.
#ifndef LAUNCHER_CORE_LAUNCHER_APP_LAUNCHER_H_
#define LAUNCHER_CORE_LAUNCHER_APP_LAUNCHER_H_

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "core/event_sink.h"
#include "core/handles.h"
#include "core/launcher/event_queue.h"
#include "core/launcher/thread_list.h"
#include "launcher/launcher.h"

namespace launcher {

class BaseApp;

/// Owns the applications, the events that wait for the host and the handles of the worker threads.
/// Made with `new` by `CreateLauncher`, destroyed through `Destroy`. The slots are documented in the
/// public header.
class AppLauncher final : public ILauncher, public EventSink {
 public:
  static constexpr unsigned int kFreeMemory = 1;

  /// Opens the debug console when KOVLAUNCH_DEBUG asks for it, makes the applications, starts Windows Sockets once per
  /// process and announces the launcher to all top-level windows. Throws std::bad_alloc.
  AppLauncher(void* hostPlugin, NotifyCallback hostNotifier);
  AppLauncher(const AppLauncher&) = delete;
  AppLauncher& operator=(const AppLauncher&) = delete;

  void PostEvent(const wchar_t* source, const wchar_t* name, const wchar_t* arg0,
                 const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3, const wchar_t* arg4,
                 const wchar_t* arg5, const wchar_t* arg6, const wchar_t* arg7) override;
  IEventInfo* GetNextEvent() override;
  void FreeEvent(IEventInfo* event) override;
  void FreeString(IString* string) override;
  void WaitForThreads() override;
  bool PingBatch(const wchar_t* batchId, const wchar_t* const* addresses,
                 unsigned long long count) override;
  bool IsInstalled(const wchar_t* appId) override;
  IString* GetVersion(const wchar_t* appId) override;
  IString* GetParameter(const wchar_t* appId, const wchar_t* key) override;
  IString* GetExtraArguments(const wchar_t* appId) override;
  IString* GetLauncherVersion() override;
  bool SendCommand(const wchar_t* appId, const wchar_t* command, const wchar_t* arg0,
                   const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3) override;
  bool Kill(const wchar_t* appId, bool flag) override;
  bool Launch(const wchar_t* appId, const wchar_t* text0, bool flag, const wchar_t* text1,
              const wchar_t* text2, const wchar_t* text3, const wchar_t* text4) override;
  bool IsRunning(const wchar_t* appId) override;
  bool SetParameter(const wchar_t* appId, const wchar_t* key, const wchar_t* value) override;
  void QueryServer(const wchar_t* requestId, const wchar_t* requestText2, const wchar_t* gameIdText,
                   const wchar_t* address, unsigned int port) override;
  void PollApps() override;
  void* Destroy(unsigned int flags) override;

  void PostStateChange(const wchar_t* appId, const wchar_t* state) override;
  void QueueEvent(EventPtr event) override;

 private:
  ~AppLauncher();

  void CreateApps();
  BaseApp* FindApp(const wchar_t* appId) const;

  NotifyCallback notifier;
  EventQueue events;
  // Guards `events`, `threads` and every call of `notifier`. Made late in the constructor.
  std::optional<CriticalSection> lock;
  void* plugin;
  // Filled by the constructor and then left alone, so looking up needs no lock.
  std::map<std::wstring, std::unique_ptr<BaseApp>, std::less<>> apps;
  ThreadList threads;
};

}  // namespace launcher

#endif  // LAUNCHER_CORE_LAUNCHER_APP_LAUNCHER_H_
