// An application that a running game's pipe belongs to.
#ifndef LAUNCHER_GAMEPIPE_PELLMAR_APP_BASE_H_
#define LAUNCHER_GAMEPIPE_PELLMAR_APP_BASE_H_

#include <memory>
#include <string>

#include "core/event_sink.h"
#include "gamepipe/command.h"
#include "gamepipe/pipe_client.h"

namespace launcher {

/// Connects to the game's pipe once the game has opened it, pumps the connection, reports to the host
/// when the game becomes reachable ("READY") and when it goes away ("GAMEISGONE"), and posts what the
/// game sends as events. All calls come on the host's thread, also those that a notifier makes from
/// inside a step.
class PellmarAppBase {
 public:
  /// `sink` outlives the object.
  PellmarAppBase(EventSink& sink, const wchar_t* gamePipeName, const wchar_t* applicationId);
  PellmarAppBase(const PellmarAppBase&) = delete;
  PellmarAppBase& operator=(const PellmarAppBase&) = delete;
  virtual ~PellmarAppBase();

  /// Delivers the event of a command to the host.
  virtual void QueueEvent(EventPtr event);

  /// Makes one attempt to connect, without waiting. True when connected.
  bool Connect();

  /// One step: pumps the connection, reports a lost game and tries to connect again.
  void PollPellmar();

  /// Closes the connection without an event.
  void Disconnect();

 protected:
  /// While set, polling does nothing. Nothing in the library sets it.
  bool shuttingDown = false;
  /// Null when not connected. Shared so that a step can go on safely when a command that runs inside
  /// it makes the client go away.
  std::shared_ptr<PipeClient> client;

 private:
  // Set while the host is notified of the lost game, whose client still exists: a notifier that polls
  // again must not find it and report it a second time.
  bool reportingLoss = false;
  // Never destroyed, see the destructor.
  vorn::CommandHandler* handler;
  std::wstring pipeName;
  std::wstring appId;
  EventSink& eventSink;
};

}  // namespace launcher

#endif  // LAUNCHER_GAMEPIPE_PELLMAR_APP_BASE_H_
