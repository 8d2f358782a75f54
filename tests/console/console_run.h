// launcher-console, run by a test.
#ifndef LAUNCHER_TESTS_CONSOLE_CONSOLE_RUN_H_
#define LAUNCHER_TESTS_CONSOLE_CONSOLE_RUN_H_

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "tests/host/kit/kit_program.h"
#include "tests/support/temp_directory.h"

namespace test_support {

struct ConsoleRun {
  DWORD exitCode = 0;
  std::string output;  // what it printed on both streams
};

/// Gives every run the DLL under test and settings of the test's own.
class ConsoleTest : public testing::Test {
 protected:
  /// The command line that runs the console with these arguments.
  std::wstring Arguments(const std::wstring& arguments) const;
  /// Runs it to its end.
  ConsoleRun Run(const std::wstring& arguments) const;
  /// Runs it with --json and parses what it prints: the result, or all of it when there is none.
  /// Fails the test when that is no JSON.
  nlohmann::json RunJson(const std::wstring& arguments, DWORD exitCode = 0) const;

  std::wstring SettingsPath() const { return work.Join(L"settings.json"); }

  TempDirectory work;
};

/// Everything that a file holds; an empty text when it does not exist.
std::string ReadFileBytes(const std::wstring& path);

}  // namespace test_support

#endif  // LAUNCHER_TESTS_CONSOLE_CONSOLE_RUN_H_
