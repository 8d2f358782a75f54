// Where the plug-in and its helper program are installed.
#ifndef LAUNCHER_CORE_INSTALL_DIR_H_
#define LAUNCHER_CORE_INSTALL_DIR_H_

#include <string>

namespace launcher {

/// The installation directory: the environment variable KOVLAUNCH_INSTDIR unchanged, else the
/// default value of the plug-in's registry key, else an empty text. Looked up afresh on each call.
std::wstring GetPluginInstallDir();

}  // namespace launcher

#endif  // LAUNCHER_CORE_INSTALL_DIR_H_
