// The four exports. The host's header is the contract; everything else stays inside the DLL.
#include <new>

#include "core/launcher/app_launcher.h"
#include "core/launcher/version.h"
#include "launcher/launcher.h"

extern "C" {

extern const unsigned int g_LauncherABIVersion = LAUNCHER_ABI_VERSION;
extern const wchar_t g_LauncherVersion[4] = LAUNCHER_VERSION_WIDE;

ILauncher* CreateLauncher(void* plugin, NotifyCallback notifier) {
  try {
    return new launcher::AppLauncher(plugin, notifier);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void DestroyLauncher(ILauncher* launcher) {
  if (launcher != nullptr) launcher->Destroy(launcher::AppLauncher::kFreeMemory);
}

}  // extern "C"
