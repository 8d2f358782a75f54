// The known games. A game class adds nothing but its constants: where it is registered, what its
// executables and its pipe are called and how its expansions are told.
#ifndef LAUNCHER_APPS_GAMES_H_
#define LAUNCHER_APPS_GAMES_H_

#include <memory>
#include <string>
#include <vector>

#include "apps/ashgrove_app.h"

namespace launcher {

/// "TAVR-GAME". Started through a starter program of its own, but running as its executable.
class TAVRGame final : public AshgroveApp {
 public:
  TAVRGame(EventSink& sink, NotifyCallback hostNotifier);
  bool SetupGame() override;
  bool Launch(const wchar_t* commandLine, bool launchFlag, const wchar_t* text1,
              const wchar_t* text2, const wchar_t* text3, const wchar_t* text4) override;
};

/// "TAMSIN-BETA2-GAME" and "TAMSIN-MAINLINE-GAME": one class for two entries.
class TamsinGame final : public AshgroveApp {
 public:
  TamsinGame(EventSink& sink, NotifyCallback hostNotifier, const wchar_t* gameRegistryKey,
             const wchar_t* gameValueName, const wchar_t* gameX64Name, const wchar_t* gameX86Name,
             const wchar_t* applicationId);
  bool SetupGame() override;

 private:
  // Constants of the catalogue, not owned.
  const wchar_t* registryKey;
  const wchar_t* valueName;
  const wchar_t* x64Name;
  const wchar_t* x86Name;
};

/// "TAMSIN-CTE-GAME".
class TamsinCteGame final : public AshgroveApp {
 public:
  TamsinCteGame(EventSink& sink, NotifyCallback hostNotifier);
  bool SetupGame() override;
};

/// "BRENNA-GAME".
class BrennaGame final : public AshgroveApp {
 public:
  BrennaGame(EventSink& sink, NotifyCallback hostNotifier);
  bool SetupGame() override;
};

/// "BRENNA-CTE-GAME".
class BrennaCteGame final : public AshgroveApp {
 public:
  BrennaCteGame(EventSink& sink, NotifyCallback hostNotifier);
  bool SetupGame() override;
};

/// "SOLANO-GAME".
class SolanoGame final : public AshgroveApp {
 public:
  SolanoGame(EventSink& sink, NotifyCallback hostNotifier);
  bool SetupGame() override;
};

/// All games, in the order in which the launcher makes them.
std::vector<std::unique_ptr<BaseApp>> CreateGames(EventSink& sink, NotifyCallback hostNotifier);

}  // namespace launcher

#endif  // LAUNCHER_APPS_GAMES_H_
