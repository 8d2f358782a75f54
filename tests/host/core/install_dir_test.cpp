// The lookup of the installation directory, seen through the path at which a ping batch looks for
// its helper program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/dll_host.h"
#include "tests/support/environment_variable.h"
#include "tests/support/import_redirector.h"
#include "tests/support/registry_calls.h"
#include "tests/support/registry_fixture.h"
#include "tests/support/stream_capture.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

using testing::ElementsAre;

constexpr wchar_t kKey[] = L"SOFTWARE\\Vantor Web Plugins";

std::vector<unsigned char> BytesOf(const std::wstring& text) {
  std::vector<unsigned char> bytes(text.size() * sizeof(wchar_t));
  std::memcpy(bytes.data(), text.data(), bytes.size());
  return bytes;
}

class CoreInstallDir : public testing::Test {
 protected:
  // No directory of the tests exists, so the batch names the file that it did not find.
  std::string HelperPath() {
    const StreamCapture errors;
    EXPECT_TRUE(host->PingBatch(L"batch", nullptr, 0));
    host->WaitForThreads();
    const std::string beginning = "AppLauncher::PingThreadProc: wstat of file ";
    const std::string end = " failed";
    for (const std::string& line : Lines(errors.Text())) {
      if (line.starts_with(beginning) && line.ends_with(end)) {
        return line.substr(beginning.size(), line.size() - beginning.size() - end.size());
      }
    }
    return "no line";
  }

  EnvironmentVariable variable{L"KOVLAUNCH_INSTDIR", std::nullopt};
  RegistryFixture registry;
  DllHost host;
};

TEST_F(CoreInstallDir, IsTheVariableAsItStands) {
  for (const wchar_t* const value :
       {L"C:\\no such directory", L"C:\\no such directory\\", L"relative\\no such", L"..\\nowhere",
        L"C:/no/such", L" C:\\blank ", L"C:\\n\u00E9\U0001F600", L"%TEMP%\\nowhere"}) {
    variable.Set(value);
    EXPECT_EQ(HelperPath(), Narrow(std::wstring(value) + L"\\helperx64.exe"));
  }
}

TEST_F(CoreInstallDir, IsAVariableOfAnyLength) {
  for (const std::size_t length : {258u, 259u, 260u, 261u, 262u, 520u, 5000u, 32000u}) {
    const std::wstring value(length, L'x');
    variable.Set(value);
    EXPECT_EQ(HelperPath(), Narrow(value) + "\\helperx64.exe") << length;
  }
}

TEST_F(CoreInstallDir, IsNotReadFromTheRegistryWhenTheVariableExists) {
  registry.SetText(kKey, nullptr, L"C:\\registered");
  IMPORT_HOOK(RegOpenKeyExW) opens(host.Module());
  variable.Set(L"C:\\variable");
  EXPECT_EQ(HelperPath(), "C:\\variable\\helperx64.exe");
  variable.Set(L"");
  EXPECT_EQ(HelperPath(), "\\helperx64.exe");
  EXPECT_EQ(opens.CallCount(), 0u);
}

TEST_F(CoreInstallDir, IsTheDefaultValueOfTheKeyOtherwise) {
  registry.SetText(kKey, nullptr, L"C:\\registered");
  registry.SetText(kKey, L"Install Dir", L"C:\\another value");
  EXPECT_EQ(HelperPath(), "C:\\registered\\helperx64.exe");
}

TEST_F(CoreInstallDir, IsLookedUpAfreshEachTime) {
  registry.SetText(kKey, nullptr, L"C:\\first");
  EXPECT_EQ(HelperPath(), "C:\\first\\helperx64.exe");
  registry.SetText(kKey, nullptr, L"C:\\second");
  EXPECT_EQ(HelperPath(), "C:\\second\\helperx64.exe");
  variable.Set(L"C:\\third");
  EXPECT_EQ(HelperPath(), "C:\\third\\helperx64.exe");
  variable.Set(std::nullopt);
  EXPECT_EQ(HelperPath(), "C:\\second\\helperx64.exe");
}

// 260 bytes hold 129 characters and a terminator. Data of any type is taken as text up to the first
// zero, and nothing is expanded.
TEST_F(CoreInstallDir, IsDataOfAnyShape) {
  ASSERT_FALSE(RegistryKeyExists(kKey));
  EXPECT_EQ(HelperPath(), "\\helperx64.exe");
  registry.CreateKey(kKey);
  EXPECT_EQ(HelperPath(), "\\helperx64.exe");
  std::vector<unsigned char> odd = BytesOf(L"C:\\dir");
  odd.push_back('y');
  const struct {
    DWORD type;
    std::vector<unsigned char> bytes;
    std::string directory;
  } cases[] = {{REG_SZ, BytesOf(std::wstring(129, L'x') + L'\0'), std::string(129, 'x')},
               {REG_SZ, BytesOf(std::wstring(130, L'x') + L'\0'), ""},
               {REG_SZ, BytesOf(std::wstring(200, L'x') + L'\0'), ""},
               {REG_SZ, BytesOf(std::wstring(L"C:\\a\0b\0", 7)), "C:\\a"},
               {REG_SZ, BytesOf(L"C:\\dir"), "C:\\dir"},
               // As much as is asked for, of a type that the system does not terminate.
               {REG_BINARY, BytesOf(std::wstring(130, L'x')), std::string(130, 'x')},
               {REG_BINARY, odd, "C:\\diry"},
               {REG_EXPAND_SZ, BytesOf(L"%TEMP%\\x"), "%TEMP%\\x"}};
  for (const auto& [type, bytes, found] : cases) {
    registry.SetBytes(kKey, nullptr, type, bytes);
    EXPECT_EQ(HelperPath(), found + "\\helperx64.exe");
  }
}

TEST_F(CoreInstallDir, ItsKeyIsClosedAfterASuccessAlone) {
  registry.SetText(kKey, nullptr, L"C:\\registered");
  RegistryCalls calls(host.Module(), 260);
  const std::string open = R"(open SOFTWARE\Vantor Web Plugins)";
  EXPECT_EQ(HelperPath(), "C:\\registered\\helperx64.exe");
  EXPECT_THAT(calls.Take(), ElementsAre(open, "query ", "close"));
  calls.FailQueries(ERROR_FILE_NOT_FOUND, ERROR_SUCCESS);
  EXPECT_EQ(HelperPath(), "\\helperx64.exe");
  EXPECT_THAT(calls.Take(), ElementsAre(open, "query  failed"));
  // It is a key that still works.
  EXPECT_EQ(RegCloseKey(calls.Last()), ERROR_SUCCESS);
  calls.FailOpens(ERROR_ACCESS_DENIED, ERROR_SUCCESS);
  EXPECT_EQ(HelperPath(), "\\helperx64.exe");
  EXPECT_THAT(calls.Take(), ElementsAre(open + " failed"));
}

}  // namespace
}  // namespace test_support
