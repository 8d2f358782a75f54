/// The contract between launcher.dll and its host.
///
/// launcher.dll finds the games that are installed on this computer, starts
/// them, follows and commands them over the pipe that a running game offers,
/// times a list of servers and asks a game server for its state. A host loads
/// the DLL, calls `CreateLauncher` and then works with the one object it got.
///
/// Contract rules that hold for everything below:
///
/// * The slot order of every interface is fixed for good. Hosts of any compiler
///   may call a slot by its number: x64 calling convention, the object as the
///   first argument, `bool` as one byte, every text zero-terminated UTF-16.
///   There are no overloads, no virtual destructors and no standard library
///   types here, because compilers lay those out differently.
/// * Text arguments belong to the caller and are only read during the call.
///   None of them may be null, except where a slot says so.
/// * A text result is an `IString` and goes back through `FreeString`; an event
///   is an `IEventInfo` and goes back through `FreeEvent`.
/// * Each slot names the threads that may call it: the "host's thread" is the
///   one that created the launcher. No slot waits for a game, a server or the
///   network, except `WaitForThreads` and the destruction of the launcher.
///   (`Launch` shows a message box when Windows refuses to start the helper,
///   and returns when the user has closed it.)
/// * No exception leaves the interface except where a slot names one. A slot
///   with a text result returns null when memory runs out; a slot with a `bool`
///   result returns false.
///
/// Diagnostic lines go to the standard error stream of the process (three of
/// them to standard output), as UTF-8. The environment variable
/// KOVLAUNCH_DEBUG, when it begins with "1", opens a console for them.
#ifndef LAUNCHER_LAUNCHER_H_
#define LAUNCHER_LAUNCHER_H_

#ifndef __cplusplus
#error "launcher.h is for C++ hosts; C hosts include launcher_c.h"
#endif

#ifdef LAUNCHER_LAUNCHER_C_H_
#error "a file that uses both headers includes launcher.h first"
#endif

#if defined(LAUNCHER_BUILDING_DLL) || !defined(_WIN32)
#define LAUNCHER_API
#else
#define LAUNCHER_API __declspec(dllimport)
#endif

/// A text result. Owned by the host from the slot's return until it is handed
/// back through `ILauncher::FreeString`.
class IString {
 public:
  /// Slot 0. The text, zero-terminated; valid until the string is freed.
  virtual const wchar_t* GetString() = 0;

  /// Slot 1. Destroys the string; bit 0 of `flags` also frees its memory.
  /// Returns the address of the object. Hosts call `FreeString` instead. The
  /// slot is what a compiler with Microsoft's C++ ABI calls for a `delete`.
  virtual void* Destroy(unsigned int flags) = 0;

 protected:
  ~IString() = default;
};

/// An event. Owned by the host from `ILauncher::GetNextEvent` until it is handed
/// back through `ILauncher::FreeEvent`. Ten texts, never null, each valid until
/// the event is freed. Any thread may read an event that it was handed.
///
/// Events that the library posts:
///
/// | name                | source      | arg0            | arg1                  |
/// |---------------------|-------------|-----------------|-----------------------|
/// | "StateChanged"      | application | "PENDING": the helper was asked to start the game; "READY": the game's pipe is connected; "GAMEISGONE": the pipe broke | empty |
/// | "PingBatchResult"   | empty       | batch id        | JSON array of times   |
/// | "QueryServerResult" | request id  | request text    | JSON object           |
/// | a game's command    | application | its first word  | its second word, and so on to arg7 |
class IEventInfo {
 public:
  /// Slot 0. Identifier of the application concerned; see the table above.
  virtual const wchar_t* GetSource() = 0;
  /// Slot 1. The kind of event.
  virtual const wchar_t* GetName() = 0;
  /// Slot 2.
  virtual const wchar_t* GetArg0() = 0;
  /// Slot 3.
  virtual const wchar_t* GetArg1() = 0;
  /// Slot 4.
  virtual const wchar_t* GetArg2() = 0;
  /// Slot 5.
  virtual const wchar_t* GetArg3() = 0;
  /// Slot 6.
  virtual const wchar_t* GetArg4() = 0;
  /// Slot 7.
  virtual const wchar_t* GetArg5() = 0;
  /// Slot 8.
  virtual const wchar_t* GetArg6() = 0;
  /// Slot 9.
  virtual const wchar_t* GetArg7() = 0;

 protected:
  ~IEventInfo() = default;
};

