/// launcher.dll for hosts in C++17: RAII wrappers of launcher.h, texts in UTF-16 or UTF-8, an event
/// loop that polls, and results as structures (results.hpp). Header-only.
///
///   launcher_host::LoadError error;
///   launcher_host::Launcher launcher =
///       launcher_host::Launcher::Load(L"C:\\Program Files\\Plug-in\\launcher.dll", error);
///   if (!launcher) return Fail(launcher_host::Describe(error));
///   launcher.Launch("BRENNA-GAME", "-windowed");
///   launcher_host::LoopOptions options;
///   options.limitMsec = 60000;
///   launcher.Run(options, [](const launcher_host::Event& event) {
///     std::cout << event.NameUtf8() << " " << event.ArgumentUtf8(0) << "\n";
///     return event.IsState(launcher_host::app::kBrenna, launcher_host::state::kReady);
///   });
///
/// Nothing here throws by itself, so a host may be built without exceptions; `PingBatch` and
/// `QueryServer` let through the std::bad_alloc and std::length_error that launcher.h names. What
/// each operation does, and which thread may call it, is documented in launcher.h under the same
/// name.
///
/// Without the standard library (`-ffreestanding`) and without <windows.h>, everything outside
/// `#if LAUNCHER_HPP_HOSTED` is available: constants, `Launcher`, `Event` and `String`, with texts
/// in UTF-16.
#ifndef LAUNCHER_LAUNCHER_HPP_
#define LAUNCHER_LAUNCHER_HPP_

#include "launcher/launcher.h"

#if !defined(_WIN64)
#error "launcher.dll is a 64-bit Windows library"
#endif

#if defined(__STDC_HOSTED__) && !__STDC_HOSTED__
#define LAUNCHER_HPP_HOSTED 0
#else
#define LAUNCHER_HPP_HOSTED 1
#endif

#if LAUNCHER_HPP_HOSTED
#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "launcher/results.hpp"
#endif

#if __has_include(<windows.h>)
#include <windows.h>
#else
// The functions that this header calls, declared as in <windows.h>.
struct HINSTANCE__;
extern "C" {
__declspec(dllimport) HINSTANCE__* LoadLibraryW(const wchar_t* path);
__declspec(dllimport) int FreeLibrary(HINSTANCE__* library);
__declspec(dllimport) long long (*GetProcAddress(HINSTANCE__* library, const char* name))();
__declspec(dllimport) unsigned long GetLastError();
__declspec(dllimport) void* CreateEventW(struct _SECURITY_ATTRIBUTES* security, int manualReset,
                                         int initialState, const wchar_t* name);
__declspec(dllimport) int SetEvent(void* event);
__declspec(dllimport) int CloseHandle(void* object);
__declspec(dllimport) unsigned long WaitForMultipleObjects(unsigned long count,
                                                           void* const* objects, int all,
                                                           unsigned long milliseconds);
__declspec(dllimport) unsigned long long GetTickCount64();
}
#endif

