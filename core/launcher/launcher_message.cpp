#include "core/launcher/launcher_message.h"

#include <string>

#include "core/windows_api.h"

namespace launcher {

unsigned int RegisterLauncherMessage(std::wstring_view suffix) {
  std::wstring name = L"message_{1643519B-1136-4b1e-BA3A-0F8F66D2E13A}_";
  name += suffix;
  return RegisterWindowMessageW(name.c_str());
}

}  // namespace launcher
