// What `doctor` finds out.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_DIAGNOSIS_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_DIAGNOSIS_H_

#include <chrono>
#include <string>
#include <vector>

#include "hosts/common/known_applications.h"
#include "tools/launcher-console/session.h"

namespace console {

enum class Level { kOk, kNote, kProblem };

struct Finding {
  std::string subject;  // "launcher.dll", "helper", or an application
  Level level;
  std::string text;
  std::string advice;  // what to do; empty for kOk
};

using Findings = std::vector<Finding>;

/// Whether the DLL can be loaded and is a launcher. The launcher, or null.
host::LauncherClient* DiagnoseDll(Session& session, Findings& findings);

/// Whether the helper program is where the launcher looks for it, and answers.
void DiagnoseHelper(Session& session, host::LauncherClient* launcher,
                    std::chrono::milliseconds patience, Findings& findings);

struct GameDiagnosis {
  bool isAskedFor = false;  // what is missing is a problem then, and a note otherwise
  bool mayConnect = true;   // to the game's pipe, to learn whose it is
};

/// A key below HKEY_LOCAL_MACHINE in the registry's 32-bit view, as regedit shows it.
std::string ShownKey(const std::string& key);

/// Without a launcher (null) what can be seen without one.
///
/// Follows the launcher's own way from the registry to the game's pipe.
void DiagnoseGame(Session& session, host::LauncherClient* launcher,
                  const host::KnownApplication& application, const GameDiagnosis& how,
                  Findings& findings);
void DiagnoseStoreClient(host::LauncherClient* launcher, const host::KnownApplication& application,
                         bool isAskedFor, Findings& findings);

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_DIAGNOSIS_H_