namespace launcher_host {

/// The contract that this header knows: the value of `g_LauncherABIVersion`.
inline constexpr unsigned int kAbiVersion = 1;

/// Identifiers of the applications.
namespace app {
inline constexpr const wchar_t* kBrennaCte = L"BRENNA-CTE-GAME";
inline constexpr const wchar_t* kBrenna = L"BRENNA-GAME";
inline constexpr const wchar_t* kOstrel = L"OSTREL-APP";  // the store client
inline constexpr const wchar_t* kSolano = L"SOLANO-GAME";
inline constexpr const wchar_t* kTamsinBeta2 = L"TAMSIN-BETA2-GAME";
inline constexpr const wchar_t* kTamsinCte = L"TAMSIN-CTE-GAME";
inline constexpr const wchar_t* kTamsinMainline = L"TAMSIN-MAINLINE-GAME";
inline constexpr const wchar_t* kTavr = L"TAVR-GAME";

/// In the order in which `PollApps` visits them.
inline constexpr const wchar_t* kAll[] = {kBrennaCte,   kBrenna,    kOstrel,         kSolano,
                                          kTamsinBeta2, kTamsinCte, kTamsinMainline, kTavr};
}  // namespace app

/// Names of the events that the library itself posts. Any other name is a game's command.
namespace event_name {
inline constexpr const wchar_t* kStateChanged = L"StateChanged";
inline constexpr const wchar_t* kPingBatchResult = L"PingBatchResult";
inline constexpr const wchar_t* kQueryServerResult = L"QueryServerResult";
}  // namespace event_name

/// First argument of "StateChanged".
namespace state {
inline constexpr const wchar_t* kPending = L"PENDING";
inline constexpr const wchar_t* kReady = L"READY";
inline constexpr const wchar_t* kGameIsGone = L"GAMEISGONE";
}  // namespace state

/// Names of parameters.
namespace parameter {
// Written by each look-up of the installation.
inline constexpr const wchar_t* kAppVersion = L"APP_VERSION";
inline constexpr const wchar_t* kPunkBusterInstalled = L"PUNKBUSTER_INSTALLED";
inline constexpr const wchar_t* kExpansionsInstalled = L"EXPANSIONS_INSTALLED";
// Read by the games.
inline constexpr const wchar_t* kProbeMethod = L"probeMethod";
inline constexpr const wchar_t* kRegistryKey = L"registryKey";
inline constexpr const wchar_t* kBinaryName = L"binaryName";
inline constexpr const wchar_t* kWorkingDirectory = L"workingDirectory";
inline constexpr const wchar_t* kBinaryPath = L"binaryPath";
inline constexpr const wchar_t* kExtraArguments = L"EXTRA_ARGUMENTS";
// Computed by the store client.
inline constexpr const wchar_t* kOstrelLocalHostEnabled = L"OstrelLocalHostEnabled";
}  // namespace parameter

/// The only value of "probeMethod" that has an effect.
inline constexpr const wchar_t* kProbePath = L"path";

/// Results of `GetVersion` and `GetExtraArguments` in place of a version or arguments.
inline constexpr const wchar_t* kNotInstalled = L"NOT_INSTALLED";
inline constexpr const wchar_t* kInvalidAppId = L"INVALID_APP_ID";

/// "status" of a query that succeeded.
inline constexpr const wchar_t* kQuerySuccess = L"SUCCESS";

inline constexpr unsigned long long kNoLimit = ~0ULL;

/// Compares two texts, case-sensitively.
inline bool Same(const wchar_t* left, const wchar_t* right) {
  for (; *left == *right; ++left, ++right) {
    if (*left == L'\0') return true;
  }
  return false;
}

/// Whether it is the identifier of one of the eight applications.
inline bool IsApplication(const wchar_t* id) {
  // Not std::any_of, for want of a standard library. NOLINTNEXTLINE(readability-use-anyofallof)
  for (const wchar_t* const known : app::kAll) {
    if (Same(id, known)) return true;
  }
  return false;
}

#if LAUNCHER_HPP_HOSTED
/// Always valid UTF-8: half a surrogate pair becomes U+FFFD.
inline std::string ToUtf8(std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int size =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

/// Invalid UTF-8 becomes U+FFFD.
inline std::wstring ToWide(std::string_view bytes) {
  const int size = static_cast<int>(bytes.size());
  const int length = MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, nullptr, 0);
  std::wstring text(static_cast<std::size_t>(length), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(), length);
  return text;
}

/// Windows' message for an error code, as in "The system cannot find the file specified. (error
/// 2)". `subject` takes the place of the "%1" that some of these texts have.
inline std::string DescribeError(unsigned long code, std::string_view subject = "the file") {
  wchar_t wide[512] = L"";
  DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                code, 0, wide, 512, nullptr);
  while (length > 0 && wide[length - 1] <= L' ') --length;
  std::string text = ToUtf8(std::wstring_view(wide, length));
  const std::size_t insert = text.find("%1");
  if (insert != std::string::npos) text.replace(insert, 2, subject);
  return text + " (error " + std::to_string(code) + ")";
}
#endif

/// A text argument of the launcher's operations: UTF-16 is passed on, UTF-8 is converted. A
/// temporary that lives for one call.
class Text {
 public:
  // NOLINTBEGIN(google-explicit-constructor): so that a host writes "BRENNA-GAME" where it goes.
  Text(const wchar_t* wide) : pointer(wide) {}
#if LAUNCHER_HPP_HOSTED
  Text(const std::wstring& wide) : pointer(wide.c_str()) {}
  Text(std::string_view utf8) : storage(ToWide(utf8)), pointer(storage.c_str()) {}
  Text(const std::string& utf8) : Text(std::string_view(utf8)) {}
  Text(const char* utf8) : Text(std::string_view(utf8)) {}
#endif
  // NOLINTEND(google-explicit-constructor)
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;

