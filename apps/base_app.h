// What every application of the launcher has in common.
#ifndef LAUNCHER_APPS_BASE_APP_H_
#define LAUNCHER_APPS_BASE_APP_H_

#include <map>
#include <string>

#include "core/event_sink.h"
#include "launcher/launcher.h"

namespace launcher {

/// An application: its identifier, its parameters, and the means to start it through the helper. All
/// calls come on the host's thread. The virtual operations correspond one to one to the host's slots.
class BaseApp {
 public:
  /// `sink` outlives the application.
  BaseApp(EventSink& sink, NotifyCallback hostNotifier, std::wstring applicationId);
  BaseApp(const BaseApp&) = delete;
  BaseApp& operator=(const BaseApp&) = delete;
  virtual ~BaseApp();

  virtual void SetParameter(const std::wstring& name, const std::wstring& value);
  /// The value, or an empty text when the parameter was never set.
  virtual std::wstring GetParameter(const std::wstring& name);
  virtual bool IsInstalled() = 0;
  virtual bool SendCommand(const std::wstring& command, const std::wstring& arg1,
                           const std::wstring& arg2, const std::wstring& arg3,
                           const std::wstring& arg4) = 0;
  virtual bool Kill(bool flag) = 0;
  virtual bool Launch(const std::wstring& commandLine, bool launchFlag, const std::wstring& text1,
                      const std::wstring& text2, const std::wstring& text3,
                      const std::wstring& text4) = 0;
  virtual bool IsRunning() = 0;
  virtual void Poll() = 0;
  virtual std::wstring GetVersion() = 0;
  virtual std::wstring GetExtraArguments() = 0;

  const std::wstring& GetId() const { return id; }

 protected:
  /// Asks the helper to start a program. The fields travel in one line, separated by "|", with no
  /// quoting. Shows a message box, and waits for it, when the shell cannot start the helper.
  static bool DoLaunch(const std::wstring& workDir, const std::wstring& binaryPath,
                       const std::wstring& binaryName, const std::wstring& commandLine,
                       bool launchFlag);

  EventSink& GetEventSink() const { return eventSink; }

 private:
  std::map<std::wstring, std::wstring> parameters;
  std::wstring id;
  // Kept for embedders of the class; events go through `eventSink`, which calls it.
  [[maybe_unused]] NotifyCallback host;
  EventSink& eventSink;
};

}  // namespace launcher

#endif  // LAUNCHER_APPS_BASE_APP_H_
