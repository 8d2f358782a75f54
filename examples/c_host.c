/* A host in C, linked to the import library: lists the applications, posts an event to itself. */
#include <launcher/launcher_c.h>
#include <stdio.h>
#include <windows.h>

static const wchar_t* const kApps[] = {
    L"TAVR-GAME",   L"TAMSIN-BETA2-GAME", L"TAMSIN-MAINLINE-GAME", L"TAMSIN-CTE-GAME",
    L"BRENNA-GAME", L"BRENNA-CTE-GAME",   L"SOLANO-GAME",          L"OSTREL-APP"};

/* Runs on the thread that queued the event, so it only wakes the host's own. */
static void OnEvent(void* wake) { SetEvent(wake); }

static void ListApplications(launcher_t* launcher) {
  for (size_t i = 0; i < sizeof(kApps) / sizeof(kApps[0]); ++i) {
    launcher_string_t* version = launcher->slots->GetVersion(launcher, kApps[i]);
    if (version == NULL) continue; /* out of memory */
    printf("%-22ls %ls\n", kApps[i], version->slots->GetString(version));
    launcher->slots->FreeString(launcher, version);
  }
}

static void DrainEvents(launcher_t* launcher) {
  launcher_event_t* event;
  while ((event = launcher->slots->GetNextEvent(launcher)) != NULL) {
    printf("event %ls from %ls: %ls\n", event->slots->GetName(event),
           event->slots->GetSource(event), event->slots->GetArg0(event));
    launcher->slots->FreeEvent(launcher, event);
  }
}

int main(void) {
  if (g_LauncherABIVersion != 1) {
    fprintf(stderr, "launcher.dll has another contract\n");
    return 1;
  }
  HANDLE wake = CreateEventW(NULL, FALSE, FALSE, NULL);
  launcher_t* launcher = CreateLauncher(wake, OnEvent);
  if (launcher == NULL) return 1;
  ListApplications(launcher);

  launcher->slots->PostEvent(launcher, L"c-host", L"Hello", L"world", NULL, NULL, NULL, NULL, NULL,
                             NULL, NULL);
  const int woken = WaitForSingleObject(wake, 1000) == WAIT_OBJECT_0;
  DrainEvents(launcher);

  DestroyLauncher(launcher);
  CloseHandle(wake);
  return woken ? 0 : 1;
}
