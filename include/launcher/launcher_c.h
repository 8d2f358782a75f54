/* The contract between launcher.dll and its host, for C and for every language
 * whose foreign-function interface can call C.
 *
 * It is the interface of launcher.h, slot by slot: an object is a pointer to a
 * structure whose first member points at its table of functions, and every
 * function takes the object as its first argument. Calling convention: the one
 * of x64 Windows. `bool` has one byte. Texts are zero-terminated UTF-16.
 *
 *   launcher_t* launcher = CreateLauncher(NULL, on_event);
 *   launcher_string_t* version = launcher->slots->GetLauncherVersion(launcher);
 *   ... version->slots->GetString(version) ...
 *   launcher->slots->FreeString(launcher, version);
 *   DestroyLauncher(launcher);
 *
 * launcher.h says beside the slot of the same name what it does, who owns what,
 * which threads and whether the notifier may call it, and what a failure looks
 * like.
 */
#ifndef LAUNCHER_LAUNCHER_C_H_
#define LAUNCHER_LAUNCHER_C_H_

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The contract that this header knows: the value of g_LauncherABIVersion. */
#define LAUNCHER_ABI_VERSION 1u

/* Identifiers of the applications, in the order in which PollApps visits them. */
#define LAUNCHER_APP_BRENNA_CTE L"BRENNA-CTE-GAME"
#define LAUNCHER_APP_BRENNA L"BRENNA-GAME"
#define LAUNCHER_APP_OSTREL L"OSTREL-APP" /* the store client */
#define LAUNCHER_APP_SOLANO L"SOLANO-GAME"
#define LAUNCHER_APP_TAMSIN_BETA2 L"TAMSIN-BETA2-GAME"
#define LAUNCHER_APP_TAMSIN_CTE L"TAMSIN-CTE-GAME"
#define LAUNCHER_APP_TAMSIN_MAINLINE L"TAMSIN-MAINLINE-GAME"
#define LAUNCHER_APP_TAVR L"TAVR-GAME"

/* Names of the events that the library itself posts. Any other name is a game's command. */
#define LAUNCHER_EVENT_STATE_CHANGED L"StateChanged"
#define LAUNCHER_EVENT_PING_BATCH_RESULT L"PingBatchResult"
#define LAUNCHER_EVENT_QUERY_SERVER_RESULT L"QueryServerResult"

/* First argument of "StateChanged". */
#define LAUNCHER_STATE_PENDING L"PENDING"
#define LAUNCHER_STATE_READY L"READY"
#define LAUNCHER_STATE_GAME_IS_GONE L"GAMEISGONE"

/* Parameters written by each look-up of the installation, ... */
#define LAUNCHER_PARAMETER_APP_VERSION L"APP_VERSION"
#define LAUNCHER_PARAMETER_PUNKBUSTER_INSTALLED L"PUNKBUSTER_INSTALLED"
#define LAUNCHER_PARAMETER_EXPANSIONS_INSTALLED L"EXPANSIONS_INSTALLED"
/* ... read by the games, ... */
#define LAUNCHER_PARAMETER_PROBE_METHOD L"probeMethod"
#define LAUNCHER_PARAMETER_REGISTRY_KEY L"registryKey"
#define LAUNCHER_PARAMETER_BINARY_NAME L"binaryName"
#define LAUNCHER_PARAMETER_WORKING_DIRECTORY L"workingDirectory"
#define LAUNCHER_PARAMETER_BINARY_PATH L"binaryPath"
#define LAUNCHER_PARAMETER_EXTRA_ARGUMENTS L"EXTRA_ARGUMENTS"
/* ... and computed by the store client. */
#define LAUNCHER_PARAMETER_OSTREL_LOCAL_HOST_ENABLED L"OstrelLocalHostEnabled"

/* The value of "probeMethod" that has effect. */
#define LAUNCHER_PROBE_PATH L"path"

/* Answers of GetVersion and GetExtraArguments that are none. */
#define LAUNCHER_NOT_INSTALLED L"NOT_INSTALLED"
#define LAUNCHER_INVALID_APP_ID L"INVALID_APP_ID"

/* "status" of a query that succeeded. */
#define LAUNCHER_QUERY_SUCCESS L"SUCCESS"

/* A text result. Hand it back through the launcher's FreeString. */
typedef struct launcher_string launcher_string_t;

typedef struct launcher_string_slots {
  /* 0 */ const wchar_t* (*GetString)(launcher_string_t* self);
  /* 1 */ void* (*Destroy)(launcher_string_t* self, uint32_t flags);
} launcher_string_slots_t;

struct launcher_string {
  const launcher_string_slots_t* slots;
};

/* An event. Hand it back through the launcher's FreeEvent. */
typedef struct launcher_event launcher_event_t;

