// A game: found in the registry or under a given path, started through the helper, followed and
// commanded over its pipe.
#ifndef LAUNCHER_APPS_ASHGROVE_APP_H_
#define LAUNCHER_APPS_ASHGROVE_APP_H_

#include <string>

#include "apps/base_app.h"
#include "gamepipe/pellmar_app_base.h"

namespace launcher {

/// Base of all games. Nothing about the installation is kept: every operation that depends on it
/// looks it up again (`SetupGame`), so that a game that is installed or removed meanwhile is seen.
class AshgroveApp : public BaseApp, public PellmarAppBase {
 public:
  AshgroveApp(EventSink& sink, NotifyCallback hostNotifier, const wchar_t* gamePipeName,
              const wchar_t* applicationId);
  ~AshgroveApp() override;

  bool IsInstalled() override;
  bool SendCommand(const wchar_t* command, const wchar_t* arg0, const wchar_t* arg1,
                   const wchar_t* arg2, const wchar_t* arg3) override;
  bool Kill(bool flag) override;
  bool Launch(const wchar_t* commandLine, bool launchFlag, const wchar_t* text1,
              const wchar_t* text2, const wchar_t* text3, const wchar_t* text4) override;
  bool IsRunning() override;
  void Poll() override;
  std::wstring GetVersion() override;
  std::wstring GetExtraArguments() override;

  /// Looks the installation up and publishes what it finds as parameters. False when the game is not
  /// installed; paths and parameters that an earlier success left then stay.
  virtual bool SetupGame() = 0;

 protected:
  /// The common part of `SetupGame`. `x86Name` is empty for games with one executable.
  bool _SetupGame(const wchar_t* defaultRegistryKey, const wchar_t* valueName,
                  const wchar_t* x64Name, const wchar_t* x86Name);

  /// Starts a program of the game and posts "PENDING" on success.
  bool LaunchProgram(const wchar_t* programPath, const wchar_t* programName,
                     const wchar_t* commandLine, bool launchFlag);

  const std::wstring& GetInstallDir() const { return installDir; }

  /// Set once the registry was asked and once the game was found, and never cleared. For classes of
  /// games; the library reads neither.
  bool probedByRegistry = false;
  bool probed = false;

 private:
  bool ProbeRegistry(const wchar_t* defaultRegistryKey, const wchar_t* valueName,
                     const wchar_t* x64Name, const wchar_t* x86Name, bool x86Processor);
  void ChooseBinaryName(const wchar_t* x64Name, const wchar_t* x86Name, bool x86Processor);
  void ProbePath();
  unsigned long FindProcess() const;

  std::wstring installDir;
  std::wstring binaryFullPath;
  std::wstring binaryName;
  std::wstring altBinaryName;
};

}  // namespace launcher

#endif  // LAUNCHER_APPS_ASHGROVE_APP_H_
