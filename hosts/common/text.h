// Texts as hosts need them: UTF-8 inside of a program, UTF-16 towards Windows and the launcher.
#ifndef LAUNCHER_HOSTS_COMMON_TEXT_H_
#define LAUNCHER_HOSTS_COMMON_TEXT_H_

#include <string>

#include "launcher/launcher.hpp"

namespace host {

using launcher_host::DescribeError;
using launcher_host::ToUtf8;
using launcher_host::ToWide;

/// The value of an environment variable; an empty text when it is not set.
std::wstring EnvironmentText(const wchar_t* name);

/// The folder of the running program, without a backslash at its end.
std::wstring ProgramDirectory();

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_TEXT_H_
