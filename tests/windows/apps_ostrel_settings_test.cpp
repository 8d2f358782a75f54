#include <gtest/gtest.h>

#include "apps/ostrel_settings.h"

// The order matters.
// clang-format off
#include <windows.h>
#include <oleauto.h>
#include <shlobj.h>
// clang-format on

#include "tests/support/import_redirector.h"

namespace launcher {
namespace {

// The read begins with the text of the file's path; no memory for it is COM's error.
TEST(OstrelSettings, LackOfMemoryIsComsError) {
  IMPORT_HOOK(SysAllocStringLen) texts(GetModuleHandleW(nullptr));
  texts.FailAlways(nullptr);
  HRESULT result = S_OK;
  try {
    IsOstrelLocalHostEnabled();
  } catch (const ComError& error) {
    result = error.result;
  }
  EXPECT_EQ(result, static_cast<HRESULT>(0x8007000E));
}

}  // namespace
}  // namespace launcher
