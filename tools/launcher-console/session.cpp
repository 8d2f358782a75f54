#include "tools/launcher-console/session.h"

#include <array>
#include <optional>
#include <stdexcept>
#include <utility>

#include "hosts/common/text.h"
#include "tools/launcher-console/errors.h"
#include "tools/launcher-console/interrupt.h"

namespace console {
namespace {

// How often games are polled.
constexpr DWORD kPollMilliseconds = 100;

[[noreturn]] void ThrowInterrupted() { throw CommandError(ExitCode::kInterrupted, "interrupted"); }

}  // namespace

void Session::Result(Json result) {
  out.Document({{"command", options.command}, {"result", std::move(result)}});
}

void Session::ResultLine(Json result) {
  out.Record({{"command", options.command}, {"result", std::move(result)}});
}

Settings& Session::SettingsFile() {
  if (!settings) {
    settings = std::make_unique<Settings>(options.settingsPath.empty()
                                              ? Settings::DefaultPath()
                                              : host::ToWide(options.settingsPath));
  }
  return *settings;
}

std::wstring Session::DllPath() const {
  if (options.dllPath.empty()) return host::ProgramDirectory() + L"\\launcher.dll";
  // A full path: Windows looks for any other in folders that nobody named.
  const std::wstring path = host::ToWide(options.dllPath);
  std::wstring fullPath(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
  fullPath.resize(GetFullPathNameW(path.c_str(), static_cast<DWORD>(fullPath.size()),
                                   fullPath.data(), nullptr));
  return fullPath;
}

host::LauncherClient& Session::Launcher() {
  if (!launcher) LoadLauncher();
  return *launcher;
}

void Session::LoadLauncher() {
  const Json& parameters = SettingsFile().Parameters();
  try {
    launcher = std::make_unique<host::LauncherClient>(DllPath());
  } catch (const std::exception& error) {
    throw CommandError(ExitCode::kEnvironment,
                       error.what() + std::string("; 'launcher-console doctor' says more"));
  }
  for (const auto& [appId, values] : parameters.items()) {
    for (const auto& [key, value] : values.items()) launcher->SetParameter(appId, key, value);
  }
}

std::string Session::Remembered(const std::string& appId, const std::string& key) {
  const Json& parameters = SettingsFile().Parameters();
  const auto application = parameters.find(appId);
  return application == parameters.end() ? "" : application->value(key, "");
}

void Session::Pause(std::chrono::milliseconds time) {
  if (WaitForSingleObject(InterruptEvent(), static_cast<DWORD>(time.count())) == WAIT_OBJECT_0) {
    ThrowInterrupted();
  }
}

bool Session::Wait(std::chrono::milliseconds limit, Polling polling, const EventHandler& handler,
                   const Tick& tick) {
  const std::array<HANDLE, 2> objects{InterruptEvent(), Launcher().EventQueued()};
  const auto start = std::chrono::steady_clock::now();
  for (;;) {
    if (polling == Polling::kPollApps) Launcher().PollApps();
    while (const std::optional<host::Event> event = Launcher().NextEvent()) {
      if (handler(*event)) return true;
    }
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    if (elapsed >= limit) return false;
    if (tick) tick(elapsed);
    const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(objects.size()), objects.data(),
                                                FALSE, kPollMilliseconds);
    if (result == WAIT_OBJECT_0) ThrowInterrupted();
  }
}

}  // namespace console
