// The one place where the library includes the Windows headers: winsock2.h has to come before
// windows.h, and neither min/max macros nor rarely used interfaces are wanted.
#ifndef LAUNCHER_CORE_WINDOWS_API_H_
#define LAUNCHER_CORE_WINDOWS_API_H_

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif

#include <winsock2.h>
// winsock2.h first.
#include <windows.h>

#endif  // LAUNCHER_CORE_WINDOWS_API_H_
