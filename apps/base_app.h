// What every application of the launcher has in common.
#ifndef LAUNCHER_APPS_BASE_APP_H_
#define LAUNCHER_APPS_BASE_APP_H_

#include <functional>
#include <map>
#include <string>

#include "core/event_sink.h"
#include "launcher/launcher.h"

namespace launcher {

/// An application: its identifier, its parameters, and the means to start it through the helper. All
/// calls come on the host's thread. Each virtual operation belongs to the host's slot of that name.
/// Text arguments are never null and only read during the call.
class BaseApp {
 public:
  /// `sink` outlives the application.
  BaseApp(EventSink& sink, NotifyCallback hostNotifier, const wchar_t* applicationId);
  BaseApp(const BaseApp&) = delete;
  BaseApp& operator=(const BaseApp&) = delete;
  virtual ~BaseApp();

  virtual void SetParameter(const wchar_t* name, const wchar_t* value);
  /// The value, or an empty text when the parameter was never set.
  virtual std::wstring GetParameter(const wchar_t* name);
  virtual bool IsInstalled() = 0;
  virtual bool SendCommand(const wchar_t* command, const wchar_t* arg0, const wchar_t* arg1,
                           const wchar_t* arg2, const wchar_t* arg3) = 0;
  virtual bool Kill(bool flag) = 0;
  virtual bool Launch(const wchar_t* commandLine, bool launchFlag, const wchar_t* text1,
                      const wchar_t* text2, const wchar_t* text3, const wchar_t* text4) = 0;
  virtual bool IsRunning() = 0;
  virtual void Poll() = 0;
  virtual std::wstring GetVersion() = 0;
  virtual std::wstring GetExtraArguments() = 0;

  const std::wstring& GetId() const { return id; }

 protected:
  /// Asks the helper to start a program. The fields travel in one line, separated by "|", with no
  /// quoting. Shows a message box, and waits for it, when the shell cannot start the helper.
  static bool DoLaunch(const wchar_t* workDir, const wchar_t* binaryPath, const wchar_t* binaryName,
                       const wchar_t* commandLine, bool launchFlag);

  EventSink& GetEventSink() const { return eventSink; }

 private:
  std::map<std::wstring, std::wstring, std::less<>> parameters;
  std::wstring id;
  // The host's notifier, kept for the owner of the application. Nothing reads it: events go through
  // `eventSink`, and the launcher calls the notifier.
  [[maybe_unused]] NotifyCallback host;
  EventSink& eventSink;
};

}  // namespace launcher

#endif  // LAUNCHER_APPS_BASE_APP_H_
