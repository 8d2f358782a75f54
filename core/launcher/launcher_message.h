// The window message by which a new launcher announces itself.
#ifndef LAUNCHER_CORE_LAUNCHER_LAUNCHER_MESSAGE_H_
#define LAUNCHER_CORE_LAUNCHER_LAUNCHER_MESSAGE_H_

#include <string_view>

namespace launcher {

/// Registers the launcher's window message with `suffix` appended to its name and returns its
/// identifier, 0 when it cannot be registered.
unsigned int RegisterLauncherMessage(std::wstring_view suffix);

}  // namespace launcher

#endif  // LAUNCHER_CORE_LAUNCHER_LAUNCHER_MESSAGE_H_
