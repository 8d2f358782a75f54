#include "apps/base_app.h"

#include <cstdint>
#include <string_view>

#include "core/file_status.h"
#include "core/helper_program.h"
#include "core/log.h"
#include "core/windows_api.h"

namespace launcher {
namespace {

// Hosts' log readers know the line by this number.
constexpr int kLaunchLogNumber = 102;

}  // namespace

BaseApp::BaseApp(EventSink& sink, NotifyCallback hostNotifier, const wchar_t* applicationId)
    : id(applicationId), host(hostNotifier), eventSink(sink) {}

BaseApp::~BaseApp() {
  LogLine("%s: Destroying instance %p\n", "BaseApp::~BaseApp", static_cast<void*>(this));
}

void BaseApp::SetParameter(const wchar_t* name, const wchar_t* value) {
  LogLine(L"%s: Setting parameter %s to %s\n", L"BaseApp::SetParameter", name, value);
  const std::wstring_view key = name;
  if (const auto found = parameters.find(key); found != parameters.end()) {
    found->second = value;
  } else {
    parameters.emplace(key, value);
  }
}

std::wstring BaseApp::GetParameter(const wchar_t* name) {
  const auto found = parameters.find(std::wstring_view(name));
  if (found == parameters.end()) {
    LogLine(L"%s: Parameter %s not set, returning empty\n", L"BaseApp::GetParameter", name);
    return {};
  }
  LogLine(L"%s: Return paramter %s => %s\n", L"BaseApp::GetParameter", name, found->second.c_str());
  return found->second;
}

bool BaseApp::DoLaunch(const wchar_t* workDir, const wchar_t* binaryPath, const wchar_t* binaryName,
                       const wchar_t* commandLine, bool launchFlag) {
  // Nothing of it is used; the call belongs to the launch sequence that monitors of the host see.
  STARTUPINFOW startupInfo = {};
  GetStartupInfoW(&startupInfo);

  LogLine(L"%s:%d: Launching:\n", L"BaseApp::DoLaunch", kLaunchLogNumber);
  LogLine(L">>> BinaryName:  %s\n", binaryName);
  LogLine(L">>> BinaryPath:  %s\n", binaryPath);
  LogLine(L">>> CommandLine: %s\n", commandLine);
  LogLine(L">>> WorkDir:     %s\n", workDir);

  // "SW_SHOWNA" is how the helper is to show the game; the helper itself is shown normally.
  std::wstring parameterLine = launchFlag ? L"YES" : L"NO";
  for (const wchar_t* const field : {L"SW_SHOWNA", binaryPath, binaryName, workDir, commandLine}) {
    parameterLine += L'|';
    parameterLine += field;
  }

  const std::wstring helperPath = HelperProgramPath();
  if (!HasFileStatus(helperPath)) {
    LogLine(L"%s: wstat of file %s failed\n", L"BaseApp::DoLaunch", helperPath.c_str());
    return false;
  }

  HINSTANCE failure = nullptr;
  if (!StartHelper(helperPath, parameterLine, failure)) {
    LogLine(L">>> ShellExecuteEx failed with %08x!\n",
            static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(failure)));
    MessageBoxW(nullptr, L"Could not execute binary", L"Vantor Web Plugins", MB_ICONERROR);
    return false;
  }
  LogLine(L">>> Success!\n");
  return true;
}

}  // namespace launcher
