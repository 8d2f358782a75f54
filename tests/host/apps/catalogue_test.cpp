// The eight applications, row by row.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/host/apps/game_probe.h"
#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/fake_processor.h"
#include "tests/support/helper_installation.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/pipe_server.h"
#include "tests/support/registry_calls.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// How a game's expansions are found.
enum class Expansions { kListed, kRegistered, kFixed };

struct Game {
  const wchar_t* id;
  const wchar_t* registryKey;
  const wchar_t* x64Name;
  const wchar_t* x86Name;  // empty: the game has one executable
  const wchar_t* pipe;
  Expansions expansions;
  const wchar_t* updatesKey;  // of registered expansions
};

std::ostream& operator<<(std::ostream& out, const Game& game) { return out << Narrow(game.id); }

// clang-format off
constexpr Game kGames[] = {
    {L"TAVR-GAME", LR"(SOFTWARE\Brightwater Games\Ironvale Sentry)", L"TAVR.exe", L"",
     LR"(\\.\pipe\tavr_pellmar)", Expansions::kListed, L""},
    {L"TAMSIN-BETA2-GAME", LR"(SOFTWARE\Hollin Games\AGX Beta 2)", L"agx.exe", L"agx.exe",
     LR"(\\.\pipe\tamsin_pellmar)", Expansions::kRegistered, LR"(SOFTWARE\Hollin Games\AGX)"},
    {L"TAMSIN-MAINLINE-GAME", LR"(SOFTWARE\Hollin Games\AGX)", L"agx.exe", L"agx_x86.exe",
     LR"(\\.\pipe\tamsin_pellmar)", Expansions::kRegistered, LR"(SOFTWARE\Hollin Games\AGX)"},
    {L"TAMSIN-CTE-GAME", LR"(SOFTWARE\Hollin Games\AGX CTE)", L"agxcte.exe", L"",
     LR"(\\.\pipe\tamsin_pellmar)", Expansions::kFixed, L""},
    {L"BRENNA-GAME", LR"(SOFTWARE\Hollin Games\Ashgrove 4)", L"ag4.exe", L"ag4_x86.exe",
     LR"(\\.\pipe\brenna_pellmar)", Expansions::kRegistered, LR"(SOFTWARE\Hollin Games\Ashgrove 4)"},
    {L"BRENNA-CTE-GAME", LR"(SOFTWARE\Hollin Games\Ashgrove 4 CTE)", L"ag4cte.exe", L"ag4cte_x86.exe",
     LR"(\\.\pipe\brenna_pellmar)", Expansions::kFixed, L""},
    {L"SOLANO-GAME", LR"(SOFTWARE\Hollin Games\Ashgrove 3)", L"ag3.exe", L"",
     LR"(\\.\pipe\solano_pellmar)", Expansions::kListed, L""},
};
// clang-format on

// The page for authors of games has the same table; it lies beside the test program.
TEST(AppsDocumentation, HasARowForEveryGame) {
  std::vector<std::string> rows;
  std::ifstream page(Narrow(ProgramDirectory()) + "\\games.md");
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("| ") && line.find("-GAME |") != line.npos) rows.push_back(line);
  }
  std::vector<std::string> expected;
  for (const Game& game : kGames) {
    const auto code = [](const std::wstring& text) {
      return text.empty() ? "" : " `" + Narrow(text) + "`";
    };
    const char* const expansions[] = {"directories", "registered under", "all five"};
    expected.push_back(
        "| " + Narrow(game.id) + " |" + code(game.registryKey) + " | `Install Dir` |" +
        code(game.x64Name) + " |" + code(game.x86Name) + " |" + code(game.pipe) + " | " +
        expansions[static_cast<int>(game.expansions)] + code(game.updatesKey) + " |");
  }
  EXPECT_EQ(rows, expected);
}

class AppsCatalogue : public testing::TestWithParam<Game> {
 protected:
  /// The game's "Install Dir" names the directory.
  void Register() { registry.SetText(GetParam().registryKey, L"Install Dir", directory.Path()); }

