#include "apps/base_app.h"

#include <cstdint>
#include <utility>

#include "core/helper_program.h"
#include "core/log.h"
#include "core/windows_api.h"

namespace launcher {
namespace {

// Hosts' log readers know the line by this number.
constexpr int kLaunchLogNumber = 102;

}  // namespace

BaseApp::BaseApp(EventSink& sink, NotifyCallback hostNotifier, std::wstring applicationId)
    : id(std::move(applicationId)), host(hostNotifier), eventSink(sink) {}

BaseApp::~BaseApp() {
  LogLine("%s: Destroying instance %p\n", "BaseApp::~BaseApp", static_cast<void*>(this));
}

void BaseApp::SetParameter(const std::wstring& name, const std::wstring& value) {
  LogLine(L"%s: Setting parameter %s to %s\n", L"BaseApp::SetParameter", name.c_str(),
          value.c_str());
  parameters.insert_or_assign(name, value);
}

std::wstring BaseApp::GetParameter(const std::wstring& name) {
  const auto found = parameters.find(name);
  if (found == parameters.end()) {
    LogLine(L"%s: Parameter %s not set, returning empty\n", L"BaseApp::GetParameter",
            name.c_str());
    return {};
  }
  LogLine(L"%s: Return paramter %s => %s\n", L"BaseApp::GetParameter", name.c_str(),
          found->second.c_str());
  return found->second;
}

bool BaseApp::DoLaunch(const std::wstring& workDir, const std::wstring& binaryPath,
                       const std::wstring& binaryName, const std::wstring& commandLine,
                       bool launchFlag) {
  // Nothing of it is used; the call belongs to the launch sequence that monitors of the host see.
  STARTUPINFOW startupInfo = {};
  GetStartupInfoW(&startupInfo);

  LogLine(L"%s:%d: Launching:\n", L"BaseApp::DoLaunch", kLaunchLogNumber);
  LogLine(L">>> BinaryName:  %s\n", binaryName.c_str());
  LogLine(L">>> BinaryPath:  %s\n", binaryPath.c_str());
  LogLine(L">>> CommandLine: %s\n", commandLine.c_str());
  LogLine(L">>> WorkDir:     %s\n", workDir.c_str());

  // "SW_SHOWNA" is how the helper is to show the game; the helper itself is shown normally.
  const std::wstring parameterLine = std::wstring(launchFlag ? L"YES" : L"NO") + L"|" +
                                     L"SW_SHOWNA" + L"|" + binaryPath + L"|" + binaryName + L"|" +
                                     workDir + L"|" + commandLine;

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