  const wchar_t* Wide() const { return pointer; }

 private:
#if LAUNCHER_HPP_HOSTED
  std::wstring storage;
#endif
  const wchar_t* pointer;
};

/// Owns a text result. Must not outlive its launcher.
class String {
 public:
  String() = default;
  String(ILauncher* from, IString* result) : launcher(from), string(result) {}
  String(String&& other) noexcept : launcher(other.launcher), string(other.string) {
    other.string = nullptr;
  }
  String& operator=(String&& other) noexcept {
    if (this == &other) return *this;
    Reset();
    launcher = other.launcher;
    string = other.string;
    other.string = nullptr;
    return *this;
  }
  ~String() { Reset(); }

  /// False when memory ran out; the text is empty then.
  explicit operator bool() const { return string != nullptr; }
  /// Never null; valid as long as this object.
  const wchar_t* Wide() const { return string != nullptr ? string->GetString() : L""; }
#if LAUNCHER_HPP_HOSTED
  std::string Utf8() const { return ToUtf8(Wide()); }
#endif

 private:
  void Reset() {
    if (string != nullptr) launcher->FreeString(string);
    string = nullptr;
  }

  ILauncher* launcher = nullptr;
  IString* string = nullptr;
};

/// Owns an event. Must not outlive its launcher.
class Event {
 public:
  static constexpr int kArgumentCount = 8;

  Event() = default;
  Event(ILauncher* from, IEventInfo* event) : launcher(from), info(event) {}
  Event(Event&& other) noexcept : launcher(other.launcher), info(other.info) {
    other.info = nullptr;
  }
  Event& operator=(Event&& other) noexcept {
    if (this == &other) return *this;
    Reset();
    launcher = other.launcher;
    info = other.info;
    other.info = nullptr;
    return *this;
  }
  ~Event() { Reset(); }

  /// False when no event was queued; all texts are empty then.
  explicit operator bool() const { return info != nullptr; }

  // Never null; valid as long as this object.
  const wchar_t* Source() const { return info != nullptr ? info->GetSource() : L""; }
  const wchar_t* Name() const { return info != nullptr ? info->GetName() : L""; }
  /// `index` counts from 0. Empty from `kArgumentCount` on.
  const wchar_t* Argument(int index) const {
    if (info == nullptr) return L"";
    switch (index) {
      case 0:
        return info->GetArg0();
      case 1:
        return info->GetArg1();
      case 2:
        return info->GetArg2();
      case 3:
        return info->GetArg3();
      case 4:
        return info->GetArg4();
      case 5:
        return info->GetArg5();
      case 6:
        return info->GetArg6();
      case 7:
        return info->GetArg7();
      default:
        return L"";
    }
  }
#if LAUNCHER_HPP_HOSTED
  std::string SourceUtf8() const { return ToUtf8(Source()); }
  std::string NameUtf8() const { return ToUtf8(Name()); }
  std::string ArgumentUtf8(int index) const { return ToUtf8(Argument(index)); }
#endif

  /// Whether an application has changed to this state. A game that sends a command named
  /// "StateChanged" cannot be told apart from the library.
  bool IsState(const wchar_t* application, const wchar_t* wantedState) const {
    return Same(Name(), event_name::kStateChanged) && Same(Source(), application) &&
           Same(Argument(0), wantedState);
  }
  // The result of a worker. A running game chooses the names of its commands, so the name alone
  // proves nothing; but the source of a command is the game's identifier. The request id of a query
  // must therefore be no application's identifier.
  bool IsPingResult() const {
    return Same(Name(), event_name::kPingBatchResult) && Same(Source(), L"");
  }
  bool IsQueryResult() const {
    return Same(Name(), event_name::kQueryServerResult) && !IsApplication(Source());
  }

 private:
  void Reset() {
    if (info != nullptr) launcher->FreeEvent(info);
    info = nullptr;
  }

  ILauncher* launcher = nullptr;
  IEventInfo* info = nullptr;
};

/// Why there is no launcher.
struct LoadError {
  enum class Kind {
    kNone,
    kCannotLoad,     // no such file, no DLL, or none for 64-bit programs: `systemError`
    kNoLauncher,     // a DLL without `missingExport`
    kOtherContract,  // `abiVersion` is not `kAbiVersion`
    kOutOfMemory
  };

