#include "gamepipe/pipe_client.h"

#include <utility>

namespace launcher {

PipeClient::PipeClient(std::string pipePath, vorn::CommandHandler& commandHandler)
    : path(std::move(pipePath)), channel(std::make_shared<PipeChannel>(commandHandler)) {}

PipeClient::~PipeClient() { Close(); }

bool PipeClient::Open() {
  if (connected) return true;
  lastError = channel->Open(path.c_str());
  connected = lastError == ERROR_SUCCESS;
  return connected;
}

std::uint32_t PipeClient::Pump() {
  const std::uint32_t result = PumpChannel();
  lastError = result;
  return result;
}

std::uint32_t PipeClient::PumpChannel() {
  if (!connected) return ERROR_SERVICE_NOT_ACTIVE;
  // A command that runs inside the read may close this client.
  const std::shared_ptr<PipeChannel> pumped = channel;
  if (!pumped->HasPipe()) return ERROR_INVALID_HANDLE;
  if (!pumped->IsOpened()) return ERROR_SUCCESS;
  const std::uint32_t result = pumped->PumpRead();
  if (result != ERROR_SUCCESS || !pumped->IsOpened()) return result;
  return pumped->PumpWrite();
}

void PipeClient::Send(const vorn::PellmarCommand& command) {
  if (connected && channel->IsOpened()) channel->Send(command);
}

void PipeClient::Close() {
  if (connected) {
    channel->ClosePipe();
    connected = false;
  }
  if (channel != nullptr) PipeChannel::Destroy(std::exchange(channel, nullptr));
}

}  // namespace launcher
