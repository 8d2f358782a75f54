#include "ping/ping_json.h"

#include <cstddef>

#include "core/wide_appender.h"

namespace launcher {
namespace {

// The fixed texts of one entry, a long dotted address and a long number.
constexpr std::size_t kEntryLength = 80;

}  // namespace

std::wstring BuildPingJson(const PingInfos& infos) {
  WideAppender json(kEntryLength * (infos.size() + 1));
  json << L"[\n";
  const PingInfo* const last = infos.data() + infos.size();
  for (const PingInfo& info : infos) {
    json << L"\t{\n"
         << L"\t\t\"ipAddress\": \"" << info.ipAddress << L"\",\n"
         << L"\t\t\"roundTripMSEC\": " << info.roundTripMsec << L"\n"
         << (&info + 1 == last ? L"\t}\n" : L"\t},\n");
  }
  json << L"]\n";
  return std::wstring(json.Text());
}

}  // namespace launcher
