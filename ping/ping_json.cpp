#include "ping/ping_json.h"

#include <cstddef>
#include <string_view>

#include "core/wide_writer.h"

namespace launcher {
namespace {

using namespace std::string_view_literals;

void Write(WideWriter& json, const PingInfos& infos) {
  json << L"[\n";
  std::size_t left = infos.size();
  for (const PingInfo& info : infos) {
    json << L"\t{\n"
         << L"\t\t\"ipAddress\": \"" << info.ipAddress << L"\",\n"
         << L"\t\t\"roundTripMSEC\": " << info.roundTripMsec << L"\n"
         << (--left > 0 ? L"\t},\n"sv : L"\t}\n"sv);
  }
  json << L"]\n";
}

}  // namespace

std::wstring BuildPingJson(const PingInfos& infos) {
  // Enough for usual addresses: 46 characters of a record are the same for all.
  constexpr std::size_t kRecordLength = 80;
  std::wstring text(kRecordLength * (infos.size() + 1), L'\0');
  for (;;) {
    WideWriter json(text.data(), text.size());
    Write(json, infos);
    const bool whole = json.Length() <= text.size();
    text.resize(json.Length());
    if (whole) return text;
  }
}

}  // namespace launcher
