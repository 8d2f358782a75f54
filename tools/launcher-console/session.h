// What a command works with: the launcher, the settings and the output.
#ifndef LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SESSION_H_
#define LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SESSION_H_

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "hosts/common/known_applications.h"
#include "hosts/common/launcher_client.h"
#include "tools/launcher-console/output.h"
#include "tools/launcher-console/settings.h"

namespace console {

struct GlobalOptions {
  bool json = false;
  std::string command;       // its name
  std::string dllPath;       // empty: beside the program
  std::string settingsPath;  // empty: Settings::DefaultPath()
  std::string logPath;       // empty: the launcher's diagnostic lines are dropped
};

class Session {
 public:
  Session(GlobalOptions globalOptions, Output& standardOutput, Output& standardError)
      : options(std::move(globalOptions)), out(standardOutput), errors(standardError) {}

  bool IsJson() const { return options.json; }
  Output& Out() { return out; }
  /// To standard error.
  void Warn(const std::string& text) { errors.Line("launcher-console: " + text); }

  /// The command's result, for programs: {"command": "list", "result": ...}
  void Result(Json result);
  /// One of several, on one line.
  void ResultLine(Json result);

  /// Read on first use.
  Settings& SettingsFile();

  /// Loaded on first use, with the remembered parameters set. Throws CommandError.
  host::LauncherClient& Launcher();
  std::wstring DllPath() const;

  /// A remembered parameter; an empty text when it is not set.
  std::string Remembered(const std::string& appId, const std::string& key);

  enum class Polling { kNo, kPollApps };
  /// Whether the wait is over.
  using EventHandler = std::function<bool(const host::Event&)>;
  using Tick = std::function<void(std::chrono::milliseconds elapsed)>;

  /// Hands every event to `handler` until that returns true, which makes the result true, or the
  /// time is up. `tick`, which may be empty, runs a few times a second. Throws CommandError on
  /// Ctrl+C.
  bool Wait(std::chrono::milliseconds limit, Polling polling, const EventHandler& handler,
            const Tick& tick = {});
  /// Throws CommandError on Ctrl+C.
  static void Pause(std::chrono::milliseconds time);

  static constexpr std::chrono::milliseconds kNoLimit = std::chrono::milliseconds::max();

 private:
  void LoadLauncher();

  const GlobalOptions options;
  Output& out;
  Output& errors;
  std::unique_ptr<Settings> settings;
  std::unique_ptr<host::LauncherClient> launcher;
};

}  // namespace console

#endif  // LAUNCHER_TOOLS_LAUNCHER_CONSOLE_SESSION_H_
