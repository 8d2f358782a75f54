// The one setting that is read from the store client's own file.

// The order matters.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <objbase.h>
#include <shlobj.h>
// clang-format on

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>

#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/temp_directory.h"
#include "tests/support/text.h"

namespace test_support {
namespace {

constexpr wchar_t kId[] = L"OSTREL-APP";
constexpr wchar_t kSetting[] = L"OstrelLocalHostEnabled";

constexpr GUID kRoamingAppData = {
    0x3EB685DB, 0x65F9, 0x4CF6, {0xA0, 0x3A, 0xE3, 0xEF, 0x65, 0x72, 0x9F, 0x3D}};

wchar_t* ComTextOf(const std::wstring& text) {
  auto* const memory = static_cast<wchar_t*>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
  return std::wmemcpy(memory, text.c_str(), text.size() + 1);
}

/// Makes a directory of the test's own the roaming application-data folder.
class RoamingFolder {
 public:
  explicit RoamingFolder(HMODULE module)
      : hook(module, [this](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) {
          *path = ComTextOf(directory.Path());
          return S_OK;
        }) {}

  void WriteSettings(std::string_view bytes) const {
    directory.WriteFile(L"Ostrel\\local.xml", bytes);
  }
  std::string ParseFailureLine() const {
    return "OstrelApp::IsOstrelLocalHostEnabled: Failed to parse Ostrel xml from path " +
           Narrow(directory.Path()) + "\\Ostrel\\local.xml\n";
  }

