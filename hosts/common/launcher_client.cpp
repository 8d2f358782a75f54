#include "hosts/common/launcher_client.h"

#include <stdexcept>

#include "hosts/common/known_applications.h"
#include "hosts/common/text.h"

namespace host {
namespace {

constexpr unsigned int kKnownAbiVersion = 1;

template <typename T>
T Export(HMODULE library, const char* name) {
  // By way of void*: an export may be a function or a variable.
  void* const address = reinterpret_cast<void*>(GetProcAddress(library, name));
  if (address == nullptr) throw std::runtime_error(std::string("the DLL does not export ") + name);
  return reinterpret_cast<T>(address);
}

Event CopyEvent(IEventInfo& info) {
  return {ToUtf8(info.GetSource()),
          ToUtf8(info.GetName()),
          {ToUtf8(info.GetArg0()), ToUtf8(info.GetArg1()), ToUtf8(info.GetArg2()),
           ToUtf8(info.GetArg3()), ToUtf8(info.GetArg4()), ToUtf8(info.GetArg5()),
           ToUtf8(info.GetArg6()), ToUtf8(info.GetArg7())}};
}

}  // namespace

bool IsPingResult(const Event& event) {
  return event.name == "PingBatchResult" && event.source.empty();
}

bool IsQueryResult(const Event& event) {
  return event.name == "QueryServerResult" && FindKnownApplication(event.source) == nullptr;
}

LauncherClient::LauncherClient(const std::wstring& dllPath) {
  library = LoadLibraryW(dllPath.c_str());
  if (library == nullptr) {
    throw std::runtime_error("cannot load " + ToUtf8(dllPath) + ": " +
                             DescribeError(GetLastError()));
  }
  // The number first: it tells whether the other exports mean what the header says.
  const unsigned int abiVersion = *Export<const unsigned int*>(library, "g_LauncherABIVersion");
  if (abiVersion != kKnownAbiVersion) {
    throw std::runtime_error(ToUtf8(dllPath) + " has ABI version " + std::to_string(abiVersion) +
                             ", this program knows " + std::to_string(kKnownAbiVersion));
  }
  version = ToUtf8(Export<const wchar_t*>(library, "g_LauncherVersion"));
  const auto createLauncher = Export<decltype(&CreateLauncher)>(library, "CreateLauncher");
  destroyLauncher = Export<decltype(&DestroyLauncher)>(library, "DestroyLauncher");
  eventQueued = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  // The handle and not this object: a worker may outlive the object, see the destructor.
  launcher = createLauncher(eventQueued, &LauncherClient::Notify);
  if (launcher == nullptr) throw std::runtime_error("out of memory");
}

LauncherClient::~LauncherClient() {
  WaitForLastResults();
  if (outstanding > 0) return;
  destroyLauncher(launcher);
  CloseHandle(eventQueued);
  FreeLibrary(library);
}

void LauncherClient::WaitForLastResults() {
  constexpr ULONGLONG kGraceMilliseconds = 500;
  const ULONGLONG end = GetTickCount64() + kGraceMilliseconds;
  for (;;) {
    while (NextEvent()) {
    }
    const ULONGLONG now = GetTickCount64();
    if (outstanding == 0 || now >= end) return;
    WaitForSingleObject(eventQueued, static_cast<DWORD>(end - now));
  }
}

// Runs on any thread and under the launcher's lock, so it only wakes the host up.
void LauncherClient::Notify(void* plugin) { SetEvent(plugin); }

std::optional<Event> LauncherClient::NextEvent() {
  IEventInfo* const info = launcher->GetNextEvent();
  if (info == nullptr) return std::nullopt;
  Event event = CopyEvent(*info);
  launcher->FreeEvent(info);
  if ((IsPingResult(event) || IsQueryResult(event)) && outstanding > 0 && --outstanding == 0) {
    // The workers have reported and are about to end. Their handles would pile up.
    launcher->WaitForThreads();
  }
  return event;
}

std::string LauncherClient::Take(IString* text) {
  if (text == nullptr) throw std::runtime_error("out of memory");
  std::string copy = ToUtf8(text->GetString());
  launcher->FreeString(text);
  return copy;
}

void LauncherClient::PostEvent(const Event& event) {
  std::array<std::wstring, 8> wide;
  for (std::size_t i = 0; i < wide.size(); ++i) wide[i] = ToWide(event.arguments[i]);
  launcher->PostEvent(ToWide(event.source).c_str(), ToWide(event.name).c_str(), wide[0].c_str(),
                      wide[1].c_str(), wide[2].c_str(), wide[3].c_str(), wide[4].c_str(),
                      wide[5].c_str(), wide[6].c_str(), wide[7].c_str());
}

void LauncherClient::PingBatch(const std::string& batchId,
                               const std::vector<std::string>& addresses) {
  std::vector<std::wstring> wide;
  wide.reserve(addresses.size());
  for (const std::string& address : addresses) wide.push_back(ToWide(address));
  std::vector<const wchar_t*> pointers;
  pointers.reserve(wide.size());
  for (const std::wstring& address : wide) pointers.push_back(address.c_str());
  launcher->PingBatch(ToWide(batchId).c_str(), pointers.data(), pointers.size());
  ++outstanding;
}

bool LauncherClient::IsInstalled(const std::string& appId) {
  return launcher->IsInstalled(ToWide(appId).c_str());
}

std::string LauncherClient::GetVersion(const std::string& appId) {
  return Take(launcher->GetVersion(ToWide(appId).c_str()));
}

std::string LauncherClient::GetParameter(const std::string& appId, const std::string& key) {
  return Take(launcher->GetParameter(ToWide(appId).c_str(), ToWide(key).c_str()));
}

std::string LauncherClient::GetExtraArguments(const std::string& appId) {
  return Take(launcher->GetExtraArguments(ToWide(appId).c_str()));
}

std::string LauncherClient::GetLauncherVersion() { return Take(launcher->GetLauncherVersion()); }

bool LauncherClient::SendCommand(const std::string& appId, const std::string& command,
                                 const std::array<std::string, 4>& arguments) {
  return launcher->SendCommand(ToWide(appId).c_str(), ToWide(command).c_str(),
                               ToWide(arguments[0]).c_str(), ToWide(arguments[1]).c_str(),
                               ToWide(arguments[2]).c_str(), ToWide(arguments[3]).c_str());
}

bool LauncherClient::Kill(const std::string& appId) {
  return launcher->Kill(ToWide(appId).c_str(), false);
}

bool LauncherClient::Launch(const std::string& appId, const std::string& commandLine, bool flag) {
  return launcher->Launch(ToWide(appId).c_str(), ToWide(commandLine).c_str(), flag, L"", L"", L"",
                          L"");
}

bool LauncherClient::IsRunning(const std::string& appId) {
  return launcher->IsRunning(ToWide(appId).c_str());
}

bool LauncherClient::SetParameter(const std::string& appId, const std::string& key,
                                  const std::string& value) {
  return launcher->SetParameter(ToWide(appId).c_str(), ToWide(key).c_str(), ToWide(value).c_str());
}

void LauncherClient::QueryServer(const std::string& requestId, const std::string& requestText,
                                 const std::string& gameId, const std::string& address,
                                 std::uint16_t port) {
  launcher->QueryServer(ToWide(requestId).c_str(), ToWide(requestText).c_str(),
                        ToWide(gameId).c_str(), ToWide(address).c_str(), port);
  ++outstanding;
}

void LauncherClient::PollApps() { launcher->PollApps(); }

}  // namespace host
