#include "ping/ping_json.h"

#include <cstddef>

#include "core/wide_writer.h"

namespace launcher {
namespace {

void Write(WideWriter& json, const PingInfos& infos) {
  json << L"[\n";
  std::size_t left = infos.size();
  for (const PingInfo& info : infos) {
    json << L"\t{\n"
         << L"\t\t\"ipAddress\": \"" << info.ipAddress << L"\",\n"
         << L"\t\t\"roundTripMSEC\": " << info.roundTripMsec << L"\n"
         << (--left > 0 ? L"\t},\n" : L"\t}\n");
  }
  json << L"]\n";
}

}  // namespace

std::wstring BuildPingJson(const PingInfos& infos) {
  WideWriter counted;
  Write(counted, infos);
  std::wstring text(counted.Length(), L'\0');
  WideWriter json(text.data(), text.size());
  Write(json, infos);
  return text;
}

}  // namespace launcher
