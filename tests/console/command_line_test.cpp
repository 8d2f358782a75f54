// Help, wrong command lines, exit codes.

#include <regex>
#include <set>

#include "tests/console/console_run.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

class ConsoleCommandLine : public ConsoleTest {
 protected:
  void ExpectWrongUsage(const std::wstring& arguments, const std::string& message) const {
    const ConsoleRun run = Run(arguments);
    EXPECT_EQ(run.exitCode, 2U) << run.output;
    EXPECT_EQ(CountOf(run.output, message), 1U) << run.output;
  }
};

TEST_F(ConsoleCommandLine, HelpNamesEveryCommand) {
  const ConsoleRun run = Run(L"--help");
  EXPECT_EQ(run.exitCode, 0U);
  for (const char* const command :
       {"\n  list ", "\n  get ", "\n  set ", "\n  unset ", "\n  launch ", "\n  kill ", "\n  send ",
        "\n  ping ", "\n  query ", "\n  watch ", "\n  doctor "}) {
    EXPECT_EQ(CountOf(run.output, command), 1U) << command << run.output;
  }
}

TEST_F(ConsoleCommandLine, HelpOfACommandNamesItsOptions) {
  const ConsoleRun run = Run(L"ping --help");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_EQ(CountOf(run.output, "--timeout SECONDS"), 1U) << run.output;
  EXPECT_EQ(Run(L"help ping").output, run.output);
}

