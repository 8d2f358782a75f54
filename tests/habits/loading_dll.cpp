// A DLL that loads the launcher's, and frees it, in its own initialisation.
#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*);
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  if (reason != DLL_PROCESS_ATTACH) return TRUE;
  wchar_t path[MAX_PATH];
  if (GetEnvironmentVariableW(L"LAUNCHER_DLL_TO_LOAD", path, MAX_PATH) == 0) return FALSE;
  const HMODULE module = LoadLibraryW(path);
  return module != nullptr && GetProcAddress(module, "CreateLauncher") != nullptr &&
         FreeLibrary(module);
}
