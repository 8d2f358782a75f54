#include "ping/ping_exchange.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "core/file_status.h"
#include "core/handles.h"
#include "core/helper_program.h"
#include "core/log.h"
// After the Windows headers that it relies on.
#include <objbase.h>

namespace launcher {
namespace {

constexpr int kGuidCharacters = 256;
constexpr std::size_t kReplyCount = 256;
constexpr DWORD kReplyBytes = kReplyCount * sizeof(std::uint32_t);
constexpr DWORD kPipeTimeoutMsec = 1000;

using Reply = std::array<std::uint32_t, kReplyCount>;
static_assert(sizeof(Reply) == kReplyBytes);

// A name that no other pipe has; empty when none can be made.
std::wstring MakePipeName() {
  GUID guid = {};
  static_cast<void>(CoCreateGuid(&guid));
  wchar_t guidText[kGuidCharacters];
  if (StringFromGUID2(guid, guidText, kGuidCharacters) == 0) return {};
  return std::wstring(L"\\\\.\\pipe\\") + guidText;
}

std::wstring MakeRequest(const std::wstring& pipeName, const PingInfos& infos) {
  std::wstring request = L"ICMP|500|" + pipeName + L"|";
  for (const PingInfo& info : infos) {
    request += info.ipAddress;
    request += L'|';
  }
  return request;
}

bool StartPingHelper(const std::wstring& request) {
  const std::wstring helperPath = HelperProgramPath();
  if (!HasFileStatus(helperPath)) {
    LogLine(L"%s: wstat of file %s failed\n", L"AppLauncher::PingThreadProc", helperPath.c_str());
    return false;
  }
  HINSTANCE failure = nullptr;
  return StartHelper(helperPath, request, failure);
}

// The processor is little-endian, as the reply is.
bool ReadReply(const UniqueFile& pipe, Reply& reply) {
  const bool connected =
      ConnectNamedPipe(pipe.get(), nullptr) != FALSE || GetLastError() == ERROR_PIPE_CONNECTED;
  if (!connected) return false;
  DWORD size = 0;
  // A longer message makes the read fail, a shorter one shows in the size.
  return ReadFile(pipe.get(), reply.data(), kReplyBytes, &size, nullptr) != FALSE &&
         size == kReplyBytes;
}

}  // namespace

void PingThreadProc(PingInfos& infos) {
  const std::wstring pipeName = MakePipeName();
  if (pipeName.empty()) return;
  const std::wstring request = MakeRequest(pipeName, infos);
  UniqueFile pipe(CreateNamedPipeW(
      pipeName.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE,
      PIPE_UNLIMITED_INSTANCES, kReplyBytes, kReplyBytes, kPipeTimeoutMsec, nullptr));
  if (!pipe) return;
  if (!StartPingHelper(request)) {
    // Left open on purpose: the shell may report a failure and still have started a helper, which
    // must not find its pipe gone halfway through its reply.
    static_cast<void>(pipe.release());
    return;
  }
  Reply reply;
  if (!ReadReply(pipe, reply)) return;
  DisconnectNamedPipe(pipe.get());
  pipe.reset();
  const std::size_t count = std::min(infos.size(), reply.size());
  for (std::size_t i = 0; i < count; ++i) infos[i].roundTripMsec = reply[i];
}

}  // namespace launcher