  Kind kind = Kind::kNone;
  unsigned long systemError = 0;
  const char* missingExport = "";
  unsigned int abiVersion = 0;
};

/// How `Launcher::Run` waits.
struct LoopOptions {
  unsigned long long limitMsec = kNoLimit;
  /// Between two rounds, at most. Events end a pause early.
  unsigned long pauseMsec = 100;
  /// Whether each round calls `PollApps`. Ping batches and queries need no polling.
  bool pollApplications = true;
  /// A Windows object that ends the loop when it is signaled; null for none.
  void* stop = nullptr;
};

/// How `Launcher::Run` ended.
enum class LoopEnd { kHandled, kTimedOut, kStopped };

/// A launcher, and the DLL that it comes from. Can be moved, not copied. Used from one thread.
class Launcher {
 public:
  /// Empty: for assignment only.
  Launcher() = default;

  /// Loads the DLL. Give the full path: Windows searches several folders for any other. On failure
  /// the result is empty and `error` says why.
  static Launcher Load(const Text& dllPath, LoadError& error) {
    error = {};
    Launcher loaded;
    loaded.library = LoadLibraryW(dllPath.Wide());
    if (loaded.library == nullptr) {
      error.kind = LoadError::Kind::kCannotLoad;
      error.systemError = GetLastError();
      return {};
    }
    // The number first: it says whether the other exports mean what launcher.h declares.
    const auto* const abiVersion =
        static_cast<const unsigned int*>(loaded.Find("g_LauncherABIVersion", error));
    if (abiVersion == nullptr) return {};
    const auto* const version =
        static_cast<const wchar_t*>(loaded.Find("g_LauncherVersion", error));
    void* const create = loaded.Find("CreateLauncher", error);
    void* const destroy = loaded.Find("DestroyLauncher", error);
    if (*abiVersion == kAbiVersion && error.kind != LoadError::Kind::kNone) return {};
    loaded.Create({*abiVersion, version, reinterpret_cast<decltype(&CreateLauncher)>(create),
                   reinterpret_cast<decltype(&DestroyLauncher)>(destroy)},
                  error);
    return loaded;
  }

  /// For a host that links the import library.
  static Launcher Linked(LoadError& error) {
    error = {};
    Launcher linked;
    linked.Create({g_LauncherABIVersion, g_LauncherVersion, CreateLauncher, DestroyLauncher},
                  error);
    return linked;
  }

  Launcher(Launcher&& other) noexcept { Swap(other); }
  Launcher& operator=(Launcher&& other) noexcept {
    Launcher old;
    old.Swap(*this);
    Swap(other);
    return *this;
  }

  /// Destroys the launcher, which waits for its ping batches and queries without a time limit, and
  /// frees the DLL.
  ~Launcher() {
    if (launcher != nullptr) exports.destroy(launcher);
    if (wake != nullptr) CloseHandle(wake);
    if (library != nullptr) FreeLibrary(library);
  }

  /// Leaves the launcher and the DLL to the end of the process, which should be near: for a host
  /// that has to exit while a helper program hangs.
  void Abandon() {
    launcher = nullptr;
    wake = nullptr;
    library = nullptr;
  }

  explicit operator bool() const { return launcher != nullptr; }

  /// The interface itself.
  ILauncher* Get() const { return launcher; }

  /// "162", as the DLL exports it; empty without a launcher.
  const wchar_t* Version() const { return launcher != nullptr ? exports.version : L""; }

  /// An auto-reset event that is signaled when launcher events may be queued. For hosts with a loop
  /// of their own: wait for it, call `NextEvent` until there is none, and `PollApps` a few times a
  /// second.
  void* WakeEvent() const { return wake; }

  // The operations of launcher.h.

