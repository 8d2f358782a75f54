#include <algorithm>

#include "hosts/common/text.h"
#include "tools/launcher-console/diagnosis.h"
#include "tools/launcher-console/system_facts.h"

namespace console {
namespace {

constexpr char kRoot[] = "HKEY_LOCAL_MACHINE\\";

/// One diagnosis of one game.
class GameDoctor {
 public:
  GameDoctor(Session& consoleSession, const host::KnownApplication& game, const GameDiagnosis& how,
             Findings& list)
      : session(consoleSession), application(game), options(how), findings(list) {}

  void Diagnose() {
    const std::string method = Parameter("probeMethod");
    const bool byPath = method == "path";
    if (!byPath && !method.empty() && method != "registry") {
      Add(Level::kNote, "probeMethod is '" + method +
                            "'; anything but 'path', in small letters, means the registry");
    }
    const bool found = byPath ? CheckPath() : CheckRegistry();
    const bool installed = session.Launcher().IsInstalled(application.id);
    if (installed != found) {
      Add(Level::kProblem, installed ? "yet the launcher takes the game for installed"
                                     : "yet the launcher does not take the game for installed");
    }
    if (!installed) return;
    Add(Level::kOk, "the launcher takes the game for installed");
    CheckStarter();
    CheckProcesses();
    CheckPipe();
  }

 private:
  void Add(Level level, const std::string& text) {
    findings.push_back({application.id, level, text});
  }

  // Something without which the game is not installed.
  bool Missing(const std::string& text) {
    Add(options.isAskedFor ? Level::kProblem : Level::kNote, text);
    return false;
  }

  std::string Parameter(const char* key) {
    return session.Launcher().GetParameter(application.id, key);
  }

  bool CheckPath() {
    Add(Level::kOk, "looked for by path: probeMethod is 'path'");
    if (Parameter("workingDirectory").empty()) Add(Level::kNote, "workingDirectory is not set");
    if (Parameter("binaryName").empty()) {
      Add(Level::kNote, "binaryName is not set: the running game is not found by its name");
    }
    const std::string program = Parameter("binaryPath");
    if (program.empty()) return Missing("binaryPath is not set");
    return CheckProgram(program);
  }

  bool CheckRegistry() {
    std::string key = Parameter("registryKey");
    if (key.empty()) key = application.registryKey;
    if (!RegistryKeyExists(key, RegistryView::k32Bit)) {
      if (RegistryKeyExists(key, RegistryView::k64Bit)) {
        return Missing("the registry key " + (kRoot + key) +
                       " exists in the 64-bit view only; the launcher reads the 32-bit view, where "
                       "a 32-bit installer writes");
      }
      return Missing("there is no registry key " + (kRoot + key) + " (32-bit view)");
    }
    Add(Level::kOk, "registry key " + (kRoot + key));
    const auto folder = RegistryText(key, application.valueName, RegistryView::k32Bit);
    if (!folder) {
      return Missing("the key has no text value \"" + std::string(application.valueName) + "\"");
    }
    constexpr std::size_t kLongestFolder = 126;  // what the launcher's buffer holds
    if (host::ToWide(*folder).size() > kLongestFolder) {
      return Missing(
          "the folder in \"Install Dir\" is longer than 126 characters, more than the "
          "launcher reads: " +
          *folder);
    }
    Add(Level::kOk, "\"Install Dir\" is " + *folder);
    const std::string separator = folder->ends_with('\\') ? "" : "\\";
    return CheckProgram(*folder + separator + ExecutableName());
  }

  // As the launcher chooses it.
  std::string ExecutableName() {
    const std::string name = Parameter("binaryName");
    if (!name.empty()) return name;
    const bool isFaked = GetEnvironmentVariableW(L"KOVLAUNCH_FAKE_X86", nullptr, 0) > 0;
    if (isFaked) Add(Level::kNote, "KOVLAUNCH_FAKE_X86 is set: the 32-bit game is looked for");
    const bool hasX86 = application.x86Name[0] != '\0';
    return isFaked || (!Is64BitSystem() && hasX86) ? application.x86Name : application.x64Name;
  }

