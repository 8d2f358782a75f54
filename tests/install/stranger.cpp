// Prints the library's version.
#include <launcher/launcher.h>

#include <cstdio>

static void Ignore(void*) {}

int main() {
  ILauncher* launcher = CreateLauncher(nullptr, Ignore);
  if (launcher == nullptr) return 1;
  IString* version = launcher->GetLauncherVersion();
  if (version == nullptr) return 1;
  std::printf("C++ host: contract %u, version %ls, exported version %ls\n", g_LauncherABIVersion,
              version->GetString(), g_LauncherVersion);
  launcher->FreeString(version);
  DestroyLauncher(launcher);
}
