// Turns requests into calls of the launcher, and its events into messages.
#ifndef LAUNCHER_HOSTS_BROWSER_PROGRAM_DISPATCHER_H_
#define LAUNCHER_HOSTS_BROWSER_PROGRAM_DISPATCHER_H_

#include <string>

#include "hosts/browser/program/budget.h"
#include "hosts/browser/program/origin_list.h"
#include "hosts/browser/program/request.h"
#include "hosts/common/launcher_client.h"

namespace browser_host {

/// Works for one page whose origin is allowed.
class Dispatcher {
 public:
  Dispatcher(host::LauncherClient& launcherClient, Permissions pagePermissions)
      : launcher(launcherClient), permissions(pagePermissions) {}

  /// The result of the operation that the request names. Throws RequestError.
  Json Call(const Request& request);

  /// A command or a result, as a page gets it.
  static Json ToMessage(const host::Event& event);

 private:
  Json PostEvent(const Request& request);
  Json PingBatch(const Request& request);
  Json SendCommand(const Request& request);
  Json Launch(const Request& request);
  Json SetParameter(const Request& request);
  Json QueryServer(const Request& request);
  void CheckRoomForResult() const;

  host::LauncherClient& launcher;
  const Permissions permissions;
  Budget commandBudget;
};

}  // namespace browser_host

#endif  // LAUNCHER_HOSTS_BROWSER_PROGRAM_DISPATCHER_H_