TEST_F(ConsoleCommandLine, EveryHelpHasExamplesAndFitsTheWindow) {
  for (const wchar_t* const command :
       {L"", L"list", L"get", L"set", L"unset", L"launch", L"kill", L"send", L"ping", L"query",
        L"watch", L"doctor", L"completion"}) {
    const ConsoleRun run = Run(L"help " + std::wstring(command));
    EXPECT_EQ(run.exitCode, 0U);
    EXPECT_EQ(CountOf(run.output, "\nExamples:\n  "), 1U) << run.output;
    for (const std::string& line : Lines(run.output)) EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST_F(ConsoleCommandLine, SaysItsVersion) {
  EXPECT_EQ(Run(L"--version").output, "launcher-console 162\n");
}

TEST_F(ConsoleCommandLine, ApplicationsHaveShortNamesInAnyCase) {
  for (const wchar_t* const name : {L"BRENNA-GAME", L"brenna-game", L"Brenna"}) {
    EXPECT_EQ(RunJson(std::wstring(L"get ") + name)["id"], "BRENNA-GAME");
  }
  EXPECT_EQ(RunJson(L"get tamsin-cte")["id"], "TAMSIN-CTE-GAME");
}

TEST_F(ConsoleCommandLine, AsksWhatWasMeant) {
  ExpectWrongUsage(L"lst", "unknown command 'lst'; did you mean 'list'?\n");
  ExpectWrongUsage(L"list --jsn", "unknown option '--jsn'; did you mean '--json'?\n");
  ExpectWrongUsage(L"ping 127.0.0.1 --timeot 1", "did you mean '--timeout'?\n");
  ExpectWrongUsage(L"kill brena", "unknown application 'brena'; did you mean 'BRENNA'?\n");
}

TEST_F(ConsoleCommandLine, CompletionKnowsCommandsAndOptions) {
  const ConsoleRun bash = Run(L"completion bash");
  EXPECT_EQ(bash.exitCode, 0U);
  EXPECT_EQ(CountOf(bash.output, "    \"ping\") words=\"--help --file --timeout "), 1U)
      << bash.output;
  const ConsoleRun powerShell = Run(L"completion powershell");
  EXPECT_EQ(CountOf(powerShell.output, "    'ping' = '--help --file --timeout "), 1U)
      << powerShell.output;
  ExpectWrongUsage(L"completion fish", "fish");
}

// No PowerShell runs here. Its script is fixed but for a table, whose lines have to be of the form
// 'command' = 'words', each command once.
TEST_F(ConsoleCommandLine, CompletionForPowerShellIsWellFormed) {
  const std::regex entryForm("    '([a-z]*)' = '[-A-Za-z0-9 ]+'");
  std::set<std::string> commands;
  std::string rest;
  for (const std::string& line : Lines(Run(L"completion powershell").output)) {
    std::smatch entry;
    if (std::regex_match(line, entry, entryForm)) {
      EXPECT_TRUE(commands.insert(entry[1]).second) << line;
    } else {
      rest += line + "\n";
    }
  }
  EXPECT_EQ(commands,
            (std::set<std::string>{"", "completion", "doctor", "get", "help", "kill", "launch",
                                   "list", "ping", "query", "send", "set", "unset", "watch"}));
  EXPECT_EQ(rest, R"(# PowerShell completion for launcher-console; put into $PROFILE:
#   launcher-console completion powershell | Out-String | Invoke-Expression
Register-ArgumentCompleter -Native -CommandName launcher-console, launcher-console.exe -ScriptBlock {
  param($wordToComplete, $commandAst, $cursorPosition)
  $words = @{
  }
  $command = $commandAst.CommandElements | Select-Object -Skip 1 | ForEach-Object { "$_" } |
    Where-Object { $_ -ne $wordToComplete -and $words.ContainsKey($_) } | Select-Object -First 1
  $words["$command"] -split ' ' | Where-Object { $_ -like "$wordToComplete*" } |
    ForEach-Object { [System.Management.Automation.CompletionResult]::new($_) }
}
)");
}

TEST_F(ConsoleCommandLine, WantsACommand) {
  ExpectWrongUsage(L"", "launcher-console: a command is missing\n");
}

TEST_F(ConsoleCommandLine, RefusesAnUnknownCommand) {
  ExpectWrongUsage(L"frobnicate", "unknown command 'frobnicate'\n");
}

TEST_F(ConsoleCommandLine, RefusesAnUnknownOption) {
  ExpectWrongUsage(L"list --quick", "unknown option '--quick'\n");
}

TEST_F(ConsoleCommandLine, RefusesAnUnknownApplication) {
  ExpectWrongUsage(L"kill zzz", "unknown application 'zzz'; the launcher knows BRENNA-CTE-GAME ");
}

TEST_F(ConsoleCommandLine, RefusesWhatIsNoAddress) {
  ExpectWrongUsage(L"ping 127.0.0.1 localhost", "'localhost' is no IPv4 address");
  ExpectWrongUsage(L"ping 127.0.0.256", "'127.0.0.256' is no IPv4 address");
  ExpectWrongUsage(L"ping 127.0.0", "'127.0.0' is no IPv4 address");
  ExpectWrongUsage(L"ping 127.0.0.01", "'127.0.0.01' is no IPv4 address");
}

TEST_F(ConsoleCommandLine, RefusesWhatIsNoServer) {
  ExpectWrongUsage(L"query 127.0.0.1 1", "'127.0.0.1' is no address and port");
  ExpectWrongUsage(L"query 127.0.0.1:0 1", "'127.0.0.1:0' is no address and port");
  ExpectWrongUsage(L"query 127.0.0.1:65536 1", "'127.0.0.1:65536' is no address and port");
  ExpectWrongUsage(L"query 127.0.0.1:25200 12abc", "'12abc' is no game identifier");
  ExpectWrongUsage(L"query 127.0.0.1:25200", "identifier of 127.0.0.1:25200 is missing");
  ExpectWrongUsage(L"query", "no server is given");
  ExpectWrongUsage(L"ping", "no address is given");
  ExpectWrongUsage(L"ping --file none.txt", "cannot read none.txt");
}

TEST_F(ConsoleCommandLine, RefusesACommandLineThatWouldBecomeAnotherField) {
  ExpectWrongUsage(L"launch OSTREL-APP --args \"x|evil.exe\"",
                   "the command line must not contain '|' or control characters");
}

TEST_F(ConsoleCommandLine, RefusesWordsThatWouldNotBeSent) {
  ExpectWrongUsage(L"send BRENNA-GAME say a b c d e", "unexpected argument 'e'");
  ExpectWrongUsage(L"send BRENNA-GAME say a \"\" c", "after an empty one");
}

TEST_F(ConsoleCommandLine, RefusesWhatIsNoAssignment) {
  ExpectWrongUsage(L"set BRENNA-GAME probeMethod", "'probeMethod' is no KEY=VALUE");
  ExpectWrongUsage(L"set BRENNA-GAME =path", "'=path' is no KEY=VALUE");
}

TEST_F(ConsoleCommandLine, RefusesSecondsBeyondADay) {
  ExpectWrongUsage(L"ping 127.0.0.1 --timeout 86401", "--timeout");
}

TEST_F(ConsoleCommandLine, TellsWhenTheDllIsMissing) {
  KitProgram program(L"launcher-console.exe", L"--dll C:\\none.dll list");
  EXPECT_EQ(program.ExitCode(), 3U);
  EXPECT_EQ(CountOf(program.Output(), "cannot load C:\\none.dll: "), 1U) << program.Output();
}

TEST_F(ConsoleCommandLine, ErrorsAreJsonForScripts) {
  EXPECT_EQ(RunJson(L"kill NO-GAME", 2)["error"]["exitCode"], 2);
  EXPECT_EQ(Run(L"--json kill BRENNA-GAME").output,
            "launcher-console: no process of BRENNA-GAME was found\n"
            "{\"command\":\"kill\",\"error\":{\"message\":\"no process of BRENNA-GAME was "
            "found\",\"exitCode\":1}}\n");
}

TEST_F(ConsoleCommandLine, KeepsTheDiagnosticLinesOutOfTheOutput) {
  const std::wstring log = work.Join(L"launcher.log");
  const ConsoleRun run = Run(L"list --log \"" + log + L"\"");
  EXPECT_EQ(run.exitCode, 0U);
  EXPECT_EQ(CountOf(run.output, "AppLauncher::"), 0U) << run.output;
  EXPECT_EQ(CountOf(run.output, "Plugin process ID"), 0U) << run.output;
  const std::string lines = ReadFileBytes(log);
  EXPECT_EQ(CountOf(lines, "AppLauncher::AppLauncher: this="), 1U) << lines;
  EXPECT_EQ(CountOf(lines, "Plugin process ID: "), 1U) << lines;
}

}  // namespace
}  // namespace test_support
