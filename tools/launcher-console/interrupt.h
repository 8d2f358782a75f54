// Ctrl+C as an object that can be waited for.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_INTERRUPT_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_INTERRUPT_H_

#include <windows.h>

namespace console {

/// From the first call on, Ctrl+C, Ctrl+Break and the closing of the console window no longer end
/// the process but set the event that is returned. The same one each time.
HANDLE InterruptEvent();

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_INTERRUPT_H_