typedef struct launcher_event_slots {
  /* 0 */ const wchar_t* (*GetSource)(launcher_event_t* self);
  /* 1 */ const wchar_t* (*GetName)(launcher_event_t* self);
  /* 2 */ const wchar_t* (*GetArg0)(launcher_event_t* self);
  /* 3 */ const wchar_t* (*GetArg1)(launcher_event_t* self);
  /* 4 */ const wchar_t* (*GetArg2)(launcher_event_t* self);
  /* 5 */ const wchar_t* (*GetArg3)(launcher_event_t* self);
  /* 6 */ const wchar_t* (*GetArg4)(launcher_event_t* self);
  /* 7 */ const wchar_t* (*GetArg5)(launcher_event_t* self);
  /* 8 */ const wchar_t* (*GetArg6)(launcher_event_t* self);
  /* 9 */ const wchar_t* (*GetArg7)(launcher_event_t* self);
} launcher_event_slots_t;

struct launcher_event {
  const launcher_event_slots_t* slots;
};

/* The launcher. */
typedef struct launcher launcher_t;

typedef struct launcher_slots {
  /* 0 */ void (*PostEvent)(launcher_t* self, const wchar_t* source, const wchar_t* name,
                            const wchar_t* arg0, const wchar_t* arg1, const wchar_t* arg2,
                            const wchar_t* arg3, const wchar_t* arg4, const wchar_t* arg5,
                            const wchar_t* arg6, const wchar_t* arg7);
  /* 1 */ launcher_event_t* (*GetNextEvent)(launcher_t* self);
  /* 2 */ void (*FreeEvent)(launcher_t* self, launcher_event_t* event);
  /* 3 */ void (*FreeString)(launcher_t* self, launcher_string_t* string);
  /* 4 */ void (*WaitForThreads)(launcher_t* self);
  /* 5 */ bool (*PingBatch)(launcher_t* self, const wchar_t* batchId,
                            const wchar_t* const* addresses, uint64_t count);
  /* 6 */ bool (*IsInstalled)(launcher_t* self, const wchar_t* appId);
  /* 7 */ launcher_string_t* (*GetVersion)(launcher_t* self, const wchar_t* appId);
  /* 8 */ launcher_string_t* (*GetParameter)(launcher_t* self, const wchar_t* appId,
                                             const wchar_t* key);
  /* 9 */ launcher_string_t* (*GetExtraArguments)(launcher_t* self, const wchar_t* appId);
  /* 10 */ launcher_string_t* (*GetLauncherVersion)(launcher_t* self);
  /* 11 */ bool (*SendCommand)(launcher_t* self, const wchar_t* appId, const wchar_t* command,
                               const wchar_t* arg0, const wchar_t* arg1, const wchar_t* arg2,
                               const wchar_t* arg3);
  /* 12 */ bool (*Kill)(launcher_t* self, const wchar_t* appId, bool flag);
  /* 13 */ bool (*Launch)(launcher_t* self, const wchar_t* appId, const wchar_t* text0, bool flag,
                          const wchar_t* text1, const wchar_t* text2, const wchar_t* text3,
                          const wchar_t* text4);
  /* 14 */ bool (*IsRunning)(launcher_t* self, const wchar_t* appId);
  /* 15 */ bool (*SetParameter)(launcher_t* self, const wchar_t* appId, const wchar_t* key,
                                const wchar_t* value);
  /* 16 */ void (*QueryServer)(launcher_t* self, const wchar_t* requestId,
                               const wchar_t* requestText2, const wchar_t* gameIdText,
                               const wchar_t* address, uint32_t port);
  /* 17 */ void (*PollApps)(launcher_t* self);
  /* 18 */ void* (*Destroy)(launcher_t* self, uint32_t flags);
} launcher_slots_t;

struct launcher {
  const launcher_slots_t* slots;
};

/* Called once for every event that was queued; see NotifyCallback in launcher.h. */
typedef void (*launcher_notify_t)(void* plugin);

/* The exports by their types, for hosts that load the DLL at run time. */
typedef launcher_t* (*launcher_create_t)(void* plugin, launcher_notify_t notifier);
typedef void (*launcher_destroy_t)(launcher_t* launcher);

/* The exports by their names, for hosts that link the import library. A file that
 * includes launcher.h as well, and includes it first, has them from there. */
#ifndef LAUNCHER_LAUNCHER_H_
__declspec(dllimport) launcher_t* CreateLauncher(void* plugin, launcher_notify_t notifier);
__declspec(dllimport) void DestroyLauncher(launcher_t* launcher);
__declspec(dllimport) extern const uint32_t g_LauncherABIVersion;
__declspec(dllimport) extern const wchar_t g_LauncherVersion[4];
#endif

#ifdef __cplusplus
}
#endif

#endif /* LAUNCHER_LAUNCHER_C_H_ */
