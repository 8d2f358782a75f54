#include "core/helper_program.h"

#include <shellapi.h>

#include "core/install_dir.h"

namespace launcher {

std::wstring HelperProgramPath() { return GetPluginInstallDir() + L"\\" + L"helperx64" + L".exe"; }

bool StartHelper(const std::wstring& helperPath, const std::wstring& parameters,
                 HINSTANCE& failure) {
  SHELLEXECUTEINFOW info = {};
  info.cbSize = sizeof(info);
  info.fMask = SEE_MASK_FLAG_NO_UI | SEE_MASK_ASYNCOK;
  info.lpVerb = L"open";
  info.lpFile = helperPath.c_str();
  info.lpParameters = parameters.c_str();
  info.nShow = SW_SHOWNORMAL;
  const bool started = ShellExecuteExW(&info) != FALSE;
  failure = info.hInstApp;
  return started;
}

}  // namespace launcher
