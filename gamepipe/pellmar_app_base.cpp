#include "gamepipe/pellmar_app_base.h"

#include <cstdint>
#include <utility>

#include "core/log.h"
#include "core/text.h"
#include "gamepipe/generic_pellmar_command.h"

namespace launcher {
namespace {

vorn::CommandHandler* MakeHandler(PellmarAppBase& owner, const wchar_t* appId) {
  return std::make_unique<vorn::CommandHandler>(
             std::make_unique<GenericPellmarCommand>(owner, appId))
      .release();
}

}  // namespace

PellmarAppBase::PellmarAppBase(EventSink& sink, const wchar_t* gamePipeName,
                               const wchar_t* applicationId)
    : handler(MakeHandler(*this, applicationId)),
      pipeName(gamePipeName),
      appId(applicationId),
      eventSink(sink) {}

// The handler and its default command stay allocated on purpose, see docs/kept-on-purpose.md.
PellmarAppBase::~PellmarAppBase() { Disconnect(); }

void PellmarAppBase::QueueEvent(EventPtr event) { eventSink.QueueEvent(std::move(event)); }

bool PellmarAppBase::Connect() {
  if (client != nullptr) {
    LogLine("%s: Instance is running, we are done here\n", "PellmarAppBase::Connect");
    return true;
  }
  client = std::make_shared<PipeClient>(WideToUtf8(pipeName), *handler);
  if (client->Open()) {
    eventSink.PostStateChange(appId.c_str(), L"READY");
    return true;
  }
  // Silent: a game that has not opened its pipe is the normal case.
  client.reset();
  return false;
}

void PellmarAppBase::PollPellmar() {
  if (shuttingDown) {
    LogLine("%s: We are about to shutdown, doing nothing...\n", "PellmarAppBase::PollPellmar");
    return;
  }
  if (reportingLoss) return;
  if (client != nullptr) {
    const std::shared_ptr<PipeClient> pumped = client;
    const std::uint32_t result = pumped->Pump();
    // A step that a notifier made from inside this one may have replaced the client already, and
    // reported why.
    if (result == ERROR_SUCCESS || client != pumped) return;
    LogLine("%s: Update of AppLauncher failed with error %08x\n", "PellmarAppBase::PollPellmar",
            static_cast<unsigned int>(result));
    reportingLoss = true;
    eventSink.PostStateChange(appId.c_str(), L"GAMEISGONE");
    reportingLoss = false;
    pumped->Close();
    // Unless the notifier has disconnected already.
    client.reset();
  }
  Connect();
}

void PellmarAppBase::Disconnect() {
  if (client == nullptr) return;
  LogLine("%s: Deleting PipeClient %p from instance %p\n", "PellmarAppBase::Disconnect",
          static_cast<void*>(client.get()), static_cast<void*>(this));
  client->Close();
  client.reset();
}

}  // namespace launcher
