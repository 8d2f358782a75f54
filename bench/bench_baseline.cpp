// The DLL that loading the launcher is measured against: it imports from the same system DLLs, and
// its one function makes the system calls that a launcher's construction and destruction need, with
// the texts ready-made.
#include <winsock2.h>
// winsock2.h first.
#include <windows.h>
// windows.h first.
#include <objbase.h>
#include <oleauto.h>
#include <shellapi.h>

namespace {

// As long as the line of an application that goes.
constexpr char kLine[] = "BaseApp::~BaseApp: Destroying instance 0000000000C95BC0\n";
constexpr char kProcess[] = "Plugin process ID: 1234";
constexpr int kLines = 10;

void Write(DWORD stream, const char* text, DWORD size) {
  DWORD written = 0;
  WriteFile(GetStdHandle(stream), text, size, &written, nullptr);
}

}  // namespace

extern "C" __declspec(dllexport) void CreateAndDestroy();

extern "C" void CreateAndDestroy() {
  wchar_t value[MAX_PATH];
  GetEnvironmentVariableW(L"KOVLAUNCH_DEBUG", value, MAX_PATH);
  Write(STD_OUTPUT_HANDLE, kProcess, sizeof(kProcess) - 1);
  WSADATA data;
  static_cast<void>(WSAStartup(MAKEWORD(2, 0), &data));
  CRITICAL_SECTION lock;
  InitializeCriticalSection(&lock);
  PostMessageW(HWND_BROADCAST,
               RegisterWindowMessageW(L"message_{1643519B-1136-4b1e-BA3A-0F8F66D2E13A}_162"), 5, 0);
  for (int i = 0; i < kLines; ++i) Write(STD_ERROR_HANDLE, kLine, sizeof(kLine) - 1);
  DeleteCriticalSection(&lock);
}

// Never called: so that the same system DLLs are imported.
extern "C" __declspec(dllexport) void ImportTheRest(SHELLEXECUTEINFOW* info);

extern "C" void ImportTheRest(SHELLEXECUTEINFOW* info) {
  ShellExecuteExW(info);
  CoTaskMemFree(info);
  SysFreeString(nullptr);
  RegCloseKey(nullptr);
}
