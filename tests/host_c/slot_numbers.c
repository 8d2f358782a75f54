/* A host in C that knows no header of the library: it calls every slot by its number and ends with
 * the number of the first check that failed, 0 when none did. */
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <wchar.h>

typedef const wchar_t* text;
typedef void (*function)(void);

__declspec(dllimport) void* CreateLauncher(void* plugin, void (*notifier)(void*));
__declspec(dllimport) void DestroyLauncher(void* launcher);
__declspec(dllimport) extern const uint32_t g_LauncherABIVersion;
__declspec(dllimport) extern const wchar_t g_LauncherVersion[4];

/* An object is a pointer to its table of functions. */
static function Slot(void* object, size_t number) { return (*(function**)object)[number]; }

static int notifications;

static void Count(void* plugin) {
  if (plugin == &notifications) ++notifications;
}

/* Compares a text result (slot 0 of a string) and frees it (slot 3 of the launcher). */
static bool TextIs(void* launcher, void* string, text expected) {
  const bool equal =
      string != NULL && wcscmp(((text(*)(void*))Slot(string, 0))(string), expected) == 0;
  ((void (*)(void*, void*))Slot(launcher, 3))(launcher, string);
  return equal;
}

static void* NextEvent(void* launcher) { return ((void* (*)(void*))Slot(launcher, 1))(launcher); }

static bool EventTextIs(void* event, size_t slot, text expected) {
  return wcscmp(((text(*)(void*))Slot(event, slot))(event), expected) == 0;
}

/* Slots 0 to 2, and the ten slots of an event. */
static bool EventsWork(void* launcher) {
  static const text expected[] = {L"source", L"name", L"0", L"1", L"2",
                                  L"",       L"4",    L"5", L"6", L"7"};
  ((void (*)(void*, text, text, text, text, text, text, text, text, text, text))Slot(launcher, 0))(
      launcher, L"source", L"name", L"0", L"1", L"2", NULL, L"4", L"5", L"6", L"7");
  void* const event = NextEvent(launcher);
  if (event == NULL || notifications != 1) return false;
  for (size_t slot = 0; slot < 10; ++slot) {
    if (!EventTextIs(event, slot, expected[slot])) return false;
  }
  ((void (*)(void*, void*))Slot(launcher, 2))(launcher, event);
  return NextEvent(launcher) == NULL;
}

/* Slots 5 and 4: without a helper program a batch ends at once. */
static bool PingWorks(void* launcher) {
  const text addresses[] = {L"127.0.0.1"};
  if (!((bool (*)(void*, text, const text*, uint64_t))Slot(launcher, 5))(launcher, L"batch",
                                                                         addresses, 1)) {
    return false;
  }
  ((void (*)(void*))Slot(launcher, 4))(launcher);
  void* const event = NextEvent(launcher);
  const bool works =
      event != NULL && EventTextIs(event, 1, L"PingBatchResult") &&
      EventTextIs(event, 2, L"batch") &&
      EventTextIs(event, 3,
                  L"[\n\t{\n\t\t\"ipAddress\": \"127.0.0.1\",\n\t\t\"roundTripMSEC\": 0\n\t}\n]\n");
  ((void (*)(void*, void*))Slot(launcher, 2))(launcher, event);
  return works;
}

/* Slot 16: no server answers, and one event comes all the same. */
static bool QueryWorks(void* launcher) {
  ((void (*)(void*, text, text, text, text, uint32_t))Slot(launcher, 16))(
      launcher, L"request", L"second", L"1", L"127.0.0.1", 1);
  ((void (*)(void*))Slot(launcher, 4))(launcher);
  void* const event = NextEvent(launcher);
  const bool works = event != NULL && EventTextIs(event, 0, L"request") &&
                     EventTextIs(event, 1, L"QueryServerResult") &&
                     EventTextIs(event, 2, L"second");
  ((void (*)(void*, void*))Slot(launcher, 2))(launcher, event);
  return works;
}

/* Slots 6 to 10 and 14. */
static bool LookUpsWork(void* launcher) {
  typedef bool (*id_to_bool)(void*, text);
  typedef void* (*id_to_string)(void*, text);
  return !((id_to_bool)Slot(launcher, 6))(launcher, L"NONE") &&
         !((id_to_bool)Slot(launcher, 14))(launcher, L"NONE") &&
         TextIs(launcher, ((id_to_string)Slot(launcher, 7))(launcher, L"NONE"),
                L"INVALID_APP_ID") &&
         TextIs(launcher, ((id_to_string)Slot(launcher, 9))(launcher, L"NONE"),
                L"INVALID_APP_ID") &&
         TextIs(launcher, ((void* (*)(void*))Slot(launcher, 10))(launcher), L"162");
}

/* Slots 15 and 8. */
static bool ParametersWork(void* launcher) {
  return ((bool (*)(void*, text, text, text))Slot(launcher, 15))(launcher, L"BRENNA-GAME", L"key",
                                                                 L"value") &&
         !((bool (*)(void*, text, text, text))Slot(launcher, 15))(launcher, L"NONE", L"key",
                                                                  L"value") &&
         TextIs(launcher,
                ((void* (*)(void*, text, text))Slot(launcher, 8))(launcher, L"BRENNA-GAME", L"key"),
                L"value");
}

/* Slots 11 to 13 and 17, without any game. */
static bool ActionsWork(void* launcher) {
  ((void (*)(void*))Slot(launcher, 17))(launcher);
  return !((bool (*)(void*, text, text, text, text, text, text))Slot(launcher, 11))(
             launcher, L"NONE", L"command", L"", L"", L"", L"") &&
         !((bool (*)(void*, text, bool))Slot(launcher, 12))(launcher, L"NONE", true) &&
         !((bool (*)(void*, text, text, bool, text, text, text, text))Slot(launcher, 13))(
             launcher, L"NONE", L"", true, L"", L"", L"", L"") &&
         NextEvent(launcher) == NULL;
}

/* Slot 18 of the launcher and slot 1 of a string, with the flag that frees the memory. */
static bool DestructionWorks(void* launcher) {
  typedef void* (*destroy)(void*, unsigned int);
  void* const string = ((void* (*)(void*))Slot(launcher, 10))(launcher);
  return ((destroy)Slot(string, 1))(string, 1) == string &&
         ((destroy)Slot(launcher, 18))(launcher, 1) == launcher;
}

int main(void) {
  if (g_LauncherABIVersion != 1) return 1;
  if (wcscmp(g_LauncherVersion, L"162") != 0) return 2;
  DestroyLauncher(NULL);
  void* const launcher = CreateLauncher(&notifications, Count);
  if (launcher == NULL) return 3;
  static bool (*const checks[])(void*) = {EventsWork,     PingWorks,   QueryWorks,      LookUpsWork,
                                          ParametersWork, ActionsWork, DestructionWorks};
  for (size_t i = 0; i < sizeof(checks) / sizeof(checks[0]); ++i) {
    if (!checks[i](launcher)) return 4 + (int)i;
  }
  void* const second = CreateLauncher(NULL, NULL);
  if (second == NULL) return 20;
  DestroyLauncher(second);
  puts("every slot answered");
  return 0;
}
