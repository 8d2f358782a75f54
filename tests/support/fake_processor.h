// A processor that a test makes up.
#ifndef LAUNCHER_TESTS_SUPPORT_FAKE_PROCESSOR_H_
#define LAUNCHER_TESTS_SUPPORT_FAKE_PROCESSOR_H_

#include "tests/support/import_redirector.h"

namespace test_support {

/// What a module takes the computer's processor for.
class FakeProcessor {
 public:
  FakeProcessor(HMODULE module, WORD architecture) : systemInfo(module) {
    systemInfo.SetReplacement([this, architecture](SYSTEM_INFO* info) {
      systemInfo.CallOriginal(info);
      info->wProcessorArchitecture = architecture;
    });
  }

 private:
  IMPORT_HOOK(GetNativeSystemInfo) systemInfo;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_FAKE_PROCESSOR_H_
