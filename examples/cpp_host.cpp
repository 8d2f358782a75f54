// A host in C++, linked to the import library: lists the applications and times the loopback address.
#include <launcher/launcher.h>

#include <cstdio>
#include <iterator>
#include <memory>

#include <windows.h>

namespace {

constexpr const wchar_t* kApps[] = {
    L"TAVR-GAME",   L"TAMSIN-BETA2-GAME", L"TAMSIN-MAINLINE-GAME", L"TAMSIN-CTE-GAME",
    L"BRENNA-GAME", L"BRENNA-CTE-GAME",   L"SOLANO-GAME",          L"OSTREL-APP"};

struct LauncherDeleter {
  void operator()(ILauncher* launcher) const { DestroyLauncher(launcher); }
};
using LauncherPointer = std::unique_ptr<ILauncher, LauncherDeleter>;

// Runs on the thread that queued the event, so it only wakes the host's own.
void OnEvent(void* wake) { SetEvent(wake); }

void ListApplications(ILauncher& launcher) {
  for (const wchar_t* const app : kApps) {
    IString* const version = launcher.GetVersion(app);
    if (version == nullptr) continue;  // out of memory
    std::printf("%-22ls %ls\n", app, version->GetString());
    launcher.FreeString(version);
  }
}

// Returns whether a result arrived.
bool DrainEvents(ILauncher& launcher) {
  bool arrived = false;
  while (IEventInfo* const event = launcher.GetNextEvent()) {
    std::printf("%ls for %ls:\n%ls", event->GetName(), event->GetArg0(), event->GetArg1());
    launcher.FreeEvent(event);
    arrived = true;
  }
  return arrived;
}

}  // namespace

int main() {
  constexpr unsigned int kContract = 1;
  if (g_LauncherABIVersion != kContract) {
    std::fprintf(stderr, "launcher.dll has another contract\n");
    return 1;
  }
  const HANDLE wake = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  LauncherPointer launcher(CreateLauncher(wake, OnEvent));
  if (launcher == nullptr) return 1;
  ListApplications(*launcher);

  // Without an installed helper the batch still ends, with a time of 0.
  const wchar_t* const addresses[] = {L"127.0.0.1"};
  launcher->PingBatch(L"first-batch", addresses, std::size(addresses));
  constexpr DWORD kPatienceMsec = 10000;
  WaitForSingleObject(wake, kPatienceMsec);
  const bool arrived = DrainEvents(*launcher);

  launcher.reset();
  CloseHandle(wake);
  return arrived ? 0 : 1;
}
