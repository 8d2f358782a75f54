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

}  // namespace

std::string TimeStamp() {
  SYSTEMTIME now{};
  GetLocalTime(&now);
  char text[32];
  std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02u.%03u", unsigned{now.wYear},
                unsigned{now.wMonth}, unsigned{now.wDay}, unsigned{now.wHour},
                unsigned{now.wMinute}, unsigned{now.wSecond}, unsigned{now.wMilliseconds});
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