  bool CheckProgram(const std::string& path) {
    if (!FileExists(path)) return Missing("the program is missing: " + path);
    Add(Level::kOk, "the program is " + path);
    return true;
  }

  // One game is started through a program of its own.
  void CheckStarter() {
    if (application.id != std::string_view("TAVR-GAME")) return;
    const std::string key = Parameter("registryKey");
    const auto folder = RegistryText(key.empty() ? application.registryKey : key,
                                     application.valueName, RegistryView::k32Bit);
    const std::string directory =
        Parameter("probeMethod") == "path" ? Parameter("workingDirectory") : folder.value_or("");
    if (!FileExists(directory + "\\Launcher.exe")) {
      Add(Level::kProblem, "the game is started by Launcher.exe, which is missing in " + directory);
    }
  }

  // The names of the game's programs, also those of the other architecture.
  std::vector<std::string> ExecutableNames() {
    std::vector<std::string> names{application.x64Name};
    if (application.x86Name[0] != '\0') names.emplace_back(application.x86Name);
    const std::string chosen = Parameter("binaryName");
    if (!chosen.empty()) names.push_back(chosen);
    return names;
  }

  void CheckProcesses() {
    const std::vector<Process> processes = FindProcesses(ExecutableNames());
    if (processes.empty()) Add(Level::kOk, "the game is not running");
    for (const Process& process : processes) {
      Add(Level::kOk, "running: " + process.name + ", process " + std::to_string(process.id));
    }
  }

  void CheckPipe() {
    const std::string pipe = application.pipeName;
    const PipeState state = LookAtPipe(pipe);
    if (state == PipeState::kMissing) {
      const bool isRunning = session.Launcher().IsRunning(application.id);
      Add(isRunning ? Level::kProblem : Level::kOk,
          isRunning ? "the game runs and has not opened its pipe " + pipe : "no pipe " + pipe);
      return;
    }
    if (state == PipeState::kBusy) {
      Add(Level::kProblem, "the pipe " + pipe +
                               " is there, and every place at it is taken: by "
                               "another launcher, or by an application that shares the pipe");
      return;
    }
    Add(Level::kOk, "the pipe " + pipe + " is there and has a free place");
    if (!options.mayConnect) return;
    const std::optional<Process> owner = OwnerOfPipe(pipe);
    if (!owner) {
      Add(Level::kNote, "Windows does not tell whose pipe it is");
      return;
    }
    const std::string process = owner->name + ", process " + std::to_string(owner->id);
    if (OwnsProgram(*owner)) {
      Add(Level::kOk, "the pipe belongs to " + process);
    } else {
      Add(Level::kNote, "the pipe belongs to " + process + ", no program of this game");
    }
  }

  bool OwnsProgram(const Process& owner) {
    const std::vector<Process> processes = FindProcesses(ExecutableNames());
    return std::any_of(processes.begin(), processes.end(),
                       [&owner](const Process& process) { return process.id == owner.id; });
  }

  Session& session;
  const host::KnownApplication& application;
  const GameDiagnosis options;
  Findings& findings;
};

}  // namespace

void DiagnoseGame(Session& session, const host::KnownApplication& application,
                  const GameDiagnosis& how, Findings& findings) {
  GameDoctor(session, application, how, findings).Diagnose();
}

void DiagnoseStoreClient(Session& session, const host::KnownApplication& application,
                         bool isAskedFor, Findings& findings) {
  const auto add = [&](Level level, const std::string& text) {
    findings.push_back({application.id, level, text});
  };
  const Level missing = isAskedFor ? Level::kProblem : Level::kNote;
  const std::string key = application.registryKey;
  const auto version = RegistryText(key, application.valueName, RegistryView::k32Bit);
  if (!version) {
    add(missing,
        "the registry key " + (kRoot + key) + " has no text value \"ClientVersion\" (32-bit view)");
  } else {
    add(Level::kOk, "\"ClientVersion\" in " + (kRoot + key) + " is " + *version);
  }
  const bool installed = session.Launcher().IsInstalled(application.id);
  if (installed) add(Level::kOk, "the launcher takes the store client for installed");
  if (installed != version.has_value()) {
    add(Level::kProblem, "the launcher's own look-up comes to another result");
  }
}

}  // namespace console
