#include "tools/qvrnctl/vlanfile.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <optional>
#include <string_view>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/inputfile.h"

namespace qvrn {
namespace {

constexpr wchar_t kRoot[] = L"virtual_networks";
constexpr wchar_t kElement[] = L"vlan";

// The values of an element in the order of a saved file.
enum Field { kParent, kName, kNumber, kPriority, kFieldCount };
constexpr const wchar_t* kFields[kFieldCount] = {L"ParentId", L"Name", L"Id", L"Priority"};

// Where an element's values are; null for those that are missing.
struct FieldTexts {
  const std::wstring* texts[kFieldCount] = {};

  explicit FieldTexts(const VlanElement& element) {
    for (const auto& child : element) {
      const auto* field = std::find_if(std::begin(kFields), std::end(kFields), [&](const wchar_t* known) {
        return ::_wcsicmp(known, child.first.c_str()) == 0;
      });
      if (field != std::end(kFields)) texts[field - std::begin(kFields)] = &child.second;
    }
  }
};

std::optional<std::wstring> FormFault(const VlanElement& element) {
  if (element.size() != kFieldCount) {
    return L"has " + std::to_wstring(element.size()) + L" children, not four (a comment counts as one)";
  }
  const FieldTexts fields(element);
  for (int field = 0; field < kFieldCount; ++field) {
    if (fields.texts[field] == nullptr) return std::wstring(L"has no ") + kFields[field];
    if (field != kName && !ParseNumber(*fields.texts[field])) {
      return std::wstring(kFields[field]) + L" is not a number: \"" + *fields.texts[field] + L"\"";
    }
  }
  return std::nullopt;
}

Vlan ReadElement(const VlanElement& element) {
  const FieldTexts fields(element);
  const auto number = [&](Field field) { return *ParseNumber(*fields.texts[field]); };
  return {L"", std::to_wstring(number(kParent)), *fields.texts[kName], number(kNumber), number(kPriority)};
}

std::optional<std::wstring> ContentFault(const Vlan& vlan, std::span<const Vlan> earlier,
                                         const std::vector<Adapter>& adapters) {
  if (auto fault = VlanFault(vlan)) return fault;
  const bool known = std::ranges::any_of(adapters, [&](const Adapter& adapter) { return adapter.id == vlan.adapter; });
  if (!known) return L"adapter " + vlan.adapter + L" is not served by the provider";
  return FindClash(vlan, earlier);
}

[[noreturn]] void RefuseFile(const std::wstring& path, const std::wstring& why) { throw Failed(path + L" " + why); }
// Looked for before the XML reader sees the file: the entities of a document type can grow without bounds.
void RefuseDocumentType(const std::wstring& path, std::string bytes) {
  std::erase(bytes, '\0');  // of UTF-16
  if (bytes.find("<!DOCTYPE") != std::string::npos) RefuseFile(path, L"has a document type, which no saved file has");
}

// "vlan" behind any prefix and in any case, but not as the provider knows it.
bool IsMisspelled(std::wstring_view name) {
  const std::wstring_view local = name.substr(name.rfind(L':') + 1);
  return name != kElement && EqualText(std::wstring(local), kElement);
}

void CheckNames(const std::wstring& path, const XmlDocument& document) {
  const auto misspelled = std::ranges::find_if(document.names, &IsMisspelled);
  if (misspelled != document.names.end()) {
    RefuseFile(path, L"has an element \"" + *misspelled + L"\", which the provider does not take for a \"vlan\"");
  }
  const bool isEmptySave = document.names.size() == 1 && document.names.front() == kRoot;
  if (document.vlans.empty() && !isEmptySave) RefuseFile(path, L"holds no VLANs and is not a file of saved VLANs");
}

}  // namespace

VlanFileContent ReadElements(std::span<const VlanElement> elements, const std::vector<Adapter>& adapters) {
  VlanFileContent content;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    std::optional<std::wstring> fault = FormFault(elements[i]);
    if (!fault) {
      const Vlan vlan = ReadElement(elements[i]);
      fault = ContentFault(vlan, content.vlans, adapters);
      if (fault) *fault = Label(vlan) + L": " + *fault;
      content.vlans.push_back(vlan);
    }
    if (fault) content.faults.push_back(L"vlan element " + std::to_wstring(i + 1) + L": " + *fault);
  }
  return content;
}

VlanFile::VlanFile(const std::wstring& path) : m_file(OpenInputFile(path)) {
  RefuseDocumentType(path, ReadInputFile(path, m_file.Get()));
  XmlDocument document = LoadXml(path);
  CheckNames(path, document);
  m_elements = std::move(document.vlans);
}

}  // namespace qvrn
