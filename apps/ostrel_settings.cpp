#include "apps/ostrel_settings.h"

#include <msxml.h>
#include <objbase.h>
#include <oleauto.h>
#include <shlobj.h>

#include <string>

#include "core/log.h"

namespace launcher {
namespace {

constexpr wchar_t kLabel[] = L"OstrelApp::IsOstrelLocalHostEnabled";

constexpr CLSID kDomDocumentClass = {
    0x2933BF90, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
constexpr IID kDomDocumentInterface = {
    0x2933BF81, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
constexpr KNOWNFOLDERID kRoamingAppData = {
    0x3EB685DB, 0x65F9, 0x4CF6, {0xA0, 0x3A, 0xE3, 0xEF, 0x65, 0x72, 0x9F, 0x3D}};

/// Holds one reference to a COM object.
template <typename Interface>
class ComPointer {
 public:
  ComPointer() = default;
  ComPointer(const ComPointer&) = delete;
  ComPointer& operator=(const ComPointer&) = delete;
  ~ComPointer() {
    if (object != nullptr) object->Release();
  }
  Interface** put() { return &object; }
  Interface* get() const { return object; }
  Interface* operator->() const { return object; }
  explicit operator bool() const { return object != nullptr; }

 private:
  Interface* object = nullptr;
};

/// A COM string.
class ComString {
 public:
  explicit ComString(const std::wstring& value)
      : text(SysAllocStringLen(value.data(), static_cast<UINT>(value.size()))) {
    if (text == nullptr) throw ComError{E_OUTOFMEMORY};
  }
  ComString(const ComString&) = delete;
  ComString& operator=(const ComString&) = delete;
  ~ComString() { SysFreeString(text); }
  BSTR get() const { return text; }

 private:
  BSTR text;
};

class ComVariant {
 public:
  ComVariant() { VariantInit(&value); }
  ComVariant(const ComVariant&) = delete;
  ComVariant& operator=(const ComVariant&) = delete;
  ~ComVariant() { VariantClear(&value); }
  VARIANT* put() { return &value; }

  bool Equals(const wchar_t* text) const {
    if (value.vt != VT_BSTR) return false;
    const ComString other(text);
    return VarBstrCmp(value.bstrVal, other.get(), LOCALE_USER_DEFAULT, 0) ==
           static_cast<HRESULT>(VARCMP_EQ);
  }

 private:
  VARIANT value;
};

/// COM on this thread, for a scope. Some hosts have it in another threading mode already; their COM
/// is then used as it is.
class ComScope {
 public:
  ComScope() : initialised(SUCCEEDED(CoInitialize(nullptr))) {}
  ComScope(const ComScope&) = delete;
  ComScope& operator=(const ComScope&) = delete;
  ~ComScope() {
    if (initialised) CoUninitialize();
  }

 private:
  bool initialised;
};

/// The roaming application-data folder.
class RoamingFolder {
 public:
  RoamingFolder() : found(SUCCEEDED(SHGetKnownFolderPath(kRoamingAppData, 0, nullptr, &path))) {}
  RoamingFolder(const RoamingFolder&) = delete;
  RoamingFolder& operator=(const RoamingFolder&) = delete;
  ~RoamingFolder() {
    if (found) CoTaskMemFree(path);
  }
  explicit operator bool() const { return found; }
  const wchar_t* get() const { return path; }

 private:
  PWSTR path = nullptr;
  bool found;
};

bool LoadDocument(IXMLDOMDocument& document, const std::wstring& path) {
  // Otherwise `load` may return before the file is read.
  document.put_async(VARIANT_FALSE);
  const ComString pathString(path);
  VARIANT source;
  VariantInit(&source);
  source.vt = VT_BSTR;
  source.bstrVal = pathString.get();
  VARIANT_BOOL loaded = VARIANT_FALSE;
  return SUCCEEDED(document.load(source, &loaded)) && loaded != VARIANT_FALSE;
}

// Reads one of an element's attributes. False when it has none of that name.
bool ReadAttribute(IXMLDOMNamedNodeMap& attributes, const wchar_t* name, ComVariant& value) {
  ComPointer<IXMLDOMNode> attribute;
  const ComString attributeName(name);
  return SUCCEEDED(attributes.getNamedItem(attributeName.get(), attribute.put())) && attribute &&
         SUCCEEDED(attribute->get_nodeValue(value.put()));
}

// The first setting of that name decides; without one, or without a value, the mode is enabled.
// Success codes other than S_OK count as what they bring: an object, or none.
bool IsEnabledIn(IXMLDOMDocument& document) {
  ComPointer<IXMLDOMElement> root;
  if (FAILED(document.get_documentElement(root.put())) || !root) return true;
  ComPointer<IXMLDOMNodeList> children;
  if (FAILED(root->get_childNodes(children.put())) || !children) return true;
  for (;;) {
    ComPointer<IXMLDOMNode> child;
    if (FAILED(children->nextNode(child.put())) || !child) return true;
    // Comments and texts between the elements have no attributes at all.
    ComPointer<IXMLDOMNamedNodeMap> attributes;
    if (FAILED(child->get_attributes(attributes.put())) || !attributes) continue;
    ComVariant key;
    if (!ReadAttribute(*attributes.get(), L"key", key) || !key.Equals(L"LocalHostEnabled")) {
      continue;
    }
    ComVariant value;
    return !ReadAttribute(*attributes.get(), L"value", value) || !value.Equals(L"false");
  }
}

}  // namespace

bool IsOstrelLocalHostEnabled() {
  const RoamingFolder folder;
  if (!folder) {
    LogLine(L"%s: Failed to get the known folder for Ostrel lookup (FOLDERID_RoamingAppData)\n",
            kLabel);
    return false;
  }
  const std::wstring path = std::wstring(folder.get()) + L"\\Ostrel\\local.xml";
  const ComScope com;
  ComPointer<IXMLDOMDocument> document;
  const HRESULT made =
      CoCreateInstance(kDomDocumentClass, nullptr, CLSCTX_ALL, kDomDocumentInterface,
                       reinterpret_cast<void**>(document.put()));
  if (FAILED(made) || !document || !LoadDocument(*document.get(), path)) {
    LogLine(L"%s: Failed to parse Ostrel xml from path %s\n", kLabel, path.c_str());
    return false;
  }
  return IsEnabledIn(*document.get());
}

}  // namespace launcher
