// A host compiled for Microsoft's C++ ABI on the wrapper, linked to the import library: lists the
// applications and posts an event to itself. It needs neither Visual Studio nor a Windows SDK, only
// clang and lld, so it declares the calls of Windows that it makes and begins without a C run-time. A
// host built with Visual Studio includes <windows.h> and has a main() instead; the launcher's part is
// the same. Both link launcher.lib of the SDK.
#include <launcher/launcher.hpp>

extern "C" {
using Handle = void*;
__declspec(dllimport) Handle GetStdHandle(unsigned long stream);
__declspec(dllimport) int WriteFile(Handle file, const void* bytes, unsigned long size,
                                    unsigned long* written, void* overlapped);
__declspec(dllimport) int WideCharToMultiByte(unsigned int codePage, unsigned long flags,
                                              const wchar_t* text, int length, char* bytes,
                                              int capacity, const char* defaultCharacter,
                                              int* usedDefault);
__declspec(dllimport) void ExitProcess(unsigned int code);
}

namespace {

constexpr unsigned int kUtf8 = 65001;
constexpr unsigned long kStandardOutput = static_cast<unsigned long>(-11);

// Up to 512 bytes; longer texts are left out.
void Print(const wchar_t* text) {
  char bytes[512];
  const int size = WideCharToMultiByte(kUtf8, 0, text, -1, bytes, sizeof(bytes), nullptr, nullptr);
  unsigned long written = 0;
  if (size > 1) WriteFile(GetStdHandle(kStandardOutput), bytes, size - 1, &written, nullptr);
}

void ListApplications(launcher_host::Launcher& launcher) {
  for (const wchar_t* const app : launcher_host::app::kAll) {
    Print(app);
    Print(L": ");
    Print(launcher.GetVersion(app).Wide());
    Print(L"\n");
  }
}

bool PrintEvent(const launcher_host::Event& event) {
  Print(L"event ");
  Print(event.Name());
  Print(L" from ");
  Print(event.Source());
  Print(L": ");
  Print(event.Argument(0));
  Print(L"\n");
  return true;
}

unsigned int Run() {
  launcher_host::LoadError error;
  launcher_host::Launcher launcher = launcher_host::Launcher::Linked(error);
  if (!launcher) return 1;
  ListApplications(launcher);

  launcher.PostEvent(L"microsoft-abi-host", L"Hello", L"world");
  launcher_host::LoopOptions options;
  options.limitMsec = 10000;
  return launcher.Run(options, PrintEvent) == launcher_host::LoopEnd::kHandled ? 0 : 1;
}

}  // namespace

extern "C" void HostMain() { ExitProcess(Run()); }
