// A host compiled for Microsoft's C++ ABI, linked to the import library: lists the applications and
// posts an event to itself. It needs neither Visual Studio nor a Windows SDK, only clang and lld, so
// it declares the calls of Windows that it makes and begins without a C run-time. A host built with
// Visual Studio includes <windows.h> and has a main() instead; the launcher's part is the same.
#include <launcher/launcher.h>

extern "C" {
using Handle = void*;
__declspec(dllimport) Handle GetStdHandle(unsigned long stream);
__declspec(dllimport) int WriteFile(Handle file, const void* bytes, unsigned long size,
                                    unsigned long* written, void* overlapped);
__declspec(dllimport) int WideCharToMultiByte(unsigned int codePage, unsigned long flags,
                                              const wchar_t* text, int length, char* bytes,
                                              int capacity, const char* defaultCharacter,
                                              int* usedDefault);
__declspec(dllimport) Handle
    CreateEventW(void* security, int manualReset, int signalled, const wchar_t* name);
__declspec(dllimport) int SetEvent(Handle event);
__declspec(dllimport) unsigned long WaitForSingleObject(Handle handle, unsigned long msec);
__declspec(dllimport) int CloseHandle(Handle handle);
__declspec(dllimport) void ExitProcess(unsigned int code);
}

namespace {

constexpr unsigned int kContract = 1;
constexpr unsigned int kUtf8 = 65001;
constexpr unsigned long kStandardOutput = static_cast<unsigned long>(-11);
constexpr unsigned long kPatienceMsec = 10000;

constexpr const wchar_t* kApps[] = {
    L"TAVR-GAME",   L"TAMSIN-BETA2-GAME", L"TAMSIN-MAINLINE-GAME", L"TAMSIN-CTE-GAME",
    L"BRENNA-GAME", L"BRENNA-CTE-GAME",   L"SOLANO-GAME",          L"OSTREL-APP"};

// Up to 512 bytes; longer texts are left out.
void Print(const wchar_t* text) {
  char bytes[512];
  const int size = WideCharToMultiByte(kUtf8, 0, text, -1, bytes, sizeof(bytes), nullptr, nullptr);
  unsigned long written = 0;
  if (size > 1) WriteFile(GetStdHandle(kStandardOutput), bytes, size - 1, &written, nullptr);
}

// Runs on the thread that queued the event, so it only wakes the host's own.
void OnEvent(void* wake) { SetEvent(wake); }

void ListApplications(ILauncher& launcher) {
  for (const wchar_t* const app : kApps) {
    IString* const version = launcher.GetVersion(app);
    if (version == nullptr) continue;  // out of memory
    Print(app);
    Print(L": ");
    Print(version->GetString());
    Print(L"\n");
    launcher.FreeString(version);
  }
}

void DrainEvents(ILauncher& launcher) {
  while (IEventInfo* const event = launcher.GetNextEvent()) {
    Print(L"event ");
    Print(event->GetName());
    Print(L" from ");
    Print(event->GetSource());
    Print(L": ");
    Print(event->GetArg0());
    Print(L"\n");
    launcher.FreeEvent(event);
  }
}

unsigned int Run() {
  if (g_LauncherABIVersion != kContract) return 1;
  const Handle wake = CreateEventW(nullptr, 0, 0, nullptr);
  ILauncher* const launcher = CreateLauncher(wake, OnEvent);
  if (launcher == nullptr) return 1;
  ListApplications(*launcher);

  launcher->PostEvent(L"microsoft-abi-host", L"Hello", L"world", nullptr, nullptr, nullptr, nullptr,
                      nullptr, nullptr, nullptr);
  const bool woken = WaitForSingleObject(wake, kPatienceMsec) == 0;
  DrainEvents(*launcher);

  DestroyLauncher(launcher);
  CloseHandle(wake);
  return woken ? 0 : 1;
}

}  // namespace

extern "C" void HostMain() { ExitProcess(Run()); }
