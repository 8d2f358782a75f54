// How the store client's settings file is read through COM: the calls, their order and their
// failures. A document that the test makes up takes the place of the system's.

#include "tests/host/apps/fake_document.h"

#include <shlobj.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>
#include <string>
#include <tuple>
#include <utility>

#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/log_of.h"
#include "tests/support/temp_directory.h"

namespace test_support {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::Not;

constexpr GUID kDocumentClass = {
    0x2933BF90, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
constexpr GUID kDocumentInterface = {
    0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

constexpr wchar_t kFolder[] = LR"(C:\users\somebody\roaming)";
const std::string kParseFailureLine =
    "OstrelApp::IsOstrelLocalHostEnabled: Failed to parse Ostrel xml from path "
    "C:\\users\\somebody\\roaming\\Ostrel\\local.xml\n";

/// A host whose library gets a document with one setting, LocalHostEnabled="false".
class AppsStoreCom : public testing::Test {
 protected:
  AppsStoreCom() {
    key.text = L"LocalHostEnabled";
    value.text = L"false";
    attributes.items = {{L"key", &key}, {L"value", &value}};
    setting.attributes = &attributes.object;
    document.element.children.next = &setting.object;
    folders.SetReplacement([this](REFKNOWNFOLDERID, DWORD flags, HANDLE token, PWSTR* path) {
      EXPECT_EQ(flags, 0U);
      EXPECT_EQ(token, nullptr);
      steps.emplace_back(L"folder");
      *path = folder = static_cast<wchar_t*>(CoTaskMemAlloc(sizeof(kFolder)));
      std::wmemcpy(*path, kFolder, std::size(kFolder));
      return S_OK;
    });
    starts.SetReplacement([this](void* reserved) {
      EXPECT_EQ(reserved, nullptr);
      steps.emplace_back(L"CoInitialize");
      return startResult;
    });
    creations.SetReplacement(
        [this](REFCLSID type, IUnknown* outer, DWORD context, REFIID interfaceId, void** object) {
          EXPECT_TRUE(IsEqualGUID(type, kDocumentClass));
          EXPECT_EQ(outer, nullptr);
          EXPECT_EQ(context, 23U);
          EXPECT_TRUE(IsEqualGUID(interfaceId, kDocumentInterface));
          steps.emplace_back(L"CoCreateInstance");
          *object = created;
          return createResult;
        });
    ends.SetReplacement([this] { steps.emplace_back(L"CoUninitialize"); });
    frees.SetReplacement([this](void* memory) {
      steps.emplace_back(memory == folder ? L"folder freed" : L"something freed");
      frees.CallOriginal(memory);
    });
  }

  std::wstring Read() { return host.GetParameter(L"OSTREL-APP", L"OstrelLocalHostEnabled"); }

  Steps steps;
  FakeNode key{steps};
  FakeNode value{steps};
  FakeAttributes attributes{steps};
  FakeNode setting{steps};
  FakeDocument document{steps};
  void* created = &document.object;
  HRESULT startResult = S_OK;
  HRESULT createResult = S_OK;
  wchar_t* folder = nullptr;
  DllHost host;
  IMPORT_HOOK(SHGetKnownFolderPath) folders{host.Module()};
  IMPORT_HOOK(CoInitialize) starts{host.Module()};
  IMPORT_HOOK(CoCreateInstance) creations{host.Module()};
  IMPORT_HOOK(CoUninitialize) ends{host.Module()};
  IMPORT_HOOK(CoTaskMemFree) frees{host.Module()};
};

TEST_F(AppsStoreCom, StepsAreInOrderAndBalanced) {
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(Read(), L"false"); }), "");
  EXPECT_THAT(steps,
              ElementsAre(L"folder", L"CoInitialize", L"CoCreateInstance", L"synchronous",
                          LR"(load C:\users\somebody\roaming\Ostrel\local.xml)", L"attributes",
                          L"node released", L"node released", L"attributes released",
                          L"node released", L"list released", L"element released",
                          L"document released", L"CoUninitialize", L"folder freed"));
}

TEST_F(AppsStoreCom, DocumentThatCannotBeMadeOrLoadedCountsAsUnreadable) {
  document.loadResult = E_FAIL;
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(Read(), L"false"); }), kParseFailureLine);
  EXPECT_THAT(steps, ElementsAre(L"folder", L"CoInitialize", L"CoCreateInstance", L"synchronous",
                                 LR"(load C:\users\somebody\roaming\Ostrel\local.xml)",
                                 L"document released", L"CoUninitialize", L"folder freed"));
  document.loadResult = S_FALSE;
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(Read(), L"false"); }), "");
  document.loaded = VARIANT_FALSE;
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(Read(), L"false"); }), kParseFailureLine);

  steps.clear();
  created = nullptr;
  for (const HRESULT result : {REGDB_E_CLASSNOTREG, S_OK}) {
    createResult = result;
    EXPECT_EQ(LogOf([&] { EXPECT_EQ(Read(), L"false"); }), kParseFailureLine);
  }
  const auto noDocument = ElementsAre(
      L"folder", L"CoInitialize", L"CoCreateInstance", L"CoUninitialize", L"folder freed",
      L"folder", L"CoInitialize", L"CoCreateInstance", L"CoUninitialize", L"folder freed");
  EXPECT_THAT(steps, noDocument);
}

