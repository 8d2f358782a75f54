/* Prints the library's version. */
#include <launcher/launcher_c.h>
#include <stdio.h>

static void Ignore(void* plugin) { (void)plugin; }

int main(void) {
  launcher_t* launcher = CreateLauncher(NULL, Ignore);
  if (launcher == NULL) return 1;
  launcher_string_t* version = launcher->slots->GetLauncherVersion(launcher);
  if (version == NULL) return 1;
  printf("C host: contract %u, version %ls, exported version %ls\n", (unsigned)g_LauncherABIVersion,
         version->slots->GetString(version), g_LauncherVersion);
  launcher->slots->FreeString(launcher, version);
  DestroyLauncher(launcher);
  return 0;
}