/// Called by the launcher once for every event that it has queued, with the
/// pointer that was given to `CreateLauncher`.
///
/// It runs under the launcher's lock, on the thread that queued the event: on a
/// worker thread of the DLL for ping and query results, on the host's thread for
/// "StateChanged" and a game's commands (inside `Launch` and `PollApps`), on the
/// caller's for `PostEvent`. On any of them it may call `PostEvent`,
/// `GetNextEvent`, `FreeEvent` and `FreeString`; on the host's thread also
/// `PollApps` and `SendCommand`. The pipes belong to that thread: polling them on
/// another crashes or hangs. It must never wait for another thread that uses the
/// launcher. The usual notifier only sets an event or posts a message, and the
/// host drains the queue later on its own thread.
typedef void (*NotifyCallback)(void* plugin);

/// The launcher. `appId` is one of "TAVR-GAME", "TAMSIN-BETA2-GAME",
/// "TAMSIN-MAINLINE-GAME", "TAMSIN-CTE-GAME", "BRENNA-GAME", "BRENNA-CTE-GAME",
/// "SOLANO-GAME" (the games) and "OSTREL-APP" (the store client), compared
/// exactly, letter case included. An unknown identifier is answered as each slot
/// says; nothing is logged or posted for it.
class ILauncher {
 public:
  /// Slot 0. Queues an event of the host's own and calls the notifier. `source`
  /// and `name` are required; each `arg` may be null, which reads as an empty
  /// text. Any thread. When memory runs out nothing is queued.
  virtual void PostEvent(const wchar_t* source, const wchar_t* name, const wchar_t* arg0,
                         const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3,
                         const wchar_t* arg4, const wchar_t* arg5, const wchar_t* arg6,
                         const wchar_t* arg7) = 0;

  /// Slot 1. Removes and returns the oldest event, or returns null when none is
  /// queued. The host owns the event until `FreeEvent`. Any thread.
  virtual IEventInfo* GetNextEvent() = 0;

  /// Slot 2. Frees an event that `GetNextEvent` returned; null is ignored. Any
  /// thread.
  virtual void FreeEvent(IEventInfo* event) = 0;

  /// Slot 3. Frees a text result; null is ignored. Any thread.
  virtual void FreeString(IString* string) = 0;

  /// Slot 4. Waits, without a time limit, until every ping batch and server query
  /// that was started has posted its result. No batch or query may be started
  /// meanwhile. Host's thread, not inside the notifier.
  virtual void WaitForThreads() = 0;

  /// Slot 5. Measures the round-trip times to `count` addresses (dotted IPv4
  /// texts) on a worker thread, through the helper program. Returns true. The
  /// result arrives as one "PingBatchResult" event: `arg0` is `batchId`, `arg1`
  /// a JSON array with an "ipAddress" and a "roundTripMSEC" (milliseconds; 0 when
  /// the helper gave none) for each address, in the order given. At most the
  /// first 256 addresses get a time. Throws std::bad_alloc when memory runs out
  /// and std::length_error when the list of worker threads is full. Host's
  /// thread.
  virtual bool PingBatch(const wchar_t* batchId, const wchar_t* const* addresses,
                         unsigned long long count) = 0;

  /// Slot 6. Whether the application is installed, looked up afresh. False for an
  /// unknown identifier. Host's thread.
  virtual bool IsInstalled(const wchar_t* appId) = 0;

  /// Slot 7. For a game the text of its "version.json", for the store client its
  /// registered version; "NOT_INSTALLED" when it is not installed;
  /// "INVALID_APP_ID" for an unknown identifier. Host's thread.
  virtual IString* GetVersion(const wchar_t* appId) = 0;

  /// Slot 8. The value of a parameter, an empty text when it is not set or the
  /// identifier is unknown. Written by the library on each look-up of the
  /// installation: "APP_VERSION", "PUNKBUSTER_INSTALLED", "EXPANSIONS_INSTALLED".
  /// Computed by the store client: "OstrelLocalHostEnabled" ("true" or "false").
  /// Host's thread.
  virtual IString* GetParameter(const wchar_t* appId, const wchar_t* key) = 0;

  /// Slot 9. For an installed game its parameter "EXTRA_ARGUMENTS", for the store
  /// client an empty text; "NOT_INSTALLED" for a game that is not installed;
  /// "INVALID_APP_ID" for an unknown identifier. Host's thread.
  virtual IString* GetExtraArguments(const wchar_t* appId) = 0;