  std::wstring ReadExpansions() {
    EXPECT_TRUE(host->IsInstalled(GetParam().id));
    return host.GetParameter(GetParam().id, L"EXPANSIONS_INSTALLED");
  }

  const EnvironmentVariable fakeX86{L"KOVLAUNCH_FAKE_X86", std::nullopt};
  const TempDirectory directory;
  RegistryFixture registry;
  DllHost host;
};

INSTANTIATE_TEST_SUITE_P(AllGames, AppsCatalogue, testing::ValuesIn(kGames));

TEST_P(AppsCatalogue, IsFoundUnderItsKeyAndValue) {
  EXPECT_FALSE(host->IsInstalled(GetParam().id));
  registry.SetText(GetParam().registryKey, nullptr, directory.Path());
  registry.SetText(GetParam().registryKey, L"InstallDir", directory.Path());
  directory.WriteFile(GetParam().x64Name, "");
  EXPECT_THAT(
      LogOf([&] { EXPECT_FALSE(host->IsInstalled(GetParam().id)); }),
      HasSubstr("AshgroveApp::_SetupGame: Using registry key " + Narrow(GetParam().registryKey) +
                "\n"
                "AshgroveApp::_SetupGame: Probe failed, unable to query Install Dir (2)"));
  Register();
  EXPECT_TRUE(host->IsInstalled(GetParam().id));
  // No other entry is found by this key, but for the pair that shares its names.
  int found = 0;
  for (const wchar_t* const id : kAllAppIds) found += host->IsInstalled(id) ? 1 : 0;
  EXPECT_EQ(found, 1);
}

TEST_P(AppsCatalogue, ExecutablesOfEachProcessor) {
  Register();
  const std::string x64Name = Narrow(GetParam().x64Name);
  const std::string x86Name = Narrow(GetParam().x86Name);
  const bool hasOne = x86Name.empty();
  directory.WriteFile(GetParam().x64Name, "");
  if (!hasOne) directory.WriteFile(GetParam().x86Name, "");
  using Names = std::vector<std::string>;
  const Names x64First = hasOne ? Names{x64Name} : Names{x64Name, x86Name};
  const Names x86First = hasOne ? Names{x64Name} : Names{x86Name, x64Name};
  EXPECT_EQ(WantedNames(host, GetParam().id), x64First);
  {
    const FakeProcessor processor(host.Module(), PROCESSOR_ARCHITECTURE_INTEL);
    EXPECT_EQ(WantedNames(host, GetParam().id), x86First);
  }
  // A faked one leaves the name of a game with one executable empty, whatever the real one is.
  fakeX86.Set(L"1");
  const Names faked{x86Name, x64Name};
  EXPECT_EQ(WantedNames(host, GetParam().id), faked);
  const FakeProcessor processor(host.Module(), PROCESSOR_ARCHITECTURE_INTEL);
  EXPECT_EQ(WantedNames(host, GetParam().id), faked);
}

TEST_P(AppsCatalogue, LaunchesItsProgramAndPosts) {
  Register();
  directory.WriteFile(GetParam().x64Name, "");
  const HelperInstallation helper;
  const ShellRecorder shell(host.Module());
  EXPECT_TRUE(host->Launch(GetParam().id, L"-x", true, L"", L"", L"", L""));
  ASSERT_EQ(shell.Calls().size(), 1U);
  const bool hasStarter = GetParam().id == std::wstring(L"TAVR-GAME");
  const std::wstring name = hasStarter ? L"Launcher.exe" : GetParam().x64Name;
  const std::wstring path = directory.Path() + (hasStarter ? LR"(\\)" : LR"(\)") + name;
  EXPECT_EQ(shell.Calls()[0].parameters,
            L"YES|SW_SHOWNA|" + path + L"|" + name + L"|" + directory.Path() + LR"(\|-x)");
  EXPECT_THAT(host.Drain(), ElementsAre(Event{GetParam().id, L"StateChanged", {L"PENDING"}}));
  EXPECT_TRUE(host->Launch(GetParam().id, L"", false, L"1", L"2", L"3", L"4"));
  EXPECT_TRUE(shell.Calls().at(1).parameters.starts_with(L"NO|"));
}

