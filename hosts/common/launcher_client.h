// The launcher as the console and the browser host use it: texts in UTF-8, failures thrown, and an
// end that no hanging helper delays.
#ifndef LAUNCHER_HOSTS_COMMON_LAUNCHER_CLIENT_H_
#define LAUNCHER_HOSTS_COMMON_LAUNCHER_CLIENT_H_

#include <windows.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "launcher/launcher.hpp"

namespace host {

/// A copy of an event, in UTF-8.
struct Event {
  std::string source;
  std::string name;
  std::array<std::string, 8> arguments;
};

/// Whether an event is the result of a worker, and no game's command of the same name.
bool IsPingResult(const Event& event);
bool IsQueryResult(const Event& event);

/// A loaded launcher.dll and one launcher object. Used from one thread. Texts are UTF-8.
class LauncherClient {
 public:
  /// Throws std::runtime_error when the DLL cannot be loaded or speaks another contract.
  explicit LauncherClient(const std::wstring& dllPath);

  /// Destroys the launcher, which waits for its workers, and frees the DLL. When results are
  /// outstanding and have not come within half a second it does neither: a helper that hangs would
  /// hold up the program forever, so both are left to the end of the process, which is to follow
  /// soon.
  ~LauncherClient();

  LauncherClient(const LauncherClient&) = delete;
  LauncherClient& operator=(const LauncherClient&) = delete;

  /// "162", as the DLL exports it.
  std::string Version() const;
  /// Becomes signaled when events may be waiting, and is reset by a wait.
  HANDLE EventQueued() const { return launcher.WakeEvent(); }
  std::optional<Event> NextEvent();

  // The launcher's operations. The request id of a query must be no application's identifier, and
  // an event of the host's own must not look like a result.
  void PostEvent(const Event& event);
  /// Of up to `kMostAddresses` addresses. The impossible one is added, as `ReadPingResult` expects.
  void PingBatch(const std::string& batchId, std::vector<std::string> addresses);
  static constexpr std::size_t kMostAddresses = 255;  // with the added one as many as have times
  bool IsInstalled(const std::string& appId);
  std::string GetVersion(const std::string& appId);
  std::string GetParameter(const std::string& appId, const std::string& key);
  std::string GetExtraArguments(const std::string& appId);
  std::string GetLauncherVersion();
  bool SendCommand(const std::string& appId, const std::string& command,
                   const std::array<std::string, 4>& arguments);
  bool Kill(const std::string& appId);
  bool Launch(const std::string& appId, const std::string& commandLine, bool flag);
  bool IsRunning(const std::string& appId);
  bool SetParameter(const std::string& appId, const std::string& key, const std::string& value);
  void QueryServer(const std::string& requestId, const std::string& requestText,
                   const std::string& gameId, const std::string& address, std::uint16_t port);
  void PollApps();

  /// Ping batches and server queries whose result `NextEvent` has not yet returned.
  std::size_t OutstandingResults() const { return outstanding; }

 private:
  /// For half a second at most. A worker that is just starting the helper needs the time: ended
  /// halfway, it would leave a process whose first thread nobody resumes, and which never ends.
  void WaitForLastResults();

  launcher_host::Launcher launcher;
  std::size_t outstanding = 0;
};

}  // namespace host

#endif  // LAUNCHER_HOSTS_COMMON_LAUNCHER_CLIENT_H_
