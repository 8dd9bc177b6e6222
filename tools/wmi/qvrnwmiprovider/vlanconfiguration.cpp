#include "tools/wmi/qvrnwmiprovider/vlanconfiguration.h"

#include <msxml2.h>
#include <wrl/client.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <utility>

#include "platform/comtext.h"
#include "platform/hresult.h"
#include "tools/wmi/qvrnwmiprovider/cvlanmanager.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr GUID kDomDocument30 = {0xF5078F32, 0xC551, 0x11D3, {0x89, 0xB9, 0x00, 0x00, 0xF8, 0x1F, 0xE2, 0x21}};

constexpr wchar_t kRootElement[] = L"virtual_networks";
constexpr wchar_t kVlanElement[] = L"vlan";

// Children of a `vlan` element: written in this order, and recognised in this order.
enum Child : std::size_t { kParentId, kName, kNumber, kPriority, kChildren };
constexpr const wchar_t* kChildElements[kChildren] = {L"ParentId", L"Name", L"Id", L"Priority"};

// A document that takes files as they stand: no validation, nothing fetched from elsewhere, no whitespace.
ComPtr<IXMLDOMDocument> CreateDocument() noexcept {
  ComPtr<IXMLDOMDocument> document;
  ::CoCreateInstance(kDomDocument30, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                     reinterpret_cast<void**>(document.GetAddressOf()));
  if (document == nullptr) return document;
  document->put_async(VARIANT_FALSE);
  document->put_validateOnParse(VARIANT_FALSE);
  document->put_resolveExternals(VARIANT_FALSE);
  document->put_preserveWhiteSpace(VARIANT_FALSE);
  return document;
}

// --- Save ----------------------------------------------------------------------------------------------------------

ComPtr<IXMLDOMElement> CreateElement(IXMLDOMDocument* document, const wchar_t* name) {
  ComPtr<IXMLDOMElement> element;
  document->createElement(Bstr(name).Get(), &element);
  return element;
}

ComPtr<IXMLDOMElement> CreateRoot(IXMLDOMDocument* document) {
  ComPtr<IXMLDOMElement> root = CreateElement(document, kRootElement);
  if (root == nullptr || FAILED(document->putref_documentElement(root.Get()))) root.Reset();
  return root;
}

// A document without a root gets one: a safeguard that is not reached, as a save begins with the root.
ComPtr<IXMLDOMElement> RootOf(IXMLDOMDocument* document) {
  ComPtr<IXMLDOMElement> root;
  document->get_documentElement(&root);
  return root != nullptr ? root : CreateRoot(document);
}

// A child that cannot be made is left out; one whose text cannot be set stays empty.
void AppendValue(IXMLDOMDocument* document, IXMLDOMElement* parent, const wchar_t* name, const wchar_t* text) {
  const ComPtr<IXMLDOMElement> element = CreateElement(document, name);
  if (element == nullptr) return;
  element->put_text(Bstr(text).Get());
  parent->appendChild(element.Get(), nullptr);
}

// A VLAN whose element cannot be made is left out.
void AppendVlan(IXMLDOMDocument* document, const wchar_t* const (&texts)[kChildren]) {
  const ComPtr<IXMLDOMElement> root = RootOf(document);
  if (root == nullptr) return;
  const ComPtr<IXMLDOMElement> vlan = CreateElement(document, kVlanElement);
  if (vlan == nullptr || FAILED(root->appendChild(vlan.Get(), nullptr))) return;
  for (std::size_t child = 0; child < kChildren; ++child) {
    AppendValue(document, vlan.Get(), kChildElements[child], texts[child]);
  }
}

void AppendVlansOf(IXMLDOMDocument* document, const CVlanManager& manager) {
  const CVlanList* list = manager.List();
  if (list == nullptr) return;
  wchar_t parentId[12];
  ::_itow(static_cast<int>(manager.AdapterIndex()), parentId, 10);
  for (DWORD index = 0; index < list->Count(); ++index) {
    AppendVlan(document, {parentId, list->NameAt(index), list->NumberAt(index), list->PriorityAt(index)});
  }
}

// --- Restore -------------------------------------------------------------------------------------------------------

// What the elements read so far say. Nothing is forgotten from one `vlan` element to the next, so that an element which
// lacks a value takes that of an earlier one (kept for files that rely on it).
class VlanValues {
 public:
  // A child with another name counts as a child and is ignored.
  void Take(const wchar_t* name, Bstr text) {
    const auto* match = std::find_if(std::begin(kChildElements), std::end(kChildElements),
                                     [name](const wchar_t* known) { return ::_wcsicmp(known, name) == 0; });
    if (match == std::end(kChildElements)) return;
    const auto child = static_cast<std::size_t>(match - kChildElements);
    m_texts[child] = std::move(text);
    m_found[child] = true;
  }

