#include "apps/games.h"

#include "core/log.h"

namespace launcher {
namespace {

constexpr wchar_t kInstallDirValue[] = L"Install Dir";

// The three main editions share a pipe, and so do the two Brenna editions: one game of each group
// can own it at a time.
constexpr wchar_t kTavrPipe[] = L"\\\\.\\pipe\\tavr_pellmar";
constexpr wchar_t kTamsinPipe[] = L"\\\\.\\pipe\\tamsin_pellmar";
constexpr wchar_t kBrennaPipe[] = L"\\\\.\\pipe\\brenna_pellmar";
constexpr wchar_t kSolanoPipe[] = L"\\\\.\\pipe\\solano_pellmar";

// The beta registers its updates under the main title's key, whatever key it was found under.
constexpr wchar_t kTamsinUpdatesKey[] = L"SOFTWARE\\Hollin Games\\AGX";
constexpr wchar_t kBrennaKey[] = L"SOFTWARE\\Hollin Games\\Ashgrove 4";

// Games with one executable have no name for the 32-bit one.
constexpr wchar_t kNoX86Name[] = L"";

constexpr wchar_t kExpansions[] = L"EXPANSIONS_INSTALLED";

// What the test editions report, without a look at the disk.
constexpr wchar_t kAllExpansions[] = L"Xpack0;Xpack1;Xpack2;Xpack3;Xpack4";

}  // namespace

TAVRGame::TAVRGame(EventSink& sink, NotifyCallback hostNotifier)
    : AshgroveApp(sink, hostNotifier, kTavrPipe, L"TAVR-GAME") {}

bool TAVRGame::SetupGame() {
  if (!_SetupGame(L"SOFTWARE\\Brightwater Games\\Ironvale Sentry", kInstallDirValue, L"TAVR.exe",
                  kNoX86Name)) {
    return false;
  }
  SetParameter(kExpansions, ListUpdateDirectories(GetInstallDir()).c_str());
  return true;
}

bool TAVRGame::Launch(const wchar_t* commandLine, bool launchFlag, const wchar_t* /*text1*/,
                      const wchar_t* /*text2*/, const wchar_t* /*text3*/,
                      const wchar_t* /*text4*/) {
  if (!SetupGame()) {
    LogLine(L"%s: Game is not properly probed, aborting\n", L"TAVRGame::Launch");
    return false;
  }
  // The directory ends in a backslash already; helpers get the doubled one.
  const std::wstring starter = GetInstallDir() + L"\\" + L"Launcher.exe";
  return LaunchProgram(starter.c_str(), L"Launcher.exe", commandLine, launchFlag);
}

TamsinGame::TamsinGame(EventSink& sink, NotifyCallback hostNotifier, const wchar_t* gameRegistryKey,
                       const wchar_t* gameValueName, const wchar_t* gameX64Name,
                       const wchar_t* gameX86Name, const wchar_t* applicationId)
    : AshgroveApp(sink, hostNotifier, kTamsinPipe, applicationId),
      registryKey(gameRegistryKey),
      valueName(gameValueName),
      x64Name(gameX64Name),
      x86Name(gameX86Name) {}

bool TamsinGame::SetupGame() {
  if (!_SetupGame(registryKey, valueName, x64Name, x86Name)) return false;
  SetParameter(kExpansions, ListRegisteredUpdates(GetInstallDir(), kTamsinUpdatesKey).c_str());
  return true;
}

TamsinCteGame::TamsinCteGame(EventSink& sink, NotifyCallback hostNotifier)
    : AshgroveApp(sink, hostNotifier, kTamsinPipe, L"TAMSIN-CTE-GAME") {}

bool TamsinCteGame::SetupGame() {
  if (!_SetupGame(L"SOFTWARE\\Hollin Games\\AGX CTE", kInstallDirValue, L"agxcte.exe",
                  kNoX86Name)) {
    return false;
  }
  SetParameter(kExpansions, kAllExpansions);
  return true;
}

BrennaGame::BrennaGame(EventSink& sink, NotifyCallback hostNotifier)
    : AshgroveApp(sink, hostNotifier, kBrennaPipe, L"BRENNA-GAME") {}

bool BrennaGame::SetupGame() {
  if (!_SetupGame(kBrennaKey, kInstallDirValue, L"ag4.exe", L"ag4_x86.exe")) return false;
  SetParameter(kExpansions, ListRegisteredUpdates(GetInstallDir(), kBrennaKey).c_str());
  return true;
}

BrennaCteGame::BrennaCteGame(EventSink& sink, NotifyCallback hostNotifier)
    : AshgroveApp(sink, hostNotifier, kBrennaPipe, L"BRENNA-CTE-GAME") {}

bool BrennaCteGame::SetupGame() {
  if (!_SetupGame(L"SOFTWARE\\Hollin Games\\Ashgrove 4 CTE", kInstallDirValue, L"ag4cte.exe",
                  L"ag4cte_x86.exe")) {
    return false;
  }
  SetParameter(kExpansions, kAllExpansions);
  return true;
}

SolanoGame::SolanoGame(EventSink& sink, NotifyCallback hostNotifier)
    : AshgroveApp(sink, hostNotifier, kSolanoPipe, L"SOLANO-GAME") {}

bool SolanoGame::SetupGame() {
  if (!_SetupGame(L"SOFTWARE\\Hollin Games\\Ashgrove 3", kInstallDirValue, L"ag3.exe",
                  kNoX86Name)) {
    return false;
  }
  SetParameter(kExpansions, ListUpdateDirectories(GetInstallDir()).c_str());
  return true;
}

std::vector<std::unique_ptr<BaseApp>> CreateGames(EventSink& sink, NotifyCallback hostNotifier) {
  std::vector<std::unique_ptr<BaseApp>> games;
  games.push_back(std::make_unique<TAVRGame>(sink, hostNotifier));
  // The beta has one executable for both architectures.
  games.push_back(
      std::make_unique<TamsinGame>(sink, hostNotifier, L"SOFTWARE\\Hollin Games\\AGX Beta 2",
                                   kInstallDirValue, L"agx.exe", L"agx.exe", L"TAMSIN-BETA2-GAME"));
  games.push_back(std::make_unique<TamsinGame>(sink, hostNotifier, L"SOFTWARE\\Hollin Games\\AGX",
                                               kInstallDirValue, L"agx.exe", L"agx_x86.exe",
                                               L"TAMSIN-MAINLINE-GAME"));
  games.push_back(std::make_unique<TamsinCteGame>(sink, hostNotifier));
  games.push_back(std::make_unique<BrennaGame>(sink, hostNotifier));
  games.push_back(std::make_unique<BrennaCteGame>(sink, hostNotifier));
  games.push_back(std::make_unique<SolanoGame>(sink, hostNotifier));
  return games;
}

}  // namespace launcher
