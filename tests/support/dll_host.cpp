#include "tests/support/dll_host.h"

#include <ostream>
#include <stdexcept>

#include "tests/support/text.h"

namespace test_support {
namespace {

HMODULE Load(const std::wstring& path) {
  const HMODULE module = LoadLibraryW(path.c_str());
  if (module == nullptr) ThrowLastError("LoadLibraryW of " + Narrow(path));
  return module;
}

template <typename Pointer>
Pointer Resolve(HMODULE module, const char* name) {
  void* const address = reinterpret_cast<void*>(GetProcAddress(module, name));
  if (address == nullptr) ThrowLastError(std::string("GetProcAddress of ") + name);
  return reinterpret_cast<Pointer>(address);
}

// How often a host with a timer would poll the applications.
constexpr DWORD kPollIntervalMs = 10;

}  // namespace

std::wstring ProgramDirectory() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path.substr(0, path.rfind(L'\\'));
}

std::wstring LauncherDllPath() {
  std::wstring path(32768, L'\0');
  path.resize(
      GetEnvironmentVariableW(L"LAUNCHER_DLL", path.data(), static_cast<DWORD>(path.size())));
  if (!path.empty()) return path;
  const std::wstring directory = ProgramDirectory();
  return directory.substr(0, directory.rfind(L'\\')) + L"\\launcher.dll";
}

LauncherDll::LauncherDll() : LauncherDll(LauncherDllPath()) {}

LauncherDll::LauncherDll(const std::wstring& path)
    : module(Load(path)),
      createLauncher(Resolve<CreateFunction>(module, "CreateLauncher")),
      destroyLauncher(Resolve<DestroyFunction>(module, "DestroyLauncher")),
      abiVersion(Resolve<const unsigned int*>(module, "g_LauncherABIVersion")),
      version(Resolve<const wchar_t*>(module, "g_LauncherVersion")) {}

LauncherDll::~LauncherDll() { FreeLibrary(module); }

Notifier::Notifier() : called(MakeAutoResetEvent()) {}

void Notifier::Callback(void* plugin) {
  auto& self = *static_cast<Notifier*>(plugin);
  std::function<void()> work;
  {
    const std::lock_guard guard(self.mutex);
    self.threadIds.push_back(GetCurrentThreadId());
    work = self.insideCall;
  }
  // Outside the mutex: the work may post, which calls back into this function.
  if (work) work();
  SetEvent(self.called.Get());
}

int Notifier::CallCount() const {
  const std::lock_guard guard(mutex);
  return static_cast<int>(threadIds.size());
}

std::vector<DWORD> Notifier::ThreadIds() const {
  const std::lock_guard guard(mutex);
  return threadIds;
}

void Notifier::Forget() {
  const std::lock_guard guard(mutex);
  threadIds.clear();
}

void Notifier::SetInsideCall(std::function<void()> work) {
  const std::lock_guard guard(mutex);
  insideCall = std::move(work);
}

std::ostream& operator<<(std::ostream& out, const Event& event) {
  out << Narrow(event.name) << " from \"" << Narrow(event.source) << "\" (";
  for (const std::wstring& argument : event.arg) out << '"' << Narrow(argument) << "\" ";
  return out << ')';
}

Event TakeEvent(ILauncher& launcher, IEventInfo* info) {
  Event event{info->GetSource(),
              info->GetName(),
              {info->GetArg0(), info->GetArg1(), info->GetArg2(), info->GetArg3(), info->GetArg4(),
               info->GetArg5(), info->GetArg6(), info->GetArg7()}};
  launcher.FreeEvent(info);
  return event;
}

std::wstring TakeText(ILauncher& launcher, IString* text) {
  if (text == nullptr) return L"<null>";
  std::wstring copy = text->GetString();
  launcher.FreeString(text);
  return copy;
}

DllHost::DllHost() { Create(); }

DllHost::DllHost(Creation) {}

DllHost::~DllHost() { Destroy(); }

void DllHost::Create() {
  launcher = dll.createLauncher(&notifier, &Notifier::Callback);
  if (launcher == nullptr) throw std::runtime_error("CreateLauncher returned null");
}

void DllHost::Destroy() {
  if (launcher != nullptr) dll.destroyLauncher(launcher);
  launcher = nullptr;
}

std::wstring DllHost::GetVersion(const wchar_t* appId) {
  return TakeText(*launcher, launcher->GetVersion(appId));
}

std::wstring DllHost::GetParameter(const wchar_t* appId, const wchar_t* key) {
  return TakeText(*launcher, launcher->GetParameter(appId, key));
}

std::wstring DllHost::GetExtraArguments(const wchar_t* appId) {
  return TakeText(*launcher, launcher->GetExtraArguments(appId));
}

std::wstring DllHost::GetLauncherVersion() {
  return TakeText(*launcher, launcher->GetLauncherVersion());
}

void DllHost::Post(const wchar_t* source, const wchar_t* name, const wchar_t* arg0) {
  launcher->PostEvent(source, name, arg0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                      nullptr);
}

std::vector<Event> DllHost::Drain() {
  std::vector<Event> events;
  while (IEventInfo* const info = launcher->GetNextEvent()) {
    events.push_back(TakeEvent(*launcher, info));
  }
  return events;
}

std::optional<Event> DllHost::WaitForEvent(const std::wstring& name, DWORD timeoutMs,
                                           Polling polling) {
  const ULONGLONG deadline = GetTickCount64() + timeoutMs;
  for (;;) {
    if (polling == Polling::kPollApps) launcher->PollApps();
    while (IEventInfo* const info = launcher->GetNextEvent()) {
      Event event = TakeEvent(*launcher, info);
      if (event.name == name) return event;
    }
    const ULONGLONG now = GetTickCount64();
    if (now >= deadline) return std::nullopt;
    const auto left = static_cast<DWORD>(deadline - now);
    const DWORD wait =
        polling == Polling::kPollApps && left > kPollIntervalMs ? kPollIntervalMs : left;
    WaitForSingleObject(notifier.CalledEvent(), wait);
  }
}

}  // namespace test_support