  void PostEvent(const Text& source, const Text& name, const Text& arg0 = L"",
                 const Text& arg1 = L"", const Text& arg2 = L"", const Text& arg3 = L"",
                 const Text& arg4 = L"", const Text& arg5 = L"", const Text& arg6 = L"",
                 const Text& arg7 = L"") {
    launcher->PostEvent(source.Wide(), name.Wide(), arg0.Wide(), arg1.Wide(), arg2.Wide(),
                        arg3.Wide(), arg4.Wide(), arg5.Wide(), arg6.Wide(), arg7.Wide());
  }
  /// False when none is queued.
  Event NextEvent() { return {launcher, launcher->GetNextEvent()}; }
  void WaitForThreads() { launcher->WaitForThreads(); }
  bool PingBatch(const Text& batchId, const wchar_t* const* addresses, unsigned long long count) {
    return launcher->PingBatch(batchId.Wide(), addresses, count);
  }
#if LAUNCHER_HPP_HOSTED
  /// Of any container of texts.
  template <typename Addresses>
  bool PingBatch(const Text& batchId, const Addresses& addresses) {
    std::vector<std::wstring> texts;
    texts.reserve(std::size(addresses));
    for (const auto& address : addresses) texts.emplace_back(Text(address).Wide());
    std::vector<const wchar_t*> pointers;
    pointers.reserve(texts.size());
    for (const std::wstring& text : texts) pointers.push_back(text.c_str());
    return PingBatch(batchId, pointers.data(), pointers.size());
  }
#endif
  bool IsInstalled(const Text& appId) { return launcher->IsInstalled(appId.Wide()); }
  String GetVersion(const Text& appId) { return {launcher, launcher->GetVersion(appId.Wide())}; }
  String GetParameter(const Text& appId, const Text& key) {
    return {launcher, launcher->GetParameter(appId.Wide(), key.Wide())};
  }
  String GetExtraArguments(const Text& appId) {
    return {launcher, launcher->GetExtraArguments(appId.Wide())};
  }
  String GetLauncherVersion() { return {launcher, launcher->GetLauncherVersion()}; }
  bool SendCommand(const Text& appId, const Text& command, const Text& arg0 = L"",
                   const Text& arg1 = L"", const Text& arg2 = L"", const Text& arg3 = L"") {
    return launcher->SendCommand(appId.Wide(), command.Wide(), arg0.Wide(), arg1.Wide(),
                                 arg2.Wide(), arg3.Wide());
  }
  bool Kill(const Text& appId) { return launcher->Kill(appId.Wide(), false); }
  bool Launch(const Text& appId, const Text& commandLine = L"", bool flag = false) {
    return launcher->Launch(appId.Wide(), commandLine.Wide(), flag, L"", L"", L"", L"");
  }
  bool IsRunning(const Text& appId) { return launcher->IsRunning(appId.Wide()); }
  bool SetParameter(const Text& appId, const Text& key, const Text& value) {
    return launcher->SetParameter(appId.Wide(), key.Wide(), value.Wide());
  }
  void QueryServer(const Text& requestId, const Text& requestText, const Text& gameId,
                   const Text& address, unsigned short port) {
    launcher->QueryServer(requestId.Wide(), requestText.Wide(), gameId.Wide(), address.Wide(),
                          port);
  }
  void PollApps() { launcher->PollApps(); }

  /// Polls the applications and hands every event to `handler`, a bool(const Event&), until that
  /// returns true, the time is up, or `options.stop` is signaled. Events after the one that
  /// ended it stay queued.
  template <typename Handler>
  LoopEnd Run(const LoopOptions& options, Handler&& handler) {
    const unsigned long long start = GetTickCount64();
    for (;;) {
      if (options.pollApplications) PollApps();
      while (Event event = NextEvent()) {
        if (handler(static_cast<const Event&>(event))) return LoopEnd::kHandled;
      }
      const unsigned long long elapsed = GetTickCount64() - start;
      if (elapsed >= options.limitMsec) return LoopEnd::kTimedOut;
      const unsigned long long left = options.limitMsec - elapsed;
      const unsigned long pause =
          left < options.pauseMsec ? static_cast<unsigned long>(left) : options.pauseMsec;
      constexpr unsigned long kFirstObject = 0;
      void* const objects[] = {options.stop != nullptr ? options.stop : wake, wake};
      const unsigned long count = options.stop != nullptr ? 2 : 1;
      if (WaitForMultipleObjects(count, objects, 0, pause) == kFirstObject &&
          options.stop != nullptr) {
        return LoopEnd::kStopped;
      }
    }
  }

 private:
  struct Exports {
    unsigned int abiVersion;
    const wchar_t* version;
    decltype(&CreateLauncher) create;
    decltype(&DestroyLauncher) destroy;
  };

  // Runs on any thread, under the launcher's lock: it only wakes the host's thread.
  static void Notify(void* plugin) { SetEvent(plugin); }

