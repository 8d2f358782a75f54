#include "tools/launcher-console/events.h"

#include <windows.h>

#include <cstdio>

namespace console {
namespace {

std::size_t ArgumentCount(const host::Event& event) {
  std::size_t count = event.arguments.size();
  while (count > 0 && event.arguments[count - 1].empty()) --count;
  return count;
}

// Minutes that the local time is ahead of universal time.
int MinutesAhead(const SYSTEMTIME& local) {
  constexpr long long kTicksPerMinute = 600'000'000;
  SYSTEMTIME universal{};
  FILETIME localTicks{};
  FILETIME universalTicks{};
  if (!TzSpecificLocalTimeToSystemTime(nullptr, &local, &universal) ||
      !SystemTimeToFileTime(&local, &localTicks) ||
      !SystemTimeToFileTime(&universal, &universalTicks)) {
    return 0;
  }
  const auto ticks = [](const FILETIME& time) {
    return static_cast<long long>(static_cast<unsigned long long>(time.dwHighDateTime) << 32 |
                                  time.dwLowDateTime);
  };
  return static_cast<int>((ticks(localTicks) - ticks(universalTicks)) / kTicksPerMinute);
}

}  // namespace

std::string TimeStamp() {
  constexpr int kMinutesPerHour = 60;
  SYSTEMTIME now{};
  GetLocalTime(&now);
  const int ahead = MinutesAhead(now);
  const int distance = ahead < 0 ? -ahead : ahead;
  char text[48];
  std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02u.%03u%c%02d:%02d",
                unsigned{now.wYear}, unsigned{now.wMonth}, unsigned{now.wDay}, unsigned{now.wHour},
                unsigned{now.wMinute}, unsigned{now.wSecond}, unsigned{now.wMilliseconds},
                ahead < 0 ? '-' : '+', distance / kMinutesPerHour, distance % kMinutesPerHour);
  return text;
}

Json ToJson(const host::Event& event, const std::string& time) {
  Json arguments = Json::array();
  for (std::size_t i = 0; i < ArgumentCount(event); ++i) arguments.push_back(event.arguments[i]);
  return {{"time", time},
          {"source", event.source},
          {"name", event.name},
          {"arguments", std::move(arguments)}};
}

std::string Describe(const host::Event& event) {
  std::string text = event.source + "  " + event.name;
  for (std::size_t i = 0; i < ArgumentCount(event); ++i) {
    text += (i == 0 ? "  " : " ") + event.arguments[i];
  }
  return text;
}

bool IsState(const host::Event& event, const std::string& appId, const std::string& state) {
  return event.name == "StateChanged" && event.source == appId && event.arguments[0] == state;
}

}  // namespace console
