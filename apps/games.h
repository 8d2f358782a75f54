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
  bool Launch(const std::wstring& commandLine, bool launchFlag, const std::wstring& text1,
              const std::wstring& text2, const std::wstring& text3,
              const std::wstring& text4) override;
};

/// "TAMSIN-BETA2-GAME" and "TAMSIN-MAINLINE-GAME": one class for two entries.
class TamsinGame final : public AshgroveApp {
 public:
  TamsinGame(EventSink& sink, NotifyCallback hostNotifier, std::wstring gameRegistryKey,
             std::wstring gameValueName, std::wstring gameX64Name, std::wstring gameX86Name,
             const std::wstring& applicationId);
  bool SetupGame() override;

 private:
  std::wstring registryKey;
  std::wstring valueName;
  std::wstring x64Name;
  std::wstring x86Name;
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
