/// What the demonstration prints, and where everybody's output goes.
#ifndef LAUNCHER_EXAMPLES_DEMO_CONSOLE_H_
#define LAUNCHER_EXAMPLES_DEMO_CONSOLE_H_

#include <string>
#include <vector>

#include "launcher/launcher.hpp"

namespace demo {

using launcher_host::DescribeError;
using launcher_host::ToUtf8;
using launcher_host::ToWide;

/// One line on the console, in UTF-8. Any thread.
void Print(const std::string& line = "");

/// Rows of equally many cells below a headline, in columns.
void PrintTable(const std::vector<std::vector<std::string>>& rows);

/// The launcher reports every call on the standard streams of the process that it is loaded into.
/// From here on those lines go to a file; `Print` still reaches the console. To be called before
/// the DLL is loaded. Throws std::runtime_error.
void SendStandardStreamsTo(const std::wstring& path);

}  // namespace demo

#endif  // LAUNCHER_EXAMPLES_DEMO_CONSOLE_H_
