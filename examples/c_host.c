/* A host in C, linked to the import library: lists the applications, posts an event to itself and
 * receives it in a loop that also looks after games. */
#include <launcher/launcher_c.h>
#include <stdio.h>
#include <windows.h>

static const wchar_t* const kApps[] = {LAUNCHER_APP_BRENNA_CTE,      LAUNCHER_APP_BRENNA,
                                       LAUNCHER_APP_OSTREL,          LAUNCHER_APP_SOLANO,
                                       LAUNCHER_APP_TAMSIN_BETA2,    LAUNCHER_APP_TAMSIN_CTE,
                                       LAUNCHER_APP_TAMSIN_MAINLINE, LAUNCHER_APP_TAVR};

/* In UTF-8, up to 1023 bytes: printf("%ls") would stop at the first character that the console's
 * code page lacks. */
static void Print(const wchar_t* text, int width) {
  char bytes[1024];
  if (WideCharToMultiByte(CP_UTF8, 0, text, -1, bytes, sizeof(bytes), NULL, NULL) == 0) return;
  printf("%-*s", width, bytes);
}

/* Runs on the thread that queued the event, so it only wakes the host's own. */
static void OnEvent(void* wake) { SetEvent(wake); }

static void ListApplications(launcher_t* launcher) {
  for (size_t i = 0; i < sizeof(kApps) / sizeof(kApps[0]); ++i) {
    launcher_string_t* version = launcher->slots->GetVersion(launcher, kApps[i]);
    if (version == NULL) continue; /* out of memory */
    Print(kApps[i], 23);
    Print(version->slots->GetString(version), 0);
    printf("\n");
    launcher->slots->FreeString(launcher, version);
  }
}

/* Returns how many events have come. */
static int DrainEvents(launcher_t* launcher) {
  int count = 0;
  launcher_event_t* event;
  while ((event = launcher->slots->GetNextEvent(launcher)) != NULL) {
    printf("event ");
    Print(event->slots->GetName(event), 0);
    printf(" from ");
    Print(event->slots->GetSource(event), 0);
    printf(": ");
    Print(event->slots->GetArg0(event), 0);
    printf("\n");
    launcher->slots->FreeEvent(launcher, event);
    ++count;
  }
  return count;
}

int main(void) {
  SetConsoleOutputCP(CP_UTF8);
  if (g_LauncherABIVersion != LAUNCHER_ABI_VERSION) {
    fprintf(stderr, "launcher.dll has another contract\n");
    return 1;
  }
  HANDLE wake = CreateEventW(NULL, FALSE, FALSE, NULL);
  if (wake == NULL) return 1;
  launcher_t* launcher = CreateLauncher(wake, OnEvent);
  if (launcher == NULL) return 1;
  ListApplications(launcher);

  launcher->slots->PostEvent(launcher, L"c-host", L"Hello", L"world", NULL, NULL, NULL, NULL, NULL,
                             NULL, NULL);
  /* A host goes on for as long as it runs: ten times a second, or when an event wakes it. */
  int events = 0;
  for (int round = 0; events == 0 && round < 100; ++round) {
    WaitForSingleObject(wake, 100);
    launcher->slots->PollApps(launcher);
    events = DrainEvents(launcher);
  }

  DestroyLauncher(launcher);
  CloseHandle(wake);
  return events > 0 ? 0 : 1;
}