TEST_P(AppsCatalogue, IsConnectedByItsPipe) {
  // As many as games share one.
  const PipeServer pipes[] = {PipeServer(GetParam().pipe), PipeServer(GetParam().pipe),
                              PipeServer(GetParam().pipe)};
  host->PollApps();
  EXPECT_THAT(host.Drain(), testing::Contains(Event{GetParam().id, L"StateChanged", {L"READY"}}));
}

TEST_P(AppsCatalogue, Expansions) {
  host->SetParameter(GetParam().id, L"EXPANSIONS_INSTALLED", L"as before");
  EXPECT_FALSE(host->IsInstalled(GetParam().id));
  EXPECT_EQ(host.GetParameter(GetParam().id, L"EXPANSIONS_INSTALLED"), L"as before");

  Register();
  directory.WriteFile(GetParam().x64Name, "");
  const bool isFixed = GetParam().expansions == Expansions::kFixed;
  const std::wstring fixed = L"Xpack0;Xpack1;Xpack2;Xpack3;Xpack4";
  EXPECT_EQ(ReadExpansions(), isFixed ? fixed : L"");
  for (const wchar_t* const name : {L"Xpack1", L"Xpack2", L"Xpack7", L".dot"}) {
    directory.MakeDirectory(std::wstring(L"Update\\") + name);
  }
  directory.WriteFile(L"Update\\Patch", "");
  // A hidden directory counts.
  ASSERT_TRUE(SetFileAttributesW(directory.Join(L"Update\\Xpack7").c_str(),
                                 FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN));
  if (GetParam().expansions == Expansions::kRegistered) {
    EXPECT_EQ(ReadExpansions(), L"");
    for (const wchar_t* const name : {L"Xpack1", L"Xpack7", L"Xpack8", L"Patch"}) {
      registry.CreateKey(std::wstring(GetParam().updatesKey) + L"\\" + name);
    }
    EXPECT_EQ(ReadExpansions(), L"Xpack1;Xpack7");
  } else {
    EXPECT_EQ(ReadExpansions(), isFixed ? fixed : L"Xpack1;Xpack2;Xpack7");
  }
}

// Updates of the beta are registered under the main title's key, also when the parameter moves the game's.
TEST(AppsExpansions, UpdatesKeyDoesNotFollowTheGamesKey) {
  const TempDirectory directory;
  directory.WriteFile(L"agx.exe", "");
  directory.MakeDirectory(L"Update\\Xpack1");
  directory.MakeDirectory(L"Update\\Xpack2");
  RegistryFixture registry;
  registry.SetText(LR"(SOFTWARE\Hollin Games\Moved)", L"Install Dir", directory.Path());
  registry.CreateKey(LR"(SOFTWARE\Hollin Games\Moved\Xpack1)");
  registry.CreateKey(LR"(SOFTWARE\Hollin Games\AGX Beta 2\Xpack1)");
  registry.CreateKey(LR"(SOFTWARE\Hollin Games\AGX\Xpack2)");
  DllHost host;
  for (const wchar_t* const id : {L"TAMSIN-BETA2-GAME", L"TAMSIN-MAINLINE-GAME"}) {
    host->SetParameter(id, L"registryKey", LR"(SOFTWARE\Hollin Games\Moved)");
    EXPECT_TRUE(host->IsInstalled(id));
    EXPECT_EQ(host.GetParameter(id, L"EXPANSIONS_INSTALLED"), L"Xpack2") << id;
  }
}

TEST(AppsExpansions, KeysOfUpdatesAreOpenedAndClosedOneByOne) {
  const TempDirectory directory;
  directory.WriteFile(L"ag4.exe", "");
  directory.MakeDirectory(L"Update\\Xpack1");
  directory.MakeDirectory(L"Update\\Xpack2");
  directory.MakeDirectory(L"Update\\Xpack3");
  RegistryFixture registry;
  const std::wstring base = LR"(SOFTWARE\Hollin Games\Ashgrove 4)";
  registry.SetText(base, L"Install Dir", directory.Path());
  registry.CreateKey(base + L"\\Xpack1");
  registry.CreateKey(base + L"\\Xpack3");
  DllHost host;
  RegistryCalls calls(host.Module(), 255);
  EXPECT_TRUE(host->IsInstalled(L"BRENNA-GAME"));
  const std::string open = "open " + Narrow(base);
  EXPECT_THAT(calls.Take(), ElementsAre(open, "query Install Dir", open + "\\Xpack1", "close",
                                        open + "\\Xpack2 failed", open + "\\Xpack3", "close"));
}

