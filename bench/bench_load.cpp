// Measures loading the DLL, making a launcher, destroying it and freeing the DLL.
#include <windows.h>

#include <string>

#include "bench/measure.h"
#include "tests/support/dll_host.h"

namespace {

void Notify(void*) {}

template <typename Function>
Function Resolve(HMODULE module, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

int main() {
  // The system DLLs stay loaded, so that only the two DLLs themselves are compared.
  const HMODULE kept = LoadLibraryW(test_support::LauncherDllPath().c_str());
  const std::wstring baselinePath = test_support::ProgramDirectory() + L"\\bench_baseline.dll";
  const HMODULE keptBaseline = LoadLibraryW(baselinePath.c_str());
  if (kept == nullptr || keptBaseline == nullptr) return 1;
  for (const wchar_t* const name : {L"advapi32.dll", L"ole32.dll", L"oleaut32.dll", L"shell32.dll",
                                    L"user32.dll", L"ws2_32.dll"}) {
    LoadLibraryW(name);
  }
  FreeLibrary(kept);
  FreeLibrary(keptBaseline);

  const auto baseline = [&] {
    const HMODULE module = LoadLibraryW(baselinePath.c_str());
    Resolve<void (*)()>(module, "CreateAndDestroy")();
    FreeLibrary(module);
  };
  const std::wstring path = test_support::LauncherDllPath();
  const auto ours = [&] {
    const HMODULE module = LoadLibraryW(path.c_str());
    const auto create =
        Resolve<test_support::LauncherDll::CreateFunction>(module, "CreateLauncher");
    const auto destroy =
        Resolve<test_support::LauncherDll::DestroyFunction>(module, "DestroyLauncher");
    destroy(create(nullptr, Notify));
    FreeLibrary(module);
  };
  const bench::Comparison comparison = bench::Compare(baseline, 10, ours, 10, 31);
  bench::PrintRatio("LoadLibrary, CreateLauncher, DestroyLauncher, FreeLibrary",
                    "a DLL with the same imports and system calls", comparison, 1.2);
  return 0;
}
