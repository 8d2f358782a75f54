// The helper program, which starts games and sends ICMP echo requests for the library.
#ifndef LAUNCHER_CORE_HELPER_PROGRAM_H_
#define LAUNCHER_CORE_HELPER_PROGRAM_H_

#include <string>

#include "core/windows_api.h"

namespace launcher {

/// The helper's path under the installation directory as it is now.
std::wstring HelperProgramPath();

/// Starts the helper through the shell, which applies the system's execution policy (elevation among
/// others). `parameters` is handed over unchanged. Shows nothing on failure. On failure, `failure`
/// receives the shell's instance-handle result.
bool StartHelper(const std::wstring& helperPath, const std::wstring& parameters,
                 HINSTANCE& failure);

}  // namespace launcher

#endif  // LAUNCHER_CORE_HELPER_PROGRAM_H_
