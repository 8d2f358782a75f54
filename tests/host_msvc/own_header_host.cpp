// A host with a header of its own, in which the destructors are virtual: what its compiler makes of
// `delete` has to meet the library's slots.
#include "tests/host_msvc/checks.h"

namespace host_msvc {
namespace own_header {

using Text = const wchar_t*;

class String {
 public:
  virtual Text GetString() = 0;
  virtual ~String() = 0;
};

class EventInfo {
 public:
  virtual Text GetSource() = 0;
  virtual Text GetName() = 0;
  virtual Text GetArg0() = 0;
  virtual Text GetArg1() = 0;
  virtual Text GetArg2() = 0;
  virtual Text GetArg3() = 0;
  virtual Text GetArg4() = 0;
  virtual Text GetArg5() = 0;
  virtual Text GetArg6() = 0;
  virtual Text GetArg7() = 0;
};

class Launcher {
 public:
  virtual void PostEvent(Text source, Text name, Text arg0, Text arg1, Text arg2, Text arg3,
                         Text arg4, Text arg5, Text arg6, Text arg7) = 0;
  virtual EventInfo* GetNextEvent() = 0;
  virtual void FreeEvent(EventInfo* event) = 0;
  virtual void FreeString(String* string) = 0;
  virtual void WaitForThreads() = 0;
  virtual bool PingBatch(Text batchId, const Text* addresses, unsigned long long count) = 0;
  virtual bool IsInstalled(Text appId) = 0;
  virtual String* GetVersion(Text appId) = 0;
  virtual String* GetParameter(Text appId, Text key) = 0;
  virtual String* GetExtraArguments(Text appId) = 0;
  virtual String* GetLauncherVersion() = 0;
  virtual bool SendCommand(Text appId, Text command, Text arg0, Text arg1, Text arg2,
                           Text arg3) = 0;
  virtual bool Kill(Text appId, bool flag) = 0;
  virtual bool Launch(Text appId, Text text0, bool flag, Text text1, Text text2, Text text3,
                      Text text4) = 0;
  virtual bool IsRunning(Text appId) = 0;
  virtual bool SetParameter(Text appId, Text key, Text value) = 0;
  virtual void QueryServer(Text requestId, Text requestText2, Text gameIdText, Text address,
                           unsigned int port) = 0;
  virtual void PollApps() = 0;
  virtual ~Launcher() = 0;
};

extern "C" __declspec(dllimport) Launcher* CreateLauncher(void* plugin, void (*notifier)(void*));

}  // namespace own_header

unsigned int CheckOwnHeader() {
  own_header::Launcher* const launcher = own_header::CreateLauncher(&notifications, Count);
  if (const unsigned int failed = CheckSlots(launcher)) return 20 + failed;
  delete launcher->GetLauncherVersion();
  delete launcher;
  return 0;
}

}  // namespace host_msvc
