#include "examples/demo/stage.h"

#include <windows.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "examples/demo/console.h"

namespace demo {
namespace {

constexpr wchar_t kGameKey[] = LR"(SOFTWARE\Hollin Games\Ashgrove 4)";
constexpr wchar_t kStoreClientKey[] = LR"(SOFTWARE\Ostrel)";

// Tells keys of a demonstration that was cut short from those of a real installation.
constexpr wchar_t kOwnMark[] = L"Made by demo_host";

void WriteText(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) throw std::runtime_error("cannot write " + ToUtf8(path.native()));
}

void CheckRegistry(LSTATUS status, const std::wstring& path) {
  if (status == ERROR_SUCCESS) return;
  std::string message = "registry key HKEY_LOCAL_MACHINE\\" + ToUtf8(path) + ": " +
                        DescribeError(static_cast<DWORD>(status));
  if (status == ERROR_ACCESS_DENIED) message += " On Windows, run this as administrator.";
  throw std::runtime_error(message);
}

void SetValue(const std::wstring& path, const std::wstring& name, const std::wstring& value) {
  HKEY key = nullptr;
  CheckRegistry(
      RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_WRITE | KEY_WOW64_32KEY, &key), path);
  const LSTATUS status =
      RegSetValueExW(key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                     static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(key);
  CheckRegistry(status, path);
}

}  // namespace

Stage::Stage(std::filesystem::path directory) : workDirectory(std::move(directory)) {
  std::filesystem::create_directories(workDirectory);
}

Stage::~Stage() {
  for (auto key = createdKeys.rbegin(); key != createdKeys.rend(); ++key) {
    RegDeleteKeyExW(HKEY_LOCAL_MACHINE, key->c_str(), KEY_WOW64_32KEY, 0);
  }
  RemoveFiles();
}

void Stage::InstallGame(const std::filesystem::path& program) {
  // The launcher reads the directory into a buffer of 255 bytes.
  constexpr std::size_t kLongestDirectory = 255 / sizeof(wchar_t) - 1;
  const std::wstring directory = gameDirectory().native();
  if (directory.size() > kLongestDirectory) {
    throw std::runtime_error("the directory " + ToUtf8(directory) +
                             " is too long for the launcher (" + std::to_string(kLongestDirectory) +
                             " characters); choose another --work");
  }
  std::filesystem::remove_all(gameDirectory());  // by a demonstration that was cut short
  for (const wchar_t* const expansion : {L"Xpack1", L"Xpack2", L"Xpack3"}) {
    std::filesystem::create_directories(gameDirectory() / L"Update" / expansion);
  }
  std::filesystem::copy_file(program, gameDirectory() / L"ag4.exe");
  WriteText(gameDirectory() / L"version.json", R"({"version": "1.8.2"})");

  CreateKey(kGameKey);
  SetValue(kGameKey, L"Install Dir", directory);
  CreateKey(kGameKey + std::wstring(LR"(\Xpack1)"));
  CreateKey(kGameKey + std::wstring(LR"(\Xpack2)"));
}

void Stage::InstallStoreClient(const std::wstring& version) {
  CreateKey(kStoreClientKey);
  SetValue(kStoreClientKey, L"ClientVersion", version);
}

std::filesystem::path Stage::TemporaryFile(const std::wstring& name) {
  temporaryFiles.push_back(workDirectory / name);
  std::filesystem::remove(temporaryFiles.back());
  return temporaryFiles.back();
}

// Creates a key that must be new, and those of its parents that are missing. The launcher reads the
// 32-bit view of the registry on every system, so that is where its games are registered.
void Stage::CreateKey(const std::wstring& path) {
  std::size_t end = path.find(L'\\');
  for (bool last = false; !last; end = path.find(L'\\', end + 1)) {
    last = end == std::wstring::npos;
    const std::wstring part = path.substr(0, end);
    HKEY key = nullptr;
    DWORD disposition = 0;
    CheckRegistry(
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, part.c_str(), 0, nullptr, 0,
                        KEY_READ | KEY_WRITE | KEY_WOW64_32KEY, nullptr, &key, &disposition),
        part);
    bool isOwn = disposition == REG_CREATED_NEW_KEY;
    if (isOwn) {
      RegSetValueExW(key, kOwnMark, 0, REG_SZ, nullptr, 0);
    } else {
      isOwn = RegQueryValueExW(key, kOwnMark, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
    }
    RegCloseKey(key);
    const bool isKnown =
        std::find(createdKeys.begin(), createdKeys.end(), part) != createdKeys.end();
    if (isOwn && !isKnown) createdKeys.push_back(part);
    if (last && !isOwn) {
      throw std::runtime_error("the registry key HKEY_LOCAL_MACHINE\\" + ToUtf8(part) +
                               " exists: the demonstration leaves a real installation alone");
    }
  }
}

void Stage::RemoveFiles() {
  // The file of a program can be removed only some time after the program has ended, and nothing
  // tells when.
  constexpr int kAttempts = 100;
  constexpr DWORD kPauseMilliseconds = 50;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    bool isClean = true;
    std::error_code error;
    for (const std::filesystem::path& file : temporaryFiles) {
      std::filesystem::remove(file, error);
      isClean = isClean && !error;
    }
    std::filesystem::remove_all(gameDirectory(), error);
    if (isClean && !error) return;
    Sleep(kPauseMilliseconds);
  }
  Print("Some files could not be removed from " + ToUtf8(workDirectory.native()));
}

std::vector<std::string> ReadLines(const std::filesystem::path& path) {
  std::vector<std::string> lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

}  // namespace demo
