// A settings document that a test makes up, in place of the system's.
#ifndef LAUNCHER_TESTS_HOST_APPS_FAKE_DOCUMENT_H_
#define LAUNCHER_TESTS_HOST_APPS_FAKE_DOCUMENT_H_

// COM interfaces as tables of functions, which a test can fill in part. Include this header first.
#define CINTERFACE
// The order matters.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <objbase.h>
#include <msxml.h>
#include <oleauto.h>
// clang-format on

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

/// What was called, in order.
using Steps = std::vector<std::wstring>;

/// An attribute, or an element with attributes.
struct FakeNode {
  explicit FakeNode(Steps& stepList);
  static FakeNode& Of(IXMLDOMNode* self) { return *reinterpret_cast<FakeNode*>(self); }

  // First, as its address is the object's.
  IXMLDOMNode object{&table};
  IXMLDOMNodeVtbl table{};
  Steps& steps;
  HRESULT attributesResult = S_OK;
  /// The attributes, or null.
  IXMLDOMNamedNodeMap* attributes = nullptr;
  HRESULT valueResult = S_OK;
  /// A text, or another type when there is none.
  const wchar_t* text = nullptr;
};

/// The attributes of an element.
struct FakeAttributes {
  explicit FakeAttributes(Steps& stepList);
  static FakeAttributes& Of(IXMLDOMNamedNodeMap* self) {
    return *reinterpret_cast<FakeAttributes*>(self);
  }

  IXMLDOMNamedNodeMap object{&table};
  IXMLDOMNamedNodeMapVtbl table{};
  Steps& steps;
  HRESULT itemResult = S_OK;
  std::map<std::wstring, FakeNode*> items;
};

/// A list of at most one node.
struct FakeList {
  explicit FakeList(Steps& stepList) : steps(stepList) {
    table.Release = [](IXMLDOMNodeList* self) -> ULONG {
      Of(self).steps.emplace_back(L"list released");
      return 0;
    };
    table.nextNode = [](IXMLDOMNodeList* self, IXMLDOMNode** node) -> HRESULT {
      FakeList& list = Of(self);
      *node = std::exchange(list.next, nullptr);
      return *node != nullptr ? list.nodeResult : list.endResult;
    };
  }
  static FakeList& Of(IXMLDOMNodeList* self) { return *reinterpret_cast<FakeList*>(self); }

  IXMLDOMNodeList object{&table};
  IXMLDOMNodeListVtbl table{};
  Steps& steps;
  HRESULT endResult = S_FALSE;
  HRESULT nodeResult = S_OK;
  /// The node that the next call gives.
  IXMLDOMNode* next = nullptr;
};

struct FakeElement {
  explicit FakeElement(Steps& stepList) : steps(stepList), children(stepList) {
    table.Release = [](IXMLDOMElement* self) -> ULONG {
      Of(self).steps.emplace_back(L"element released");
      return 0;
    };
    table.get_childNodes = [](IXMLDOMElement* self, IXMLDOMNodeList** list) -> HRESULT {
      FakeElement& element = Of(self);
      *list = element.givesList ? &element.children.object : nullptr;
      return element.childrenResult;
    };
  }
  static FakeElement& Of(IXMLDOMElement* self) { return *reinterpret_cast<FakeElement*>(self); }

  IXMLDOMElement object{&table};
  IXMLDOMElementVtbl table{};
  Steps& steps;
  HRESULT childrenResult = S_OK;
  bool givesList = true;
  FakeList children;
};

struct FakeDocument {
  explicit FakeDocument(Steps& stepList) : steps(stepList), element(stepList) {
    table.Release = [](IXMLDOMDocument* self) -> ULONG {
      Of(self).steps.emplace_back(L"document released");
      return 0;
    };
    table.put_async = [](IXMLDOMDocument* self, VARIANT_BOOL async) -> HRESULT {
      Of(self).steps.emplace_back(async == VARIANT_FALSE ? L"synchronous" : L"asynchronous");
      return S_OK;
    };
    table.load = [](IXMLDOMDocument* self, VARIANT source, VARIANT_BOOL* success) -> HRESULT {
      FakeDocument& document = Of(self);
      document.steps.push_back(source.vt == VT_BSTR ? L"load " + std::wstring(source.bstrVal)
                                                    : L"load of another type");
      *success = document.loaded;
      return document.loadResult;
    };
    table.get_documentElement = [](IXMLDOMDocument* self, IXMLDOMElement** root) -> HRESULT {
      FakeDocument& document = Of(self);
      *root = document.givesElement ? &document.element.object : nullptr;
      return document.elementResult;
    };
  }
  static FakeDocument& Of(IXMLDOMDocument* self) { return *reinterpret_cast<FakeDocument*>(self); }

  IXMLDOMDocument object{&table};
  IXMLDOMDocumentVtbl table{};
  Steps& steps;
  HRESULT loadResult = S_OK;
  VARIANT_BOOL loaded = VARIANT_TRUE;
  HRESULT elementResult = S_OK;
  bool givesElement = true;
  FakeElement element;
};

inline FakeNode::FakeNode(Steps& stepList) : steps(stepList) {
  table.Release = [](IXMLDOMNode* self) -> ULONG {
    Of(self).steps.emplace_back(L"node released");
    return 0;
  };
  table.get_attributes = [](IXMLDOMNode* self, IXMLDOMNamedNodeMap** map) -> HRESULT {
    Of(self).steps.emplace_back(L"attributes");
    *map = Of(self).attributes;
    return Of(self).attributesResult;
  };
  table.get_nodeValue = [](IXMLDOMNode* self, VARIANT* value) -> HRESULT {
    const FakeNode& node = Of(self);
    value->vt = node.text != nullptr ? VT_BSTR : VT_I4;
    if (node.text != nullptr) {
      value->bstrVal = SysAllocString(node.text);
    } else {
      value->lVal = 1;
    }
    return node.valueResult;
  };
}

inline FakeAttributes::FakeAttributes(Steps& stepList) : steps(stepList) {
  table.Release = [](IXMLDOMNamedNodeMap* self) -> ULONG {
    Of(self).steps.emplace_back(L"attributes released");
    return 0;
  };
  table.getNamedItem = [](IXMLDOMNamedNodeMap* self, BSTR name, IXMLDOMNode** item) -> HRESULT {
    FakeAttributes& attributes = Of(self);
    const auto found = attributes.items.find(name);
    *item = found == attributes.items.end() ? nullptr : &found->second->object;
    return attributes.itemResult;
  };
}

}  // namespace test_support

#endif  // LAUNCHER_TESTS_HOST_APPS_FAKE_DOCUMENT_H_
