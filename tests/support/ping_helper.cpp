#include "tests/support/ping_helper.h"

#include <chrono>
#include <utility>

namespace test_support {
namespace {

constexpr std::size_t kReplyBytes = 1024;

}  // namespace

std::string PingReply(const std::vector<std::uint32_t>& times) {
  std::string reply;
  for (const std::uint32_t time : times) {
    for (unsigned int shift = 0; shift < 32; shift += 8) {
      reply += static_cast<char>(time >> shift & 0xFF);
    }
  }
  reply.resize(kReplyBytes);
  return reply;
}

std::wstring PipeNameOf(const std::wstring& request) {
  const std::size_t begin = request.find(L'|', request.find(L'|') + 1) + 1;
  return request.substr(begin, request.find(L'|', begin) - begin);
}

ScopedHandle ConnectToBatch(const std::wstring& request) {
  return ScopedHandle(CreateFileW(PipeNameOf(request).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                                  nullptr, OPEN_EXISTING, 0, nullptr));
}

bool WriteMessage(const ScopedHandle& pipe, const std::string& bytes) {
  DWORD written = 0;
  return WriteFile(pipe.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
         written == bytes.size();
}

void WaitUntilRead(const ScopedHandle& pipe) { FlushFileBuffers(pipe.Get()); }

void Reply(const std::wstring& request, const std::string& bytes) {
  const ScopedHandle pipe = ConnectToBatch(request);
  WriteMessage(pipe, bytes);
  WaitUntilRead(pipe);
}

PingHelper::PingHelper(HMODULE module, Answer requestAnswer)
    : answer(std::move(requestAnswer)),
      hook(module, [this](SHELLEXECUTEINFOW* info) { return Start(info); }) {}

PingHelper::PingHelper(HMODULE module, const std::string& reply)
    : PingHelper(module, [reply](const std::wstring& request) { Reply(request, reply); }) {}

PingHelper::~PingHelper() {
  for (std::thread& thread : threads) thread.join();
}

std::vector<HelperStart> PingHelper::Starts() const {
  const std::lock_guard guard(mutex);
  return starts;
}

bool PingHelper::WaitForStarts(std::size_t count, unsigned int timeoutMs) const {
  std::unique_lock guard(mutex);
  return started.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                          [&] { return starts.size() >= count; });
}

BOOL PingHelper::Start(SHELLEXECUTEINFOW* info) {
  const std::lock_guard guard(mutex);
  starts.push_back({*info, info->lpVerb, info->lpFile, info->lpParameters});
  threads.emplace_back(answer, starts.back().request);
  started.notify_all();
  return TRUE;
}

}  // namespace test_support
