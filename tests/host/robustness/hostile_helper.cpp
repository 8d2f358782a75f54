#include <cstring>

#include "tests/host/robustness/hostile_peers.h"
#include "tests/support/ping_helper.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

// Length of a good reply: 256 numbers of four bytes.
constexpr std::size_t kReplyBytes = 1024;

// The result that a host has to get, written without the library.
std::string Json(const std::vector<std::wstring>& addresses, const std::string& reply) {
  std::string json = "[\n";
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    std::uint32_t time = 0;
    if (4 * i < reply.size()) std::memcpy(&time, &reply[4 * i], sizeof(time));
    json += "\t{\n\t\t\"ipAddress\": \"" + Narrow(addresses[i]) +
            "\",\n\t\t\"roundTripMSEC\": " + std::to_string(time) + "\n\t}";
    json += i + 1 < addresses.size() ? ",\n" : "\n";
  }
  return json + "]\n";
}

}  // namespace

std::string HostileHelper::Noise(std::size_t length) {
  std::string bytes;
  while (bytes.size() < length) bytes += static_cast<char>(random());
  return bytes;
}

std::string HostileHelper::Live() {
  std::vector<std::wstring> addresses;
  for (std::size_t count = Below(5) == 0 ? Below(300) : Below(5); count > 0; --count) {
    addresses.push_back(L"127.0.0." + std::to_wstring(Below(256)));
  }
  std::vector<std::string> messages;
  if (Below(3) == 0) {
    messages.push_back(Noise(kReplyBytes));
  } else {
    for (std::size_t count = Below(4); count > 0; --count) {
      messages.push_back(Noise(1 + Below(Below(2) == 0 ? 2 * kReplyBytes : 60000)));
    }
  }

  // One for each batch: it keeps every start.
  const PingHelper helper(host.Module(), [&](const std::wstring& request) {
    const ScopedHandle end = ConnectToBatch(request);
    // The library leaves after the first message, so the others may fail.
    for (const std::string& message : messages) WriteMessage(end, message);
    if (!messages.empty()) WaitUntilRead(end);
  });
  std::vector<const wchar_t*> pointers;
  for (const std::wstring& address : addresses) pointers.push_back(address.c_str());
  host->PingBatch(L"batch", pointers.data(), pointers.size());
  host->WaitForThreads();
  const bool isGood = !messages.empty() && messages[0].size() == kReplyBytes;
  if (isGood && !addresses.empty()) ++goodReplies;
  const Event expected = {
      L"", L"PingBatchResult", {L"batch", Widen(Json(addresses, isGood ? messages[0] : ""))}};
  return host.Drain() == std::vector{expected} ? "" : "another result than the reply's";
}

}  // namespace test_support
