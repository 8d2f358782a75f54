// send_ctrl_c <process id>: presses Ctrl+C in the console of another process.
//
// A program of its own, because Ctrl+C reaches every process of a console: a test would have to
// leave its own console, and would be interrupted, too.

#include <windows.h>

#include <cstdlib>

namespace {

BOOL WINAPI Ignore(DWORD /*type*/) { return TRUE; }

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const auto processId = static_cast<DWORD>(std::strtoul(argv[1], nullptr, 10));
  FreeConsole();
  if (!AttachConsole(processId)) return 1;
  SetConsoleCtrlHandler(Ignore, TRUE);
  return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) ? 0 : 1;
}