  bool IsComplete() const noexcept {
    return std::all_of(std::begin(m_found), std::end(m_found), [](bool found) { return found; });
  }

  // What cannot be created is left out.
  void Create() const {
    CVlanManager manager(TextOf(kParentId));
    manager.Create(TextOf(kName), ::_wtoi(TextOf(kNumber)), ::_wtoi(TextOf(kPriority)));
    manager.RestartAdapter();
  }

 private:
  const wchar_t* TextOf(Child child) const noexcept {
    const wchar_t* text = m_texts[child].Get();
    return text == nullptr ? L"" : text;
  }

  Bstr m_texts[kChildren];
  bool m_found[kChildren] = {};
};

HRESULT TakeChild(IXMLDOMNodeList* children, LONG index, VlanValues& values) {
  ComPtr<IXMLDOMNode> child;
  HRESULT hr = children->get_item(index, &child);
  if (FAILED(hr)) return hr;
  if (child == nullptr) return E_FAIL;
  Bstr name;
  hr = child->get_nodeName(name.Put());
  if (FAILED(hr)) return hr;
  Bstr text;
  hr = child->get_text(text.Put());
  if (FAILED(hr)) return hr;
  values.Take(name.Get() == nullptr ? L"" : name.Get(), std::move(text));
  return hr;
}

// Takes the values of one `vlan` element and creates its VLAN. `goesOn` becomes false where the file ends for a
// restore.
HRESULT RestoreVlan(IXMLDOMNode* vlan, VlanValues& values, bool& goesOn) {
  ComPtr<IXMLDOMNodeList> children;
  HRESULT hr = vlan->get_childNodes(&children);
  if (FAILED(hr)) return hr;
  LONG count = 0;
  if (children != nullptr) hr = children->get_length(&count);
  if (FAILED(hr)) return hr;
  goesOn = count == static_cast<LONG>(kChildren);
  for (LONG index = 0; goesOn && index < count; ++index) {
    hr = TakeChild(children.Get(), index, values);
    if (FAILED(hr)) return hr;
  }
  if (goesOn && values.IsComplete()) values.Create();
  return S_OK;
}

HRESULT RestoreVlans(IXMLDOMDocument* document) {
  ComPtr<IXMLDOMNodeList> vlans;
  HRESULT hr = document->getElementsByTagName(Bstr(kVlanElement).Get(), &vlans);
  if (FAILED(hr)) return hr;
  if (vlans == nullptr) return E_FAIL;
  LONG length = 0;
  hr = vlans->get_length(&length);
  if (FAILED(hr)) return hr;
  VlanValues values;
  bool goesOn = true;
  for (LONG index = 0; goesOn && index < length; ++index) {
    ComPtr<IXMLDOMNode> vlan;
    hr = vlans->get_item(index, &vlan);
    if (FAILED(hr)) return hr;
    if (vlan == nullptr) return E_FAIL;
    hr = RestoreVlan(vlan.Get(), values, goesOn);
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

}  // namespace

HRESULT SaveVlanConfiguration(IWbemServices* wmiNamespace, const wchar_t* fileName) noexcept try {
  if (fileName == nullptr) return WBEM_E_INVALID_PARAMETER;
  const ComPtr<IXMLDOMDocument> document = CreateDocument();
  if (document == nullptr || CreateRoot(document.Get()) == nullptr) return E_FAIL;
  const HRESULT hr = ForEachVlanManager(wmiNamespace, [&document](const CVlanManager& manager, const wchar_t*) {
    AppendVlansOf(document.Get(), manager);
  });
  if (FAILED(hr)) return hr;
  const Variant destination(fileName);
  return document->save(*destination.Get());
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT RestoreVlanConfiguration(IWbemServices* wmiNamespace, const wchar_t* fileName) noexcept try {
  if (fileName == nullptr) return WBEM_E_INVALID_PARAMETER;
  const ComPtr<IXMLDOMDocument> document = CreateDocument();
  if (document == nullptr) return E_FAIL;
  const Variant source(fileName);
  VARIANT_BOOL isLoaded = VARIANT_FALSE;
  if (FAILED(document->load(*source.Get(), &isLoaded)) || isLoaded == VARIANT_FALSE) return E_FAIL;
  const VlanChangeGate gate;
  RemoveAllVlans(wmiNamespace);
  return RestoreVlans(document.Get());
} catch (...) {
  return HresultFromCurrentException();
}

}  // namespace qvrn
