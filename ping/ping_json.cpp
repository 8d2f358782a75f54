#include "ping/ping_json.h"

#include <cstddef>
#include <string_view>

namespace launcher {
namespace {

// What an entry takes at most, the address left out: 46 characters of fixed text and a number.
constexpr std::size_t kEntryLength = 46 + WideWriter::kMaxDigits;

// Usual addresses are no longer; longer ones make the text ask for memory again.
constexpr std::size_t kAddressLength = 16;

}  // namespace

WideText BuildPingJson(const PingInfos& infos) {
  WideAppender json((kEntryLength + kAddressLength) * (infos.size() + 1));
  json << L"[\n";
  const PingInfo* const last = infos.data() + infos.size();
  for (const PingInfo& info : infos) {
    WideWriter entry = json.Begin(kEntryLength + info.ipAddress.size());
    entry << L"\t{\n\t\t\"ipAddress\": \"" << info.ipAddress << L"\",\n\t\t\"roundTripMSEC\": "
          << info.roundTripMsec << L"\n\t}";
    entry << (&info + 1 == last ? std::wstring_view(L"\n", 1) : std::wstring_view(L",\n", 2));
    json.End(entry);
  }
  json << L"]\n";
  return json.Finish();
}

}  // namespace launcher
