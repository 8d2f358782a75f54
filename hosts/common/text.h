// Texts as hosts need them: UTF-8 inside of a program, UTF-16 towards Windows and the launcher.
#ifndef LAUNCHER_HOSTS_COMMON_TEXT_H_
#define LAUNCHER_HOSTS_COMMON_TEXT_H_

#include <string>
#include <string_view>

namespace host {

/// Always valid UTF-8: half a surrogate pair becomes U+FFFD.
std::string ToUtf8(std::wstring_view text);
std::wstring ToWide(std::string_view bytes);

/// "The system cannot find the file specified. (error 2)"
std::string DescribeError(unsigned long code);

/// The value of an environment variable; an empty text when it is not set.
std::wstring EnvironmentText(const wchar_t* name);

/// The folder of the running program, without a backslash at its end.
std::wstring ProgramDirectory();

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_TEXT_H_