  /// Slot 10. The version of this library, the text of `g_LauncherVersion`.
  /// Host's thread.
  virtual IString* GetLauncherVersion() = 0;

  /// Slot 11. Sends a command to the running game over its pipe. The arguments
  /// are joined by blanks up to the first empty one (`arg0` is always taken).
  /// True when the game's pipe is connected, which `PollApps` does; not a proof
  /// that the game has read the command. False for an unknown identifier, for
  /// the store client and when not connected. Host's thread.
  virtual bool SendCommand(const wchar_t* appId, const wchar_t* command, const wchar_t* arg0,
                           const wchar_t* arg1, const wchar_t* arg2, const wchar_t* arg3) = 0;

  /// Slot 12. Ends one running process of the game. True when such a process was
  /// found and could be opened. False for an unknown identifier and for the store
  /// client. `flag` has no effect. Host's thread.
  virtual bool Kill(const wchar_t* appId, bool flag) = 0;

  /// Slot 13. Asks the helper program to start the application: `text0` is the
  /// command line (for the store client the rest of its link), `flag` is handed
  /// to the helper as "YES" or "NO" and has no effect for the store client;
  /// `text1` to `text4` have no effect. True when the helper was started; a game
  /// then posts "StateChanged" with "PENDING". False for an unknown identifier.
  /// Host's thread.
  virtual bool Launch(const wchar_t* appId, const wchar_t* text0, bool flag, const wchar_t* text1,
                      const wchar_t* text2, const wchar_t* text3, const wchar_t* text4) = 0;

  /// Slot 14. Whether a process of the game runs. False for an unknown
  /// identifier and for the store client. Host's thread.
  virtual bool IsRunning(const wchar_t* appId) = 0;

  /// Slot 15. Sets a parameter and returns true; false for an unknown identifier.
  /// Read by the games: "probeMethod" ("path", or the registry for anything
  /// else), "registryKey", "binaryName", "workingDirectory", "binaryPath",
  /// "EXTRA_ARGUMENTS". Host's thread.
  virtual bool SetParameter(const wchar_t* appId, const wchar_t* key, const wchar_t* value) = 0;

  /// Slot 16. Asks the game server at `address` (dotted IPv4 text) and `port`
  /// (low 16 bits) for its state, on a worker thread. `gameIdText` is the
  /// server's game identifier in decimal. The result arrives as one
  /// "QueryServerResult" event: `source` is `requestId`, `arg0` is
  /// `requestText2`, `arg1` a JSON object whose "status" is "SUCCESS" or names
  /// the failure. At most about two seconds pass until then. Throws
  /// std::length_error when the list of worker threads is full. Host's thread.
  virtual void QueryServer(const wchar_t* requestId, const wchar_t* requestText2,
                           const wchar_t* gameIdText, const wchar_t* address,
                           unsigned int port) = 0;

  /// Slot 17. One step of every application's pipe: connects to a game that has
  /// opened its pipe ("READY"), moves commands both ways, notices a game that is
  /// gone ("GAMEISGONE"). Nothing of this happens unless the host calls here, a
  /// few times a second. Host's thread.
  virtual void PollApps() = 0;

  /// Slot 18. Destroys the launcher; bit 0 of `flags` also frees its memory.
  /// Returns the address of the object. Hosts call `DestroyLauncher` instead. The
  /// slot is what a compiler with Microsoft's C++ ABI calls for a `delete`. Host's
  /// thread, not inside the notifier.
  virtual void* Destroy(unsigned int flags) = 0;

 protected:
  ~ILauncher() = default;
};

extern "C" {

/// Creates a launcher, or returns null when memory runs out. `plugin` is only
/// handed back to `notifier`. A host that polls `GetNextEvent` by itself may pass
/// a null `notifier`.
LAUNCHER_API ILauncher* CreateLauncher(void* plugin, NotifyCallback notifier);

/// Destroys a launcher: waits for its worker threads (see `WaitForThreads`), then
/// discards the events that were not fetched. Null is ignored.
LAUNCHER_API void DestroyLauncher(ILauncher* launcher);

/// The binary contract declared in this header: 1. Another value means another
/// slot order; a host checks it before it calls `CreateLauncher`.
LAUNCHER_API extern const unsigned int g_LauncherABIVersion;

/// The version of the library, three digits and the terminating zero.
LAUNCHER_API extern const wchar_t g_LauncherVersion[4];

}  // extern "C"

#endif  // LAUNCHER_LAUNCHER_H_