/// Replaces the enumeration of directories by entries that the test makes up.
class FakeDirectory {
 public:
  FakeDirectory(HMODULE module, std::vector<std::wstring> entryNames)
      : names(std::move(entryNames)),
        first(module,
              [this](LPCWSTR path, WIN32_FIND_DATAW* entry) {
                patterns.emplace_back(path);
                return Next(entry) ? kSearch : INVALID_HANDLE_VALUE;
              }),
        next(module, [this](HANDLE, WIN32_FIND_DATAW* entry) { return Next(entry); }),
        close(module, [](HANDLE) { return TRUE; }) {}

  const std::vector<std::wstring>& Patterns() const { return patterns; }

 private:
  BOOL Next(WIN32_FIND_DATAW* entry) {
    SetLastError(ERROR_NO_MORE_FILES);
    if (position == names.size()) return FALSE;
    *entry = {};
    entry->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    names[position++].copy(entry->cFileName, MAX_PATH - 1);
    return TRUE;
  }

  static inline const HANDLE kSearch = reinterpret_cast<HANDLE>(static_cast<UINT_PTR>(0x7FFFFFF9));

  std::vector<std::wstring> names;
  std::size_t position = 0;
  std::vector<std::wstring> patterns;
  IMPORT_HOOK(FindFirstFileW) first;
  IMPORT_HOOK(FindNextFileW) next;
  IMPORT_HOOK(FindClose) close;
};

TEST(AppsExpansions, AreInTheOrderOfTheFileSystem) {
  for (const wchar_t* const id : {L"SOLANO-GAME", L"BRENNA-GAME"}) {
    const TempDirectory directory;
    const std::wstring program = directory.WriteFile(L"play.exe", "");
    RegistryFixture registry;
    registry.CreateKey(LR"(SOFTWARE\Hollin Games\Ashgrove 4\zeta)");
    registry.CreateKey(LR"(SOFTWARE\Hollin Games\Ashgrove 4\Alpha)");
    registry.CreateKey(LR"(SOFTWARE\Hollin Games\Ashgrove 4\mid)");
    DllHost host;
    host->SetParameter(id, L"probeMethod", L"path");
    host->SetParameter(id, L"workingDirectory", LR"(C:\game)");
    host->SetParameter(id, L"binaryPath", program.c_str());
    const FakeDirectory updates(host.Module(), {L"zeta", L"Alpha", L"mid"});
    EXPECT_TRUE(host->IsInstalled(id));
    EXPECT_EQ(host.GetParameter(id, L"EXPANSIONS_INSTALLED"), L"zeta;Alpha;mid") << id;
    // The doubled backslash belongs to the path.
    EXPECT_THAT(updates.Patterns(), ElementsAre(LR"(C:\game\\Update\*)"));
  }
}

TEST(AppsExpansions, TestEditionsDoNotLookAtTheDisk) {
  for (const wchar_t* const id : {L"TAMSIN-CTE-GAME", L"BRENNA-CTE-GAME"}) {
    const TempDirectory directory;
    DllHost host;
    host->SetParameter(id, L"probeMethod", L"path");
    host->SetParameter(id, L"binaryPath", directory.WriteFile(L"play.exe", "").c_str());
    const FakeDirectory updates(host.Module(), {L"Xpack9"});
    EXPECT_TRUE(host->IsInstalled(id));
    EXPECT_EQ(host.GetParameter(id, L"EXPANSIONS_INSTALLED"),
              L"Xpack0;Xpack1;Xpack2;Xpack3;Xpack4");
    EXPECT_TRUE(updates.Patterns().empty());
  }
}

}  // namespace
}  // namespace test_support
