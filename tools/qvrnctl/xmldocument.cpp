#include "tools/qvrnctl/xmldocument.h"

#include <windows.h>

#include <msxml2.h>
#include <wrl/client.h>

#include "platform/comtext.h"

#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr CLSID kDocument30 = {0xF5078F32, 0xC551, 0x11D3, {0x89, 0xB9, 0x00, 0x00, 0xF8, 0x1F, 0xE2, 0x21}};

void Check(HRESULT hr) {
  if (FAILED(hr)) throw WmiFailed(L"the platform's XML reader", hr);
}

std::wstring TextOf(const Bstr& text) { return text.Get() == nullptr ? L"" : text.Get(); }

ComPtr<IXMLDOMDocument> CreateDocument() {
  ComPtr<IXMLDOMDocument> document;
  Check(::CoCreateInstance(kDocument30, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                           reinterpret_cast<void**>(document.GetAddressOf())));
  Check(document->put_async(VARIANT_FALSE));
  Check(document->put_validateOnParse(VARIANT_FALSE));
  Check(document->put_resolveExternals(VARIANT_FALSE));
  Check(document->put_preserveWhiteSpace(VARIANT_FALSE));
  return document;
}

// ": <reason> (line n)", as far as the reader tells.
std::wstring ReasonOf(IXMLDOMDocument* document) {
  ComPtr<IXMLDOMParseError> error;
  Bstr reason;
  LONG line = 0;
  if (FAILED(document->get_parseError(error.GetAddressOf())) || error == nullptr) return {};
  error->get_reason(reason.Put());
  error->get_line(&line);
  std::wstring text = TextOf(reason);
  text.erase(text.find_last_not_of(L"\r\n ") + 1);
  if (line > 0) text += L" (line " + std::to_wstring(line) + L")";
  return text.empty() ? text : L": " + text;
}

std::vector<ComPtr<IXMLDOMNode>> NodesOf(IXMLDOMNodeList* list) {
  std::vector<ComPtr<IXMLDOMNode>> nodes;
  LONG count = 0;
  Check(list->get_length(&count));
  for (LONG i = 0; i < count; ++i) {
    ComPtr<IXMLDOMNode> node;
    Check(list->get_item(i, node.GetAddressOf()));
    nodes.push_back(std::move(node));
  }
  return nodes;
}

std::vector<ComPtr<IXMLDOMNode>> ElementsOf(IXMLDOMDocument* document, const wchar_t* tag) {
  ComPtr<IXMLDOMNodeList> list;
  Check(document->getElementsByTagName(Bstr(tag).Get(), list.GetAddressOf()));
  return NodesOf(list.Get());
}

std::wstring NameOf(IXMLDOMNode* node) {
  Bstr name;
  Check(node->get_nodeName(name.Put()));
  return TextOf(name);
}

XmlDocument::Children ChildrenOf(IXMLDOMNode* node) {
  ComPtr<IXMLDOMNodeList> list;
  Check(node->get_childNodes(list.GetAddressOf()));
  XmlDocument::Children children;
  for (const auto& child : NodesOf(list.Get())) {
    Bstr text;
    Check(child->get_text(text.Put()));
    children.emplace_back(NameOf(child.Get()), TextOf(text));
  }
  return children;
}

// A document type may declare entities, which makes of a text what nobody sees in the file.
bool HasDocumentType(IXMLDOMDocument* document) {
  ComPtr<IXMLDOMDocumentType> type;
  Check(document->get_doctype(type.GetAddressOf()));
  return type != nullptr;
}

}  // namespace

XmlDocument LoadXml(const std::wstring& path) {
  const ComPtr<IXMLDOMDocument> document = CreateDocument();
  VARIANT_BOOL loaded = VARIANT_FALSE;
  VARIANT source = {};  // borrows the text
  const Bstr name(path.c_str());
  source.vt = VT_BSTR;
  source.bstrVal = name.Get();
  if (FAILED(document->load(source, &loaded)) || loaded != VARIANT_TRUE) {
    throw Failed(path + L" is not well-formed XML" + ReasonOf(document.Get()));
  }
  if (HasDocumentType(document.Get())) throw Failed(path + L" has a document type, which no saved file has");
  XmlDocument content;
  for (const auto& element : ElementsOf(document.Get(), L"*")) content.names.push_back(NameOf(element.Get()));
  for (const auto& element : ElementsOf(document.Get(), L"vlan")) content.vlans.push_back(ChildrenOf(element.Get()));
  return content;
}

}  // namespace qvrn
