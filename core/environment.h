// Environment variables of the process.
#ifndef LAUNCHER_CORE_ENVIRONMENT_H_
#define LAUNCHER_CORE_ENVIRONMENT_H_

#include <optional>
#include <string>

namespace launcher {

/// The present value of a variable, or nothing when it does not exist; a variable that exists may be
/// empty. Reads the system's environment, not the copy that a C runtime made when it started: a host
/// may set variables right before it creates a launcher.
std::optional<std::wstring> ReadEnvironment(const wchar_t* name);

}  // namespace launcher

#endif  // LAUNCHER_CORE_ENVIRONMENT_H_
