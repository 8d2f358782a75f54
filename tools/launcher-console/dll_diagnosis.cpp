#include "hosts/common/text.h"
#include "tools/launcher-console/diagnosis.h"
#include "tools/launcher-console/errors.h"
#include "tools/launcher-console/system_facts.h"

namespace console {
namespace {

constexpr char kSubject[] = "launcher.dll";

}  // namespace

host::LauncherClient* DiagnoseDll(Session& session, Findings& findings) {
  const std::wstring path = session.DllPath();
  const std::string shownPath = host::ToUtf8(path);
  const auto problem = [&findings](const std::string& text, const std::string& advice) {
    findings.push_back({kSubject, Level::kProblem, text, advice});
  };
  switch (LookAtImage(path)) {
    case ImageKind::kMissing:
      problem("there is no " + shownPath,
              "Put launcher.dll beside launcher-console.exe, or name it with --dll PATH.");
      return nullptr;
    case ImageKind::kNoImage:
      problem(shownPath + " is no DLL",
              "Install the plug-in again, or name another with --dll PATH.");
      return nullptr;
    case ImageKind::k32Bit:
      problem(shownPath + " is a 32-bit DLL",
              "launcher.dll and the programs that load it have 64 bits: install that one.");
      return nullptr;
    case ImageKind::k64Bit:
      break;
  }
  try {
    host::LauncherClient& launcher = session.Launcher();
    findings.push_back({kSubject, Level::kOk,
                        "version " + launcher.Version() + " was loaded from " + shownPath, ""});
    return &launcher;
  } catch (const CommandError& error) {
    if (error.exitCode != ExitCode::kEnvironment) throw;
    std::string text = error.what();
    problem(text.substr(0, text.find(';')),
            "Install the plug-in again, or name its launcher.dll with --dll PATH.");
    return nullptr;
  }
}

}  // namespace console