// Every step of the walk, answered oddly. Any success code with an object is a success; without an
// object it finds nothing, like a failure.
TEST_F(AppsStoreCom, OddAnswersOnTheWayToTheSetting) {
  const auto read = [&] {
    document.element.children.next = &setting.object;
    std::wstring result;
    EXPECT_EQ(LogOf([&] { result = Read(); }), "");
    return result;
  };
  for (HRESULT* const step : {&document.elementResult, &document.element.childrenResult,
                              &document.element.children.nodeResult, &setting.attributesResult,
                              &attributes.itemResult, &key.valueResult, &value.valueResult}) {
    *step = S_FALSE;
    EXPECT_EQ(read(), L"false") << step;
    *step = E_FAIL;
    EXPECT_EQ(read(), L"true") << step;
    *step = S_OK;
  }
  for (bool* const gives : {&document.givesElement, &document.element.givesList}) {
    *gives = false;
    EXPECT_EQ(read(), L"true");
    *gives = true;
  }
  for (const wchar_t** const text : {&key.text, &value.text}) {
    const wchar_t* const before = std::exchange(*text, nullptr);  // a number
    EXPECT_EQ(read(), L"true");
    *text = before;
  }
  for (const wchar_t* const name : {L"key", L"value"}) {
    const auto node = attributes.items.extract(name);
    EXPECT_EQ(read(), L"true");
    attributes.items[name] = node.mapped();
  }
  setting.attributes = nullptr;
  EXPECT_EQ(read(), L"true");
}

TEST_F(AppsStoreCom, TheWalkEndsWithTheList) {
  for (const HRESULT result : {S_OK, S_FALSE, E_FAIL}) {
    document.element.children.next = nullptr;
    document.element.children.endResult = result;
    EXPECT_EQ(LogOf([&] { EXPECT_EQ(Read(), L"true"); }), "");
  }
}

// A thread that has COM already: in the same mode it is entered once more, in another mode it is
// used as it is.
TEST_F(AppsStoreCom, OnlyASuccessfulInitializationIsUndone) {
  startResult = S_FALSE;
  EXPECT_EQ(Read(), L"false");
  EXPECT_THAT(steps, testing::Contains(L"CoUninitialize"));
  steps.clear();
  startResult = RPC_E_CHANGED_MODE;
  document.element.children.next = &setting.object;
  EXPECT_EQ(Read(), L"false");
  EXPECT_THAT(steps, testing::Contains(LR"(load C:\users\somebody\roaming\Ostrel\local.xml)"));
  EXPECT_THAT(steps, Each(Not(std::wstring(L"CoUninitialize"))));
}

TEST_F(AppsStoreCom, LackOfMemoryIsNoResultAndLeavesNothingBehind) {
  IMPORT_HOOK(SysAllocStringLen) strings(host.Module());
  strings.FailAlways(nullptr);
  EXPECT_EQ(LogOf([&] { EXPECT_EQ(Read(), L"<null>"); }), "");
  EXPECT_THAT(steps, ElementsAre(L"folder", L"CoInitialize", L"CoCreateInstance", L"synchronous",
                                 L"document released", L"CoUninitialize", L"folder freed"));
}

/// A host that reads a settings file with the system's own document.
class AppsStoreRealCom : public testing::Test {
 protected:
  AppsStoreRealCom() {
    directory.WriteFile(L"Ostrel\\local.xml",
                        R"(<s><e key="LocalHostEnabled" value="false"/></s>)");
  }

  std::wstring Read() { return host.GetParameter(L"OSTREL-APP", L"OstrelLocalHostEnabled"); }

  TempDirectory directory;
  DllHost host;
  IMPORT_HOOK(SHGetKnownFolderPath)
  folders{host.Module(), [this](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) {
            const std::wstring& text = directory.Path();
            *path = static_cast<wchar_t*>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
            std::wmemcpy(*path, text.c_str(), text.size() + 1);
            return S_OK;
          }};
};

TEST_F(AppsStoreRealCom, WorksInEveryThreadingModeOfTheHost) {
  EXPECT_EQ(Read(), L"false");
  ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
  EXPECT_EQ(Read(), L"false");
  CoUninitialize();
  ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
  EXPECT_EQ(Read(), L"false");
  CoUninitialize();
}

TEST_F(AppsStoreRealCom, LeavesTheThreadWithoutCom) {
  EXPECT_EQ(Read(), L"false");
  // S_FALSE would mean that COM is still there.
  EXPECT_EQ(CoInitialize(nullptr), S_OK);
  CoUninitialize();
}

TEST_F(AppsStoreRealCom, ComparesWithTheUsersLocaleAndNoFlags) {
  IMPORT_HOOK(VarBstrCmp) comparisons(host.Module());
  EXPECT_EQ(Read(), L"false");
  // The setting's name and its value.
  ASSERT_EQ(comparisons.CallCount(), 2U);
  for (const auto& call : comparisons.Calls()) {
    EXPECT_EQ(std::get<2>(call), 0x0400U);
    EXPECT_EQ(std::get<3>(call), 0U);
  }
}

}  // namespace
}  // namespace test_support
