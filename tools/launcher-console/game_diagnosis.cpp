#include <algorithm>
#include <string_view>

#include "hosts/common/text.h"
#include "tools/launcher-console/diagnosis.h"
#include "tools/launcher-console/system_facts.h"

namespace console {
namespace {

/// One diagnosis of one game.
class GameDoctor {
 public:
  GameDoctor(Session& consoleSession, host::LauncherClient* launcherOrNull,
             const host::KnownApplication& game, const GameDiagnosis& how, Findings& list)
      : session(consoleSession),
        launcher(launcherOrNull),
        application(game),
        options(how),
        findings(list) {}

  void Diagnose() {
    NoteRememberedParameters();
    const std::string method = Parameter("probeMethod");
    const bool byPath = method == "path";
    if (!byPath && !method.empty() && method != "registry") {
      Add(Level::kNote,
          "probeMethod is '" + method +
              "'; anything but 'path', in small letters, means the registry",
          Command("unset", "probeMethod"));
    }
    const bool found = byPath ? CheckPath() : CheckRegistry();
    const bool installed = launcher == nullptr ? found : launcher->IsInstalled(application.id);
    if (installed != found) {
      Add(Level::kProblem,
          installed ? "yet the launcher takes the game for installed"
                    : "yet the launcher does not take the game for installed",
          "Run again with --log PATH and read there what the launcher says of it.");
    }
    if (!installed) return;
    if (launcher != nullptr) Add(Level::kOk, "the launcher takes the game for installed");
    CheckStarter();
    CheckProcesses();
    CheckPipe();
  }

 private:
  void Add(Level level, const std::string& text, const std::string& advice = "") {
    findings.push_back({application.id, level, text, advice});
  }

  // Something without which the game is not installed.
  bool Missing(const std::string& text, const std::string& advice) {
    Add(options.isAskedFor ? Level::kProblem : Level::kNote, text, advice);
    return false;
  }

  // All parameters of this program's launcher were remembered, or written by the launcher.
  std::string Parameter(const std::string& key) { return session.Remembered(application.id, key); }

  std::string Command(const std::string& name, const std::string& argument) const {
    return "launcher-console " + name + " " + application.id + " " + argument;
  }

  void NoteRememberedParameters() {
    const Json& parameters = session.SettingsFile().Parameters();
    if (!parameters.contains(application.id)) return;
    for (const auto& [key, value] : parameters[application.id].items()) {
      Add(Level::kNote,
          key + " is '" + value.get<std::string>() + "', remembered in " +
              host::ToUtf8(session.SettingsFile().Path()) + "; the plug-in sets its own",
          "To forget it: " + Command("unset", key));
    }
  }

  bool CheckPath() {
    Add(Level::kOk, "looked for by path: probeMethod is 'path'");
    if (Parameter("workingDirectory").empty()) {
      Add(Level::kNote, "workingDirectory is not set",
          Command("set", "\"workingDirectory=FOLDER\""));
    }
    if (Parameter("binaryName").empty()) {
      Add(Level::kNote, "binaryName is not set: the running game is not found by its name",
          Command("set", "binaryName=" + std::string(application.x64Name)));
    }
    const std::string program = Parameter("binaryPath");
    if (program.empty()) {
      return Missing("binaryPath is not set", Command("set", "\"binaryPath=PATH\""));
    }
    return CheckProgram(program);
  }

  bool CheckRegistry() {
    std::string key = Parameter("registryKey");
    if (key.empty()) key = application.registryKey;
    const std::string shownKey = ShownKey(key);
    const std::string install =
        "Install the game, or name its key: " + Command("set", "\"registryKey=KEY\"");
    if (!RegistryKeyExists(key, RegistryView::k32Bit)) {
      if (RegistryKeyExists(key, RegistryView::k64Bit)) {
        return Missing("the registry key HKEY_LOCAL_MACHINE\\" + key +
                           " exists in the 64-bit view only; the launcher reads the 32-bit view, "
                           "where a 32-bit installer writes",
                       "Copy its values to " + shownKey + ".");
      }
      return Missing("there is no registry key " + shownKey, install);
    }
    Add(Level::kOk, "registry key " + shownKey);
    const std::string valueName = application.valueName;
    const auto folder = ReadRegistry(key, valueName, RegistryView::k32Bit);
    if (!folder || !folder->isText) {
      return Missing(shownKey + " has no text value \"" + valueName + "\"",
                     "Repair the game's installation, or write the folder there as REG_SZ.");
    }
    constexpr std::size_t kLongestFolder = 126;  // what the launcher's buffer holds
    if (host::ToWide(folder->text).size() > kLongestFolder) {
      return Missing(
          "the folder in \"Install Dir\" is longer than 126 characters, more than the "
          "launcher reads: " +
              folder->text,
          "Move the game to a folder with a shorter name.");
    }
    if (folder->isExpandable && folder->text.find('%') != std::string::npos) {
      return Missing(
          "\"" + valueName + "\" in " + shownKey +
              " is of type REG_EXPAND_SZ, which the launcher does not expand: " + folder->text,
          "Write the folder in full, as REG_SZ.");
    }
    Add(Level::kOk, "\"Install Dir\" is " + folder->text);
    installDirectory = folder->text;
    const std::string separator = folder->text.ends_with('\\') ? "" : "\\";
    return CheckProgram(folder->text + separator + ExecutableName());
  }

