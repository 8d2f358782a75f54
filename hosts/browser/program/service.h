// One connection of a page, from its first message to its last.
#ifndef LAUNCHER_HOSTS_BROWSER_PROGRAM_SERVICE_H_
#define LAUNCHER_HOSTS_BROWSER_PROGRAM_SERVICE_H_

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "hosts/browser/program/dispatcher.h"
#include "hosts/browser/program/input_queue.h"
#include "hosts/browser/program/origin_list.h"
#include "hosts/common/launcher_client.h"

namespace browser_host {

/// The version of the messages that docs/browser-host.md describes.
inline constexpr std::uint64_t kProtocolVersion = 1;

class Service {
 public:
  Service(InputQueue& inputQueue, HANDLE outputStream, OriginList originList, std::wstring dll)
      : input(inputQueue),
        output(outputStream),
        origins(std::move(originList)),
        dllPath(std::move(dll)) {}

  /// Returns when the browser has closed the connection, or when it was refused; the result tells
  /// whether all was well.
  bool Serve();

 private:
  void WaitForWork() const;
  DWORD PollInterval() const;
  void PollWhenDue();
  /// Whether the connection goes on.
  bool HandleInput();
  void Handle(const std::string& message);
  Json Answer(const Request& request);
  Json Hello(const Request& request);
  void DeliverEvent();
  void AnswerThoseWhoWait();
  void Send(const Json& message);
  void SendError(const Json& id, const std::string& code, const std::string& message);

  InputQueue& input;
  const HANDLE output;
  const OriginList origins;
  const std::wstring dllPath;
  // Made when the page has said who it is, and not before.
  std::unique_ptr<host::LauncherClient> launcher;
  std::optional<Dispatcher> dispatcher;
  std::vector<Json> waiting;  // ids of requests that wait for all results
  std::set<std::string> connectedGames;
  ULONGLONG lastPoll = 0;
  ULONGLONG lastActivity = 0;
  bool mayHaveEvents = false;  // the launcher's queue was not empty when it was last looked at
  bool isRefused = false;
  bool isClosed = false;
};

}  // namespace browser_host

#endif  // LAUNCHER_HOSTS_BROWSER_PROGRAM_SERVICE_H_