  void* Find(const char* name, LoadError& error) const {
    void* const address = reinterpret_cast<void*>(GetProcAddress(library, name));
    if (address == nullptr) error = {LoadError::Kind::kNoLauncher, 0, name, 0};
    return address;
  }

  void Create(const Exports& from, LoadError& error) {
    if (from.abiVersion != kAbiVersion) {
      error = {LoadError::Kind::kOtherContract, 0, "", from.abiVersion};
      return;
    }
    exports = from;
    wake = CreateEventW(nullptr, 0, 0, nullptr);
    // The handle and not this object, which may be moved.
    if (wake != nullptr) launcher = exports.create(wake, Notify);
    if (launcher == nullptr) error.kind = LoadError::Kind::kOutOfMemory;
  }

  void Swap(Launcher& other) {
    Exchange(library, other.library);
    Exchange(exports, other.exports);
    Exchange(wake, other.wake);
    Exchange(launcher, other.launcher);
  }

  template <typename Value>
  static void Exchange(Value& one, Value& other) {
    const Value kept = one;
    one = other;
    other = kept;
  }

  HINSTANCE__* library = nullptr;
  Exports exports{};
  void* wake = nullptr;
  ILauncher* launcher = nullptr;
};

#if LAUNCHER_HPP_HOSTED

/// One sentence, for a person.
inline std::string Describe(const LoadError& error, std::string_view dllPath = "launcher.dll") {
  const std::string path(dllPath);
  switch (error.kind) {
    case LoadError::Kind::kNone:
      return "";
    case LoadError::Kind::kCannotLoad:
      if (error.systemError == ERROR_BAD_EXE_FORMAT) {
        return "cannot load " + path + ": it is no DLL for 64-bit programs (error 193)";
      }
      return "cannot load " + path + ": " + DescribeError(error.systemError, path);
    case LoadError::Kind::kNoLauncher:
      return path + " is no launcher: it does not export " + error.missingExport;
    case LoadError::Kind::kOtherContract:
      return path + " has ABI version " + std::to_string(error.abiVersion) +
             ", this program knows " + std::to_string(kAbiVersion);
    case LoadError::Kind::kOutOfMemory:
      return "out of memory";
  }
  return "";
}

/// Calls functions by the name of the event.
class EventHandlers {
 public:
  using Handler = std::function<void(const Event&)>;

  /// For the events of a name: "StateChanged", or a game's command. A later handler for the same
  /// name replaces the one before.
  void On(const Text& name, Handler handler) {
    for (auto& [known, kept] : handlers) {
      if (Same(known.c_str(), name.Wide())) {
        kept = std::move(handler);
        return;
      }
    }
    handlers.emplace_back(name.Wide(), std::move(handler));
  }
  // For results. A game's command of the same name is not one.
  void OnPingResult(Handler handler) { pingResult = std::move(handler); }
  void OnQueryResult(Handler handler) { queryResult = std::move(handler); }
  /// For events that no other handler is for.
  void Otherwise(Handler handler) { otherwise = std::move(handler); }

  /// False when there is no handler for it.
  bool Dispatch(const Event& event) const {
    const Handler* const handler = Find(event);
    if (handler == nullptr || !*handler) return false;
    (*handler)(event);
    return true;
  }

 private:
  const Handler* Find(const Event& event) const {
    if (event.IsPingResult() && pingResult) return &pingResult;
    if (event.IsQueryResult() && queryResult) return &queryResult;
    for (const auto& [name, handler] : handlers) {
      if (Same(name.c_str(), event.Name())) return &handler;
    }
    return &otherwise;
  }

  std::vector<std::pair<std::wstring, Handler>> handlers;
  Handler pingResult;
  Handler queryResult;
  Handler otherwise;
};

// results.hpp has the structures, and the same for texts alone.

inline bool ReadPingResult(const Event& event, JsonReader& reader, std::vector<PingTime>& times) {
  return ReadPingResult(event.ArgumentUtf8(1), reader, times);
}

inline bool ReadQueryResult(const Event& event, JsonReader& reader, ServerState& state) {
  return ReadQueryResult(event.ArgumentUtf8(1), reader, state);
}

#endif  // LAUNCHER_HPP_HOSTED

}  // namespace launcher_host

#endif  // LAUNCHER_LAUNCHER_HPP_