  // As the launcher chooses it.
  std::string ExecutableName() {
    std::string name = Parameter("binaryName");
    if (!name.empty()) return name;
    const bool isFaked = GetEnvironmentVariableW(L"KOVLAUNCH_FAKE_X86", nullptr, 0) > 0;
    if (isFaked) {
      Add(Level::kNote, "KOVLAUNCH_FAKE_X86 is set: the 32-bit game is looked for",
          "Remove that variable from the environment, unless this is a test.");
    }
    const bool hasX86 = application.x86Name[0] != '\0';
    return isFaked || (!Is64BitSystem() && hasX86) ? application.x86Name : application.x64Name;
  }

  bool CheckProgram(const std::string& path) {
    if (!FileExists(path)) {
      return Missing("the program is missing: " + path,
                     "Repair the game's installation, or correct where it is looked for.");
    }
    Add(Level::kOk, "the program is " + path);
    return true;
  }

  // One game is started through a program of its own.
  void CheckStarter() {
    if (application.id != std::string_view("TAVR-GAME")) return;
    const std::string directory =
        Parameter("probeMethod") == "path" ? Parameter("workingDirectory") : installDirectory;
    if (!FileExists(directory + "\\Launcher.exe")) {
      Add(Level::kProblem, "the game is started by Launcher.exe, which is missing in " + directory,
          "Repair the game's installation.");
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
      if (FindProcesses(ExecutableNames()).empty()) {
        Add(Level::kOk, "no pipe " + pipe);
      } else {
        Add(Level::kProblem, "the game runs and has not opened its pipe " + pipe,
            "Wait until it has started; end it if it hangs: " + Command("kill", ""));
      }
      return;
    }
    if (state == PipeState::kBusy) {
      Add(Level::kProblem,
          "the pipe " + pipe +
              " is there, and every place at it is taken: by "
              "another launcher, or by an application that shares the pipe",
          "Close other browsers and programs that use a launcher.");
      return;
    }
    Add(Level::kOk, "the pipe " + pipe + " is there and has a free place");
    if (!options.mayConnect) return;
    const std::optional<Process> owner = OwnerOfPipe(pipe);
    if (!owner) {
      Add(Level::kNote, "Windows does not say whose pipe it is",
          "Nothing to do, unless the game does not answer.");
      return;
    }
    const std::string process = owner->name + ", process " + std::to_string(owner->id);
    if (OwnsProgram(*owner)) {
      Add(Level::kOk, "the pipe belongs to " + process);
    } else {
      Add(Level::kNote, "the pipe belongs to " + process + ", no program of this game",
          "End that program if it is not meant to play the game.");
    }
  }

  bool OwnsProgram(const Process& owner) {
    const std::vector<Process> processes = FindProcesses(ExecutableNames());
    return std::any_of(processes.begin(), processes.end(),
                       [&owner](const Process& process) { return process.id == owner.id; });
  }

  Session& session;
  host::LauncherClient* const launcher;
  const host::KnownApplication& application;
  const GameDiagnosis options;
  Findings& findings;
  std::string installDirectory;  // from the registry
};

}  // namespace

void DiagnoseGame(Session& session, host::LauncherClient* launcher,
                  const host::KnownApplication& application, const GameDiagnosis& how,
                  Findings& findings) {
  GameDoctor(session, launcher, application, how, findings).Diagnose();
}

void DiagnoseStoreClient(host::LauncherClient* launcher, const host::KnownApplication& application,
                         bool isAskedFor, Findings& findings) {
  const auto add = [&](Level level, const std::string& text, const std::string& advice = "") {
    findings.push_back({application.id, level, text, advice});
  };
  const std::string shownKey = ShownKey(application.registryKey);
  const auto version =
      ReadRegistry(application.registryKey, application.valueName, RegistryView::k32Bit);
  if (!version) {
    add(isAskedFor ? Level::kProblem : Level::kNote,
        "the registry key " + shownKey + " has no value \"ClientVersion\"",
        "Install the store client.");
  } else {
    add(Level::kOk, "\"ClientVersion\" in " + shownKey + " is " + version->text);
  }
  if (launcher == nullptr) return;
  const bool installed = launcher->IsInstalled(application.id);
  if (installed) add(Level::kOk, "the launcher takes the store client for installed");
  if (installed != version.has_value()) {
    add(Level::kProblem, "the launcher's own look-up comes to another result",
        "Run again with --log PATH and read there what the launcher says of it.");
  }
}

}  // namespace console
