// What the console's start is measured against: loads launcher.dll, writes one line, ends.
#include <windows.h>

#include <cstdio>

#include "tests/support/dll_host.h"

int main() {
  if (LoadLibraryW(test_support::LauncherDllPath().c_str()) == nullptr) return 1;
  std::puts("loaded");
  return 0;
}
