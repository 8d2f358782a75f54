// What a host compiled for Microsoft's C++ ABI checks. Written once for two declarations of the
// interface. No standard library: neither a Windows SDK nor Microsoft's libraries are needed.
#ifndef LAUNCHER_TESTS_HOST_MSVC_CHECKS_H_
#define LAUNCHER_TESTS_HOST_MSVC_CHECKS_H_

namespace host_msvc {

inline bool Same(const wchar_t* left, const wchar_t* right) {
  for (; *left == *right; ++left, ++right) {
    if (*left == L'\0') return true;
  }
  return false;
}

inline int notifications = 0;

inline void Count(void* plugin) {
  if (plugin == &notifications) ++notifications;
}

template <typename Launcher, typename String>
bool TextIs(Launcher* launcher, String* string, const wchar_t* expected) {
  const bool same = string != nullptr && Same(string->GetString(), expected);
  launcher->FreeString(string);
  return same;
}

template <typename Launcher>
bool EventsWork(Launcher* launcher) {
  notifications = 0;
  launcher->PostEvent(L"source", L"name", L"0", L"1", L"2", nullptr, L"4", L"5", L"6", L"7");
  auto* const event = launcher->GetNextEvent();
  if (event == nullptr || notifications != 1) return false;
  const bool same = Same(event->GetSource(), L"source") && Same(event->GetName(), L"name") &&
                    Same(event->GetArg0(), L"0") && Same(event->GetArg1(), L"1") &&
                    Same(event->GetArg2(), L"2") && Same(event->GetArg3(), L"") &&
                    Same(event->GetArg4(), L"4") && Same(event->GetArg5(), L"5") &&
                    Same(event->GetArg6(), L"6") && Same(event->GetArg7(), L"7");
  launcher->FreeEvent(event);
  return same && launcher->GetNextEvent() == nullptr;
}

// Without a helper program a batch ends at once.
template <typename Launcher>
bool WorkersWork(Launcher* launcher) {
  if (!launcher->PingBatch(L"batch", nullptr, 0)) return false;
  launcher->WaitForThreads();
  auto* const ping = launcher->GetNextEvent();
  if (ping == nullptr || !Same(ping->GetName(), L"PingBatchResult") ||
      !Same(ping->GetArg0(), L"batch") || !Same(ping->GetArg1(), L"[\n]\n")) {
    return false;
  }
  launcher->FreeEvent(ping);
  launcher->QueryServer(L"request", L"second", L"1", L"127.0.0.1", 1);
  launcher->WaitForThreads();
  auto* const query = launcher->GetNextEvent();
  if (query == nullptr || !Same(query->GetSource(), L"request") ||
      !Same(query->GetName(), L"QueryServerResult") || !Same(query->GetArg0(), L"second")) {
    return false;
  }
  launcher->FreeEvent(query);
  return true;
}

template <typename Launcher>
bool ApplicationsWork(Launcher* launcher) {
  launcher->PollApps();
  return !launcher->IsInstalled(L"NONE") && !launcher->IsRunning(L"NONE") &&
         !launcher->Kill(L"NONE", true) &&
         !launcher->SendCommand(L"NONE", L"command", L"", L"", L"", L"") &&
         !launcher->Launch(L"NONE", L"", true, L"", L"", L"", L"") &&
         !launcher->SetParameter(L"NONE", L"key", L"value") &&
         launcher->SetParameter(L"BRENNA-GAME", L"key", L"value") &&
         TextIs(launcher, launcher->GetParameter(L"BRENNA-GAME", L"key"), L"value") &&
         TextIs(launcher, launcher->GetVersion(L"NONE"), L"INVALID_APP_ID") &&
         TextIs(launcher, launcher->GetExtraArguments(L"NONE"), L"INVALID_APP_ID") &&
         TextIs(launcher, launcher->GetLauncherVersion(), L"162");
}

/// Everything but the destruction. 0, or the number of the first check that failed.
template <typename Launcher>
unsigned int CheckSlots(Launcher* launcher) {
  if (launcher == nullptr) return 1;
  if (!EventsWork(launcher)) return 2;
  if (!WorkersWork(launcher)) return 3;
  if (!ApplicationsWork(launcher)) return 4;
  return 0;
}

/// With the library's public header; with a header of the host's own. 0, or what failed.
unsigned int CheckPublicHeader();
unsigned int CheckOwnHeader();
/// With the wrapper, as far as it needs no standard library.
unsigned int CheckWrapper();

}  // namespace host_msvc

#endif  // LAUNCHER_TESTS_HOST_MSVC_CHECKS_H_
