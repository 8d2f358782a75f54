// The catalogue of docs/games.md, row by row, against the DLL.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/pipe_server.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::UnorderedElementsAreArray;

struct Row {
  std::wstring id;
  std::wstring key;
  std::wstring value;
  std::wstring executable;
  std::wstring executable32;  // empty: there is none
  std::wstring pipe;
  std::wstring expansions;
};

/// The cells of "| a | `b` |", without the marks around code.
std::vector<std::wstring> Cells(const std::string& line) {
  std::vector<std::wstring> cells;
  for (std::size_t begin = line.find('|') + 1; begin < line.size();) {
    const std::size_t end = line.find('|', begin);
    std::string cell = line.substr(begin, end - begin);
    cell.erase(0, cell.find_first_not_of(" "));
    cell.erase(cell.find_last_not_of(" ") + 1);
    std::erase(cell, '`');
    cells.push_back(Widen(cell));
    begin = end + 1;
  }
  return cells;
}

/// The rows of the games; the page lies beside the test program.
std::vector<Row> ReadGames() {
  std::ifstream page(Narrow(ProgramDirectory()) + "\\games.md");
  std::vector<Row> rows;
  bool inTable = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("| identifier |")) inTable = true;
    if (line.empty() && inTable) break;
    if (!inTable || line.find("-GAME") == std::string::npos) continue;
    const std::vector<std::wstring> cells = Cells(line);
    if (cells.size() != 7) ADD_FAILURE() << line;
    rows.push_back({cells.at(0), cells.at(1), cells.at(2), cells.at(3), cells.at(4), cells.at(5),
                    cells.at(6)});
  }
  return rows;
}

/// What the page says of the expansions of a game that has the directories First and Second, of which
/// Second is registered.
std::wstring ExpectedExpansions(const Row& row, RegistryFixture& registry) {
  const std::wstring registered = L"registered under ";
  if (row.expansions == L"directories") return L"First;Second";
  if (row.expansions == L"all five") return L"Xpack0;Xpack1;Xpack2;Xpack3;Xpack4";
  if (!row.expansions.starts_with(registered)) return L"no such kind: " + row.expansions;
  registry.CreateKey(row.expansions.substr(registered.size()) + L"\\Second");
  return L"Second";
}

TEST(DocumentedCatalogue, HasEveryGame) {
  std::vector<std::wstring> ids = {L"OSTREL-APP"};
  for (const Row& row : ReadGames()) ids.push_back(row.id);
  EXPECT_THAT(ids, UnorderedElementsAreArray(kAllAppIds));
}

TEST(DocumentedCatalogue, SaysWhereAGameIsFound) {
  for (const Row& row : ReadGames()) {
    SCOPED_TRACE(Narrow(row.id));
    const TempDirectory directory;
    directory.MakeDirectory(L"Update\\First");
    directory.MakeDirectory(L"Update\\Second");
    RegistryFixture registry;
    const std::wstring expansions = ExpectedExpansions(row, registry);
    registry.SetText(row.key, row.value.c_str(), directory.Path());
    DllHost host;
    {
      const EnvironmentVariable notFaked(L"KOVLAUNCH_FAKE_X86", std::nullopt);
      EXPECT_FALSE(host->IsInstalled(row.id.c_str()));
      const std::wstring program = directory.WriteFile(row.executable, "");
      EXPECT_TRUE(host->IsInstalled(row.id.c_str()));
      EXPECT_EQ(host.GetParameter(row.id.c_str(), L"EXPANSIONS_INSTALLED"), expansions);
      DeleteFileW(program.c_str());
    }
    if (!row.executable32.empty()) {
      const EnvironmentVariable faked(L"KOVLAUNCH_FAKE_X86", L"1");
      EXPECT_FALSE(host->IsInstalled(row.id.c_str()));
      directory.WriteFile(row.executable32, "");
      EXPECT_TRUE(host->IsInstalled(row.id.c_str()));
    }
  }
}

TEST(DocumentedCatalogue, NamesThePipeOfEachGame) {
  const std::vector<Row> rows = ReadGames();
  for (const Row& row : rows) {
    SCOPED_TRACE(Narrow(row.id));
    std::vector<std::wstring> sharing;
    for (const Row& other : rows) {
      if (other.pipe == row.pipe) sharing.push_back(other.id);
    }
    const PipeServer first(row.pipe);
    const PipeServer second(row.pipe);
    const PipeServer third(row.pipe);
    DllHost host;
    host->PollApps();
    std::vector<std::wstring> ready;
    for (const Event& event : host.Drain()) ready.push_back(event.source);
    EXPECT_THAT(ready, UnorderedElementsAreArray(sharing));
  }
}

}  // namespace
}  // namespace test_support
