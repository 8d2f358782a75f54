// Where the program begins: there is no C run-time in front of it.
#include "tests/host_msvc/checks.h"

extern "C" __declspec(dllimport) void ExitProcess(unsigned int code);

extern "C" void HostMain() {
  unsigned int failed = host_msvc::CheckPublicHeader();
  if (failed == 0) failed = host_msvc::CheckOwnHeader();
  if (failed == 0) failed = host_msvc::CheckWrapper();
  ExitProcess(failed);
}
