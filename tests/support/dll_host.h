// A host of the built DLL: what a plug-in does, in a form that tests can read.
#ifndef LAUNCHER_TESTS_SUPPORT_DLL_HOST_H_
#define LAUNCHER_TESTS_SUPPORT_DLL_HOST_H_

#include <array>
#include <atomic>
#include <functional>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "launcher/launcher.h"
#include "tests/support/scoped_handle.h"

namespace test_support {

/// Long enough for anything that works; only a failing test waits so long.
inline constexpr DWORD kPatienceMs = 20000;

/// The eight identifiers in ascending order.
inline constexpr std::array<const wchar_t*, 8> kAllAppIds = {
    L"BRENNA-CTE-GAME",   L"BRENNA-GAME",     L"OSTREL-APP",           L"SOLANO-GAME",
    L"TAMSIN-BETA2-GAME", L"TAMSIN-CTE-GAME", L"TAMSIN-MAINLINE-GAME", L"TAVR-GAME"};

/// Folder of the running test program, without a backslash at its end.
std::wstring ProgramDirectory();

/// The DLL under test: the environment variable LAUNCHER_DLL, else launcher.dll in the folder above
/// that of the test program.
std::wstring LauncherDllPath();

/// A loaded DLL and its four exports, resolved by name. Freed on destruction, so that the next load
/// begins with fresh process-wide state of the DLL.
class LauncherDll {
 public:
  using CreateFunction = ILauncher* (*)(void*, NotifyCallback);
  using DestroyFunction = void (*)(ILauncher*);

  LauncherDll();
  explicit LauncherDll(const std::wstring& path);
  LauncherDll(const LauncherDll&) = delete;
  LauncherDll& operator=(const LauncherDll&) = delete;
  ~LauncherDll();

  HMODULE Module() const { return module; }

 private:
  HMODULE module;

 public:
  const CreateFunction createLauncher;
  const DestroyFunction destroyLauncher;
  const unsigned int* const abiVersion;
  const wchar_t* const version;
};

/// Receives the launcher's notifications. Its address is the `plugin` pointer.
class Notifier {
 public:
  Notifier();
  Notifier(const Notifier&) = delete;
  Notifier& operator=(const Notifier&) = delete;

  /// The function to hand to `CreateLauncher`, together with the object's address.
  static void Callback(void* plugin);

  int CallCount() const;
  /// The thread of each call, in order.
  std::vector<DWORD> ThreadIds() const;
  /// Forgets the calls so far.
  void Forget();
  /// Set by every call, reset by a successful wait.
  HANDLE CalledEvent() const { return called.Get(); }
  /// Run inside each call, on its thread and under the launcher's lock.
  void SetInsideCall(std::function<void()> work);

 private:
  mutable std::mutex mutex;
  std::vector<DWORD> threadIds;
  std::function<void()> insideCall;
  ScopedHandle called;
};

/// A fetched event, copied.
struct Event {
  std::wstring source;
  std::wstring name;
  std::array<std::wstring, 8> arg;

  bool operator==(const Event&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Event& event);

/// Copies an event and hands the original back to the launcher.
Event TakeEvent(ILauncher& launcher, IEventInfo* info);

/// Copies a text result and frees it; "<null>" stands for a null result.
std::wstring TakeText(ILauncher& launcher, IString* text);

/// The DLL with one launcher. Whatever a test leaves behind is destroyed with it: the launcher
/// first, then the DLL.
class DllHost {
 public:
  /// Loads the DLL and creates a launcher.
  DllHost();
  /// Loads the DLL alone, so that a test can redirect its imports before `Create`.
  enum class Creation { kLater };
  explicit DllHost(Creation);
  DllHost(const DllHost&) = delete;
  DllHost& operator=(const DllHost&) = delete;
  ~DllHost();

  /// Creates the launcher; throws when the DLL returns null.
  void Create();
  /// Destroys the launcher through the export.
  void Destroy();

  const LauncherDll& Dll() const { return dll; }
  HMODULE Module() const { return dll.Module(); }
  Notifier& Notifications() { return notifier; }
  ILauncher* Launcher() const { return launcher; }
  ILauncher* operator->() const { return launcher; }

  // Text results, copied and freed.
  std::wstring GetVersion(const wchar_t* appId);
  std::wstring GetParameter(const wchar_t* appId, const wchar_t* key);
  std::wstring GetExtraArguments(const wchar_t* appId);
  std::wstring GetLauncherVersion();

  /// Posts an event that has only a source, a name and a first argument.
  void Post(const wchar_t* source, const wchar_t* name, const wchar_t* arg0 = nullptr);

  /// Fetches everything that is queued now.
  std::vector<Event> Drain();

  enum class Polling { kNo, kPollApps };
  /// Fetches events until one has this name; the others are dropped. Nothing when none came in
  /// time. `kPollApps` calls the slot of that name all the while, as a host does with a timer.
  std::optional<Event> WaitForEvent(const std::wstring& name, DWORD timeoutMs = kPatienceMs,
                                    Polling polling = Polling::kNo);

 private:
  LauncherDll dll;
  Notifier notifier;
  ILauncher* launcher = nullptr;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_DLL_HOST_H_
