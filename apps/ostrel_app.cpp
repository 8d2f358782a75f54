#include "apps/ostrel_app.h"

#include <string_view>

#include "apps/ostrel_settings.h"
#include "core/log.h"
#include "core/registry.h"

namespace launcher {
namespace {

constexpr wchar_t kSetupLabel[] = L"OstrelApp::SetupGame";
constexpr wchar_t kVersionValue[] = L"ClientVersion";

// Counted in bytes, terminator included.
constexpr DWORD kVersionBytes = 255;

}  // namespace

OstrelApp::OstrelApp(EventSink& sink, NotifyCallback hostNotifier)
    : BaseApp(sink, hostNotifier, L"OSTREL-APP"),
      registryKey(L"SOFTWARE\\Ostrel"),
      urlScheme(L"ostrel://") {}

// The lines name the thread's last error, not the status that the registry returned: readers of the
// log know these numbers.
bool OstrelApp::SetupGame() {
  UniqueRegistryKey key;
  if (OpenMachineKey(registryKey, key) != ERROR_SUCCESS) {
    LogLine(L"%s: Failed to open registry key %s (%d)\n", kSetupLabel, registryKey.c_str(),
            static_cast<int>(GetLastError()));
    return false;
  }
  std::wstring version;
  if (QueryText(key, kVersionValue, kVersionBytes, version) != ERROR_SUCCESS) {
    LogLine(L"%s: Failed to query registry value %s (%d)\n", kSetupLabel, kVersionValue,
            static_cast<int>(GetLastError()));
    return false;
  }
  // Kept open on purpose: only the failure path closes the key.
  static_cast<void>(key.release());
  SetParameter(L"APP_VERSION", version.c_str());
  return true;
}

std::wstring OstrelApp::GetParameter(const wchar_t* name) {
  if (std::wstring_view(name) == L"OstrelLocalHostEnabled")
    return IsOstrelLocalHostEnabled() ? L"true" : L"false";
  return BaseApp::GetParameter(name);
}

bool OstrelApp::IsInstalled() { return SetupGame(); }

bool OstrelApp::SendCommand(const wchar_t* /*command*/, const wchar_t* /*arg0*/,
                            const wchar_t* /*arg1*/, const wchar_t* /*arg2*/,
                            const wchar_t* /*arg3*/) {
  return false;
}

bool OstrelApp::Kill(bool /*flag*/) { return false; }

bool OstrelApp::Launch(const wchar_t* commandLine, bool /*launchFlag*/, const wchar_t* /*text1*/,
                       const wchar_t* /*text2*/, const wchar_t* /*text3*/,
                       const wchar_t* /*text4*/) {
  if (!SetupGame()) return false;
  // The link takes the place of the program, and there is nothing else to say about it.
  return DoLaunch(L"", (urlScheme + commandLine).c_str(), L"", L"", false);
}

bool OstrelApp::IsRunning() { return false; }

void OstrelApp::Poll() {}

std::wstring OstrelApp::GetVersion() {
  return SetupGame() ? GetParameter(L"APP_VERSION") : L"NOT_INSTALLED";
}

std::wstring OstrelApp::GetExtraArguments() { return {}; }

}  // namespace launcher
