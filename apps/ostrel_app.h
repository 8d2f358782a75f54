// The game-store client that the games rely on.
#ifndef LAUNCHER_APPS_OSTREL_APP_H_
#define LAUNCHER_APPS_OSTREL_APP_H_

#include <string>

#include "apps/base_app.h"

namespace launcher {

/// "OSTREL-APP": found in the registry, opened through its link scheme, without a pipe and without a
/// process that is followed.
class OstrelApp final : public BaseApp {
 public:
  OstrelApp(EventSink& sink, NotifyCallback hostNotifier);

  /// "OstrelLocalHostEnabled" is computed on each read and never stored; every other name is an
  /// ordinary parameter.
  std::wstring GetParameter(const wchar_t* name) override;
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

 private:
  bool SetupGame();

  std::wstring registryKey;
  std::wstring urlScheme;
};

}  // namespace launcher

#endif  // LAUNCHER_APPS_OSTREL_APP_H_
