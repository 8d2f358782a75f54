#include "hosts/common/launcher_client.h"

#include <stdexcept>

#include "hosts/common/known_applications.h"
#include "hosts/common/results.h"
#include "hosts/common/text.h"

namespace host {
namespace {

std::string Take(const launcher_host::String& text) {
  if (!text) throw std::runtime_error("out of memory");
  return text.Utf8();
}

launcher_host::Launcher Load(const std::wstring& dllPath) {
  launcher_host::LoadError error;
  launcher_host::Launcher launcher = launcher_host::Launcher::Load(dllPath, error);
  if (!launcher) throw std::runtime_error(Describe(error, ToUtf8(dllPath)));
  return launcher;
}

}  // namespace

bool IsPingResult(const Event& event) {
  return event.name == "PingBatchResult" && event.source.empty();
}

bool IsQueryResult(const Event& event) {
  return event.name == "QueryServerResult" && FindKnownApplication(event.source) == nullptr;
}

LauncherClient::LauncherClient(const std::wstring& dllPath) : launcher(Load(dllPath)) {}

LauncherClient::~LauncherClient() {
  WaitForLastResults();
  if (outstanding > 0) launcher.Abandon();
}

std::string LauncherClient::Version() const { return ToUtf8(launcher.Version()); }

void LauncherClient::WaitForLastResults() {
  constexpr ULONGLONG kGraceMilliseconds = 500;
  const ULONGLONG end = GetTickCount64() + kGraceMilliseconds;
  for (;;) {
    while (NextEvent()) {
    }
    const ULONGLONG now = GetTickCount64();
    if (outstanding == 0 || now >= end) return;
    WaitForSingleObject(EventQueued(), static_cast<DWORD>(end - now));
  }
}

std::optional<Event> LauncherClient::NextEvent() {
  const launcher_host::Event queued = launcher.NextEvent();
  if (!queued) return std::nullopt;
  Event event{queued.SourceUtf8(), queued.NameUtf8(), {}};
  for (std::size_t i = 0; i < event.arguments.size(); ++i) {
    event.arguments[i] = queued.ArgumentUtf8(static_cast<int>(i));
  }
  if ((queued.IsPingResult() || queued.IsQueryResult()) && outstanding > 0 && --outstanding == 0) {
    // The workers have reported and are about to end. Their handles would pile up.
    launcher.WaitForThreads();
  }
  return event;
}

void LauncherClient::PostEvent(const Event& event) {
  const auto& arguments = event.arguments;
  launcher.PostEvent(event.source, event.name, arguments[0], arguments[1], arguments[2],
                     arguments[3], arguments[4], arguments[5], arguments[6], arguments[7]);
}

void LauncherClient::PingBatch(const std::string& batchId, std::vector<std::string> addresses) {
  addresses.emplace_back(kImpossibleAddress);
  launcher.PingBatch(batchId, addresses);
  ++outstanding;
}

bool LauncherClient::IsInstalled(const std::string& appId) { return launcher.IsInstalled(appId); }

std::string LauncherClient::GetVersion(const std::string& appId) {
  return Take(launcher.GetVersion(appId));
}

std::string LauncherClient::GetParameter(const std::string& appId, const std::string& key) {
  return Take(launcher.GetParameter(appId, key));
}

std::string LauncherClient::GetExtraArguments(const std::string& appId) {
  return Take(launcher.GetExtraArguments(appId));
}

std::string LauncherClient::GetLauncherVersion() { return Take(launcher.GetLauncherVersion()); }

bool LauncherClient::SendCommand(const std::string& appId, const std::string& command,
                                 const std::array<std::string, 4>& arguments) {
  return launcher.SendCommand(appId, command, arguments[0], arguments[1], arguments[2],
                              arguments[3]);
}

bool LauncherClient::Kill(const std::string& appId) { return launcher.Kill(appId); }

bool LauncherClient::Launch(const std::string& appId, const std::string& commandLine, bool flag) {
  return launcher.Launch(appId, commandLine, flag);
}

bool LauncherClient::IsRunning(const std::string& appId) { return launcher.IsRunning(appId); }

bool LauncherClient::SetParameter(const std::string& appId, const std::string& key,
                                  const std::string& value) {
  return launcher.SetParameter(appId, key, value);
}

void LauncherClient::QueryServer(const std::string& requestId, const std::string& requestText,
                                 const std::string& gameId, const std::string& address,
                                 std::uint16_t port) {
  launcher.QueryServer(requestId, requestText, gameId, address, port);
  ++outstanding;
}

void LauncherClient::PollApps() { launcher.PollApps(); }

}  // namespace host
