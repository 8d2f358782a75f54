// The public header under Microsoft's C++ ABI.
#include "launcher/launcher.h"
#include "tests/host_msvc/checks.h"

namespace host_msvc {

unsigned int CheckPublicHeader() {
  if (g_LauncherABIVersion != 1 || !Same(g_LauncherVersion, L"162")) return 10;
  DestroyLauncher(nullptr);
  ILauncher* const launcher = CreateLauncher(&notifications, Count);
  if (const unsigned int failed = CheckSlots(launcher)) return 10 + failed;
  IString* const version = launcher->GetLauncherVersion();
  if (version->Destroy(1) != version) return 18;
  DestroyLauncher(launcher);
  return 0;
}

}  // namespace host_msvc
