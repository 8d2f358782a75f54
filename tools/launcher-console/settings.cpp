#include "tools/launcher-console/settings.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "hosts/common/text.h"
#include "tools/launcher-console/errors.h"

namespace console {
namespace {

bool IsWellFormed(const host::Json& json) {
  if (!json.is_object()) return false;
  for (const host::Json& application : json) {
    if (!application.is_object()) return false;
    for (const host::Json& value : application) {
      if (!value.is_string()) return false;
    }
  }
  return true;
}

}  // namespace

Settings::Settings(std::wstring filePath) : path(std::move(filePath)) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  if (!file) return;
  parameters = host::Json::parse(file, nullptr, false);
  if (!IsWellFormed(parameters)) {
    throw NotDone(host::ToUtf8(path) + " is no file of settings; correct or remove it");
  }
}

void Settings::Set(const std::string& appId, const std::string& key, const std::string& value) {
  parameters[appId][key] = value;
}

bool Settings::Remove(const std::string& appId, const std::string& key) {
  const auto application = parameters.find(appId);
  if (application == parameters.end() || application->erase(key) == 0) return false;
  if (application->empty()) parameters.erase(application);
  return true;
}

void Settings::Save() const {
  const std::filesystem::path target(path);
  std::error_code error;
  if (target.has_parent_path()) std::filesystem::create_directories(target.parent_path(), error);
  const std::filesystem::path fresh(path + L".new");
  std::ofstream file(fresh, std::ios::binary);
  file << parameters.dump(2) << "\n";
  file.close();
  if (!file || !MoveFileExW(fresh.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING)) {
    throw NotDone("cannot write " + host::ToUtf8(path));
  }
}

std::wstring Settings::DefaultPath() {
  return host::EnvironmentText(L"LOCALAPPDATA") + L"\\launcher-console\\settings.json";
}

}  // namespace console
