// Scripts that let a shell complete what is typed, made from the commands themselves.

#include <memory>
#include <sstream>

#include "hosts/common/known_applications.h"
#include "tools/launcher-console/commands.h"

namespace console {
namespace {

constexpr char kBash[] = R"(# bash completion for launcher-console; put into ~/.bashrc:
#   source <(launcher-console completion bash)
_launcher_console() {
  local current="${COMP_WORDS[COMP_CWORD]}" command="" word words=""
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case " @commands@ " in *" $word "*) command="$word"; break ;; esac
  done
  case "$command" in
@cases@  esac
  COMPREPLY=($(compgen -W "$words" -- "$current"))
}
complete -o default -F _launcher_console launcher-console launcher-console.exe
)";

constexpr char kPowerShell[] = R"(# PowerShell completion for launcher-console; put into $PROFILE:
#   launcher-console completion powershell | Out-String | Invoke-Expression
Register-ArgumentCompleter -Native -CommandName launcher-console, launcher-console.exe -ScriptBlock {
  param($wordToComplete, $commandAst, $cursorPosition)
  $words = @{
@cases@  }
  $command = $commandAst.CommandElements | Select-Object -Skip 1 | ForEach-Object { "$_" } |
    Where-Object { $_ -ne $wordToComplete -and $words.ContainsKey($_) } | Select-Object -First 1
  $words["$command"] -split ' ' | Where-Object { $_ -like "$wordToComplete*" } |
    ForEach-Object { [System.Management.Automation.CompletionResult]::new($_) }
}
)";

std::string OptionNames(const CLI::App& app) {
  std::string names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names += " --" + name;
  }
  return names;
}

bool TakesApplication(const CLI::App& command) {
  return command.get_option_no_throw("APP") != nullptr;
}

std::string Replaced(std::string text, const std::string& mark, const std::string& by) {
  return text.replace(text.find(mark), mark.size(), by);
}

// `bash` or PowerShell.
std::string Script(const CLI::App& app, bool bash) {
  std::string commands;
  std::string applications;
  for (const auto& application : host::kKnownApplications) {
    applications += std::string(" ") + application.id;
  }
  std::string cases;
  const auto addCase = [&cases, bash](const std::string& command, const std::string& words) {
    const std::string list = words.substr(1);
    cases += bash ? "    \"" + command + "\") words=\"" + list + "\" ;;\n"
                  : "    '" + command + "' = '" + list + "'\n";
  };
  for (const CLI::App* const command : app.get_subcommands({})) {
    commands += " " + command->get_name();
  }
  for (const CLI::App* const command : app.get_subcommands({})) {
    const std::string name = command->get_name();
    const std::string words = name == "help"               ? commands
                              : TakesApplication(*command) ? applications
                                                           : "";
    addCase(name, words + OptionNames(*command) + OptionNames(app));
  }
  addCase("", commands + OptionNames(app));
  return bash ? Replaced(Replaced(kBash, "@commands@", commands.substr(1)), "@cases@", cases)
              : Replaced(kPowerShell, "@cases@", cases);
}

}  // namespace

void AddCompletionCommand(CLI::App& app, Action& action) {
  const auto shell = std::make_shared<std::string>();
  CLI::App* const completion =
      app.add_subcommand("completion", "Print a script that completes words in a shell");
  completion->group(kHelpGroup);
  completion->add_option("SHELL", *shell, "bash or powershell")
      ->required()
      ->check(CLI::IsMember({"bash", "powershell"}).description(""));
  completion->footer(
      "Examples:\n"
      "  source <(launcher-console completion bash)\n"
      "  launcher-console completion powershell | Out-String | Invoke-Expression");
  completion->callback([&action, &app, shell] {
    action = [&app, shell](Session& session) {
      std::istringstream lines(Script(app, *shell == "bash"));
      for (std::string line; std::getline(lines, line);) session.Out().Line(line);
      return ExitCode::kDone;
    };
  });
}

}  // namespace console
