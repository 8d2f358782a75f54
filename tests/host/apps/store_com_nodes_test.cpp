// What the store client's settings say when COM answers oddly: success without an object, a value of
// another type.

#include "tests/host/apps/fake_document.h"

#include <gtest/gtest.h>
#include <shlobj.h>

#include <cwchar>

#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"

namespace test_support {
namespace {

/// A host whose library gets a document with one setting, LocalHostEnabled="false".
class AppsStoreComNodes : public testing::Test {
 protected:
  AppsStoreComNodes() {
    key.text = L"LocalHostEnabled";
    value.text = L"false";
    attributes.items = {{L"key", &key}, {L"value", &value}};
    setting.attributes = &attributes.object;
    document.element.children.next = &setting.object;
    folders.SetReplacement([](REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) {
      *path = static_cast<wchar_t*>(CoTaskMemAlloc(2 * sizeof(wchar_t)));
      std::wmemcpy(*path, L"x", 2);
      return S_OK;
    });
    creations.SetReplacement([this](REFCLSID, IUnknown*, DWORD, REFIID, void** object) {
      *object = created;
      return S_OK;
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
  DllHost host;
  IMPORT_HOOK(SHGetKnownFolderPath) folders{host.Module()};
  IMPORT_HOOK(CoCreateInstance) creations{host.Module()};
};

TEST_F(AppsStoreComNodes, TheSettingIsRead) { EXPECT_EQ(Read(), L"false"); }

TEST_F(AppsStoreComNodes, NoDocumentInSpiteOfSuccessCountsAsUnreadable) {
  created = nullptr;
  EXPECT_EQ(Read(), L"false");
}

TEST_F(AppsStoreComNodes, NoElementInSpiteOfSuccessMeansEnabled) {
  document.givesElement = false;
  EXPECT_EQ(Read(), L"true");
}

TEST_F(AppsStoreComNodes, NoListInSpiteOfSuccessMeansEnabled) {
  document.element.givesList = false;
  EXPECT_EQ(Read(), L"true");
}

TEST_F(AppsStoreComNodes, NoNodeInSpiteOfSuccessMeansEnabled) {
  document.element.children.next = nullptr;
  document.element.children.nextResult = S_OK;
  EXPECT_EQ(Read(), L"true");
}

TEST_F(AppsStoreComNodes, NoAttributesInSpiteOfSuccessMeanEnabled) {
  setting.attributes = nullptr;
  EXPECT_EQ(Read(), L"true");
}

TEST_F(AppsStoreComNodes, AttributesOfAFailureAreNotRead) {
  setting.attributesResult = S_FALSE;
  EXPECT_EQ(Read(), L"true");
}

TEST_F(AppsStoreComNodes, NoAttributeInSpiteOfSuccessMeansEnabled) {
  attributes.items.erase(L"key");
  EXPECT_EQ(Read(), L"true");
}

TEST_F(AppsStoreComNodes, AnAttributeOfAFailureIsNotRead) {
  attributes.itemResult = S_FALSE;
  EXPECT_EQ(Read(), L"true");
}

TEST_F(AppsStoreComNodes, AValueOfAFailureIsNotRead) {
  value.valueResult = E_FAIL;
  EXPECT_EQ(Read(), L"true");
}

TEST_F(AppsStoreComNodes, AKeyOfAnotherTypeIsAnotherSetting) {
  key.text = nullptr;
  EXPECT_EQ(Read(), L"true");
}

TEST_F(AppsStoreComNodes, AValueOfAnotherTypeMeansEnabled) {
  value.text = nullptr;
  EXPECT_EQ(Read(), L"true");
}

}  // namespace
}  // namespace test_support