 private:
  TempDirectory directory;
  IMPORT_HOOK(SHGetKnownFolderPath) hook;
};

struct Settings {
  const char* what;
  std::string bytes;
  const wchar_t* expected;
};

std::ostream& operator<<(std::ostream& out, const Settings& settings) {
  return out << settings.what;
}

const Settings kReadable[] = {
    {"false", R"(<s><e key="LocalHostEnabled" value="false"/></s>)", L"false"},
    {"true", R"(<s><e key="LocalHostEnabled" value="true"/></s>)", L"true"},
    {"capitals", R"(<s><e key="LocalHostEnabled" value="FALSE"/></s>)", L"true"},
    {"one capital", R"(<s><e key="LocalHostEnabled" value="False"/></s>)", L"true"},
    {"digit", R"(<s><e key="LocalHostEnabled" value="0"/></s>)", L"true"},
    {"empty value", R"(<s><e key="LocalHostEnabled" value=""/></s>)", L"true"},
    {"blank before", R"(<s><e key="LocalHostEnabled" value=" false"/></s>)", L"true"},
    {"blank after", R"(<s><e key="LocalHostEnabled" value="false "/></s>)", L"true"},
    {"character reference", R"(<s><e key="LocalHostEnabled" value="f&#97;lse"/></s>)", L"false"},
    {"no such setting", R"(<s><e key="Other" value="false"/></s>)", L"true"},
    {"small letters", R"(<s><e key="localhostenabled" value="false"/></s>)", L"true"},
    {"longer name", R"(<s><e key="LocalHostEnabled2" value="false"/></s>)", L"true"},
    {"shorter name", R"(<s><e key="LocalHost" value="false"/></s>)", L"true"},
    {"no key", R"(<s><e value="false"/></s>)", L"true"},
    {"key in capitals", R"(<s><e KEY="LocalHostEnabled" value="false"/></s>)", L"true"},
    {"no value", R"(<s><e key="LocalHostEnabled"/></s>)", L"true"},
    {"value in capitals", R"(<s><e key="LocalHostEnabled" VALUE="false"/></s>)", L"true"},
    {"value as text", R"(<s><e key="LocalHostEnabled">false</e></s>)", L"true"},
    {"other attributes, other order",
     R"(<s><e a="1" value="false" b="2" key="LocalHostEnabled" c="3"/></s>)", L"false"},
    {"element of any name", R"(<s><Anything key="LocalHostEnabled" value="false"/></s>)", L"false"},
    {"first of several decides, false",
     R"(<s><e key="LocalHostEnabled" value="false"/><e key="LocalHostEnabled" value="true"/></s>)",
     L"false"},
    {"first of several decides, true",
     R"(<s><e key="LocalHostEnabled" value="true"/><e key="LocalHostEnabled" value="false"/></s>)",
     L"true"},
    {"first of several decides, no value",
     R"(<s><e key="LocalHostEnabled"/><e key="LocalHostEnabled" value="false"/></s>)", L"true"},
    {"last of many",
     R"(<s><a key="1"/><b/><c key="x" value="y"/><e key="LocalHostEnabled" )"
     R"(value="false"/></s>)",
     L"false"},
    {"texts between the elements",
     "<s>\n  text\n  <e key=\"Other\" value=\"1\"/>\n  more &amp; more\n"
     "  <e key=\"LocalHostEnabled\" value=\"false\"/>\n</s>\n",
     L"false"},
    {"comments, instructions and sections between the elements",
     "<s><!-- key=\"LocalHostEnabled\" value=\"true\" --><?do it?><![CDATA[<e/>]]>"
     "<e key=\"LocalHostEnabled\" value=\"false\"/></s>",
     L"false"},
    {"nested elements do not count",
     R"(<s><group><e key="LocalHostEnabled" value="false"/></group></s>)", L"true"},
    {"nested elements before it",
     R"(<s><group><e key="LocalHostEnabled" value="true"/></group>)"
     R"(<e key="LocalHostEnabled" value="false"><x/></e></s>)",
     L"false"},
    {"document element does not count", R"(<s key="LocalHostEnabled" value="false"/>)", L"true"},
    {"empty document element", "<s/>", L"true"},
    {"empty document element with an end", "<s></s>", L"true"},
    {"declaration",
     R"(<?xml version="1.0" encoding="UTF-8"?><s><e key="LocalHostEnabled" value="false"/></s>)",
     L"false"},
    {"byte-order mark",
     "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
     "<s><e key=\"LocalHostEnabled\" value=\"false\"/></s>\r\n",
     L"false"},
    {"comment before the document element",
     R"(<!-- a --><s><e key="LocalHostEnabled" value="false"/></s><!-- b -->)", L"false"},
};

class AppsStoreSettings : public testing::TestWithParam<Settings> {};

INSTANTIATE_TEST_SUITE_P(Readable, AppsStoreSettings, testing::ValuesIn(kReadable));

TEST_P(AppsStoreSettings, AreReadWithoutALine) {
  DllHost host;
  const RoamingFolder folder(host.Module());
  folder.WriteSettings(GetParam().bytes);
  std::wstring enabled;
  EXPECT_EQ(LogOf([&] { enabled = host.GetParameter(kId, kSetting); }), "");
  EXPECT_EQ(enabled, GetParam().expected);
}

class AppsStoreBadSettings : public testing::TestWithParam<Settings> {};

INSTANTIATE_TEST_SUITE_P(
    Malformed, AppsStoreBadSettings,
    testing::Values(
        Settings{"empty file", "", L"false"},
        Settings{"no document element", "<!-- nothing -->", L"false"},
        Settings{"text alone", "false", L"false"},
        Settings{"end missing", R"(<s><e key="LocalHostEnabled" value="true"/>)", L"false"},
        Settings{"wrong end", R"(<s><e key="LocalHostEnabled" value="true"></s></e>)", L"false"},
        Settings{"two document elements", "<s/><s/>", L"false"},
        Settings{"quotes missing", "<s><e key=LocalHostEnabled value=true/></s>", L"false"}));

TEST_P(AppsStoreBadSettings, MeanDisabledWithALine) {
  DllHost host;
  const RoamingFolder folder(host.Module());
  folder.WriteSettings(GetParam().bytes);
  std::wstring enabled;
  EXPECT_EQ(LogOf([&] { enabled = host.GetParameter(kId, kSetting); }), folder.ParseFailureLine());
  EXPECT_EQ(enabled, GetParam().expected);
}

TEST(AppsStoreSettingsFile, MissingMeansDisabledWithALine) {
  DllHost host;
  const RoamingFolder folder(host.Module());
  std::wstring enabled;
  EXPECT_EQ(LogOf([&] { enabled = host.GetParameter(kId, kSetting); }), folder.ParseFailureLine());
  EXPECT_EQ(enabled, L"false");
}

// The store client's file where it really lies, beside one that may be there.
TEST(AppsStoreSettingsFile, LiesInTheRoamingApplicationData) {
  PWSTR path = nullptr;
  ASSERT_EQ(SHGetKnownFolderPath(kRoamingAppData, 0, nullptr, &path), S_OK);
  const std::filesystem::path folder = std::filesystem::path(path) / L"Ostrel";
  CoTaskMemFree(path);
  ASSERT_FALSE(std::filesystem::exists(folder)) << "a store client is installed here";
  std::filesystem::create_directories(folder);
  const TempDirectory directory;
  std::filesystem::copy_file(
      directory.WriteFile(L"local.xml", R"(<s><e key="LocalHostEnabled" value="true"/></s>)"),
      folder / L"local.xml");
  DllHost host;
  EXPECT_EQ(host.GetParameter(kId, kSetting), L"true");
  std::filesystem::remove_all(folder);
  EXPECT_EQ(host.GetParameter(kId, kSetting), L"false");
}

TEST(AppsStoreSettingsFile, UnknownFolderMeansDisabledWithALine) {
  DllHost host;
  IMPORT_HOOK(SHGetKnownFolderPath)
  folders(host.Module(), [](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) {
    *path = nullptr;
    return E_FAIL;
  });
  IMPORT_HOOK(CoInitialize) starts(host.Module());
  IMPORT_HOOK(CoCreateInstance) creations(host.Module());
  IMPORT_HOOK(CoUninitialize) ends(host.Module());
  IMPORT_HOOK(CoTaskMemFree) frees(host.Module());
  std::wstring enabled;
  EXPECT_EQ(LogOf([&] { enabled = host.GetParameter(kId, kSetting); }),
            "OstrelApp::IsOstrelLocalHostEnabled: Failed to get the known folder for Ostrel lookup "
            "(FOLDERID_RoamingAppData)\n");
  EXPECT_EQ(enabled, L"false");
  EXPECT_EQ(starts.CallCount(), 0U);
  EXPECT_EQ(creations.CallCount(), 0U);
  EXPECT_EQ(ends.CallCount(), 0U);
  EXPECT_EQ(frees.CallCount(), 0U);
}

TEST(AppsStoreSettingsName, IsComparedExactly) {
  DllHost host;
  IMPORT_HOOK(SHGetKnownFolderPath) folders(host.Module());
  for (const wchar_t* const name : {L"ostrellocalhostenabled", L"OstrelLocalHostEnable",
                                    L"OstrelLocalHostEnabled ", L"OSTRELLOCALHOSTENABLED"}) {
    std::wstring value = L"untouched";
    EXPECT_EQ(LogOf([&] { value = host.GetParameter(kId, name); }),
              "BaseApp::GetParameter: Parameter " + Narrow(name) + " not set, returning empty\n");
    EXPECT_EQ(value, L"");
  }
  EXPECT_EQ(folders.CallCount(), 0U);
}

TEST(AppsStoreSettingsName, IsComputedWhateverWasSet) {
  DllHost host;
  const RoamingFolder folder(host.Module());
  folder.WriteSettings(R"(<s><e key="LocalHostEnabled" value="false"/></s>)");
  host->SetParameter(kId, kSetting, L"set by the host");
  EXPECT_EQ(host.GetParameter(kId, kSetting), L"false");
  // A game's is a parameter like any other.
  host->SetParameter(L"SOLANO-GAME", kSetting, L"set by the host");
  EXPECT_EQ(host.GetParameter(L"SOLANO-GAME", kSetting), L"set by the host");
}

}  // namespace
}  // namespace test_support
