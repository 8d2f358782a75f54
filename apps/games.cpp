#include "apps/games.h"

#include <string>

#include "apps/ashgrove_app.h"
#include "apps/directory_scan.h"
#include "core/log.h"
#include "core/registry.h"

namespace launcher {
namespace {

// ---- What a game has in "EXPANSIONS_INSTALLED" -----------------------------------------------

// The directory ends in a backslash already. The doubled one is part of the path that is searched.
std::vector<std::wstring> UpdateNames(const std::wstring& directory) {
  return ReadDirectoryNames(directory + L"\\Update");
}

void AppendName(std::wstring& list, const std::wstring& name) {
  if (!list.empty()) list += L';';
  list += name;
}

std::wstring ListUpdateDirectories(const std::wstring& directory) {
  std::wstring list;
  for (const std::wstring& name : UpdateNames(directory)) AppendName(list, name);
  return list;
}

// Only names that are also keys under `registryBase`.
std::wstring ListRegisteredUpdates(const std::wstring& directory,
                                   const std::wstring& registryBase) {
  std::wstring list;
  for (const std::wstring& name : UpdateNames(directory)) {
    std::wstring updateKey = registryBase;
    updateKey.append(L"\\").append(name);
    UniqueRegistryKey key;
    if (OpenMachineKey(updateKey, key) == ERROR_SUCCESS) AppendName(list, name);
  }
  return list;
}

constexpr wchar_t kTamsinKey[] = LR"(SOFTWARE\Hollin Games\AGX)";
constexpr wchar_t kBrennaKey[] = LR"(SOFTWARE\Hollin Games\Ashgrove 4)";

std::wstring ListTamsinUpdates(const std::wstring& directory) {
  return ListRegisteredUpdates(directory, kTamsinKey);
}

std::wstring ListBrennaUpdates(const std::wstring& directory) {
  return ListRegisteredUpdates(directory, kBrennaKey);
}

// The test editions report all, without a look at the disk.
std::wstring ListAllExpansions(const std::wstring& /*directory*/) {
  return L"Xpack0;Xpack1;Xpack2;Xpack3;Xpack4";
}

// ---- Classes of games ------------------------------------------------------------------------

struct Game {
  std::unique_ptr<BaseApp> (*create)(EventSink& sink, NotifyCallback notifier, const Game& game);
  const wchar_t* id;
  const wchar_t* pipeName;
  const wchar_t* x64Name;  // or the only executable
  const wchar_t* x86Name;
  const wchar_t* registryKey;
  std::wstring (*listExpansions)(const std::wstring& directory);
};

class CatalogueGame : public AshgroveApp {
 public:
  CatalogueGame(EventSink& sink, NotifyCallback notifier, const Game& tableRow)
      : AshgroveApp(sink, notifier, tableRow.pipeName, tableRow.id), game(tableRow) {}

  bool SetupGame() final {
    if (!_SetupGame(game.registryKey, L"Install Dir", game.x64Name, game.x86Name)) return false;
    SetParameter(L"EXPANSIONS_INSTALLED", game.listExpansions(GetInstallDir()).c_str());
    return true;
  }

 private:
  const Game& game;
};

// Started through a starter program of its own, but running as its executable.
class TAVRGame final : public CatalogueGame {
 public:
  using CatalogueGame::CatalogueGame;

  bool Launch(const wchar_t* commandLine, bool launchFlag, const wchar_t* /*text1*/,
              const wchar_t* /*text2*/, const wchar_t* /*text3*/,
              const wchar_t* /*text4*/) override {
    if (!SetupGame()) {
      LogLine(L"%s: Game is not properly probed, aborting\n", L"TAVRGame::Launch");
      return false;
    }
    // The directory ends in a backslash already; helpers get the doubled one.
    const std::wstring starter = GetInstallDir() + L"\\" + L"Launcher.exe";
    return LaunchProgram(starter.c_str(), L"Launcher.exe", commandLine, launchFlag);
  }
};

// These add nothing to their rows.
using TamsinGame = CatalogueGame;
using TamsinCteGame = CatalogueGame;
using BrennaGame = CatalogueGame;
using BrennaCteGame = CatalogueGame;
using SolanoGame = CatalogueGame;

// ---- The table -------------------------------------------------------------------------------

template <typename GameClass>
std::unique_ptr<BaseApp> Create(EventSink& sink, NotifyCallback notifier, const Game& game) {
  return std::make_unique<GameClass>(sink, notifier, game);
}

// In the order in which the launcher makes them. Editions that share a pipe cannot have it at the same
// time. The beta has one executable for both processors, and reports the main title's updates.
// clang-format off
constexpr Game kGames[] = {
    {Create<TAVRGame>,      L"TAVR-GAME",            LR"(\\.\pipe\tavr_pellmar)",
     L"TAVR.exe",           L"",                     LR"(SOFTWARE\Brightwater Games\Ironvale Sentry)",
     ListUpdateDirectories},
    {Create<TamsinGame>,    L"TAMSIN-BETA2-GAME",    LR"(\\.\pipe\tamsin_pellmar)",
     L"agx.exe",            L"agx.exe",              LR"(SOFTWARE\Hollin Games\AGX Beta 2)",
     ListTamsinUpdates},
    {Create<TamsinGame>,    L"TAMSIN-MAINLINE-GAME", LR"(\\.\pipe\tamsin_pellmar)",
     L"agx.exe",            L"agx_x86.exe",          kTamsinKey,
     ListTamsinUpdates},
    {Create<TamsinCteGame>, L"TAMSIN-CTE-GAME",      LR"(\\.\pipe\tamsin_pellmar)",
     L"agxcte.exe",         L"",                     LR"(SOFTWARE\Hollin Games\AGX CTE)",
     ListAllExpansions},
    {Create<BrennaGame>,    L"BRENNA-GAME",          LR"(\\.\pipe\brenna_pellmar)",
     L"ag4.exe",            L"ag4_x86.exe",          kBrennaKey,
     ListBrennaUpdates},
    {Create<BrennaCteGame>, L"BRENNA-CTE-GAME",      LR"(\\.\pipe\brenna_pellmar)",
     L"ag4cte.exe",         L"ag4cte_x86.exe",       LR"(SOFTWARE\Hollin Games\Ashgrove 4 CTE)",
     ListAllExpansions},
    {Create<SolanoGame>,    L"SOLANO-GAME",          LR"(\\.\pipe\solano_pellmar)",
     L"ag3.exe",            L"",                     LR"(SOFTWARE\Hollin Games\Ashgrove 3)",
     ListUpdateDirectories},
};
// clang-format on

}  // namespace

std::vector<std::unique_ptr<BaseApp>> CreateGames(EventSink& sink, NotifyCallback hostNotifier) {
  std::vector<std::unique_ptr<BaseApp>> games;
  for (const Game& game : kGames) games.push_back(game.create(sink, hostNotifier, game));
  return games;
}

}  // namespace launcher
