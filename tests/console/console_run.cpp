#include "tests/console/console_run.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/dll_host.h"

namespace test_support {

std::wstring ConsoleTest::Arguments(const std::wstring& arguments) const {
  return L"--dll \"" + LauncherDllPath() + L"\" --settings \"" + SettingsPath() + L"\" " +
         arguments;
}

ConsoleRun ConsoleTest::Run(const std::wstring& arguments) const {
  KitProgram program(L"launcher-console.exe", Arguments(arguments));
  ConsoleRun run;
  run.exitCode = program.ExitCode();
  run.output = program.Output();
  return run;
}

nlohmann::json ConsoleTest::RunJson(const std::wstring& arguments, DWORD exitCode) const {
  const ConsoleRun run = Run(L"--json " + arguments);
  EXPECT_EQ(run.exitCode, exitCode) << run.output;
  // A message on standard error may come before it.
  const std::size_t begin = run.output.find('{');
  const nlohmann::json json = nlohmann::json::parse(
      begin == std::string::npos ? "" : run.output.substr(begin), nullptr, false);
  EXPECT_FALSE(json.is_discarded()) << run.output;
  return json.contains("result") ? json["result"] : json;
}

std::string ReadFileBytes(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

}  // namespace test_support
