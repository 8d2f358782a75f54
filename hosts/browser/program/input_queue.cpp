#include "hosts/browser/program/input_queue.h"

#include <thread>
#include <utility>

#include "hosts/browser/program/message_stream.h"

namespace browser_host {

InputQueue::InputQueue(HANDLE inputStream)
    : stream(inputStream),
      filled(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      room(CreateSemaphoreW(nullptr, kMostMessages, kMostMessages, nullptr)) {
  std::thread(&InputQueue::Read, this).detach();
}

InputQueue::State InputQueue::Take(std::string& message) {
  const std::lock_guard<std::mutex> guard(mutex);
  // Nobody waits any more for answers to what came before the end.
  if (messages.empty() || end == State::kEnd) return end;
  message = std::move(messages.front());
  messages.pop_front();
  ReleaseSemaphore(room, 1, nullptr);
  if (messages.empty() && end == State::kEmpty) ResetEvent(filled);
  return State::kMessage;
}

void InputQueue::Read() {
  for (;;) {
    WaitForSingleObject(room, INFINITE);
    std::string message;
    const ReadResult result = ReadMessage(stream, message);
    const std::lock_guard<std::mutex> guard(mutex);
    if (result == ReadResult::kMessage) {
      messages.push_back(std::move(message));
    } else {
      end = result == ReadResult::kEnd ? State::kEnd : State::kTooLong;
    }
    SetEvent(filled);
    if (result != ReadResult::kMessage) return;
  }
}

}  // namespace browser_host
