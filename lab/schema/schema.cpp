#include "lab/schema/schema.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

#include "lab/schema/textcompare.h"

namespace lab {
namespace {

constexpr CimType kTypes[] = {
    {L"boolean", 11, ValueKind::kFlag, 0, 0},
    {L"uint16", 18, ValueKind::kNumber, 0, 0xFFFF},
    {L"uint32", 19, ValueKind::kNumber, 0, 0xFFFFFFFF},
    {L"sint32", 3, ValueKind::kNumber, -0x80000000LL, 0x7FFFFFFF},
    {L"string", 8, ValueKind::kText, 0, 0},
    {L"string[]", 8 | kArrayFlag, ValueKind::kTexts, 0, 0},
};

template <typename Items, typename Predicate>
auto FindWhere(const Items& items, Predicate predicate) {
  const auto found = std::find_if(std::begin(items), std::end(items), predicate);
  return found == std::end(items) ? nullptr : &*found;
}

template <typename Items>
auto FindNamed(const Items& items, std::wstring_view name) {
  return FindWhere(items, [&](const auto& item) { return SameText(item.name, name); });
}

std::wstring ProviderPath(std::wstring_view provider) { return L"__Win32Provider.Name=" + Quoted(provider); }

}  // namespace

const CimType* FindCimType(std::wstring_view name) { return FindNamed(kTypes, name); }

const CimType& CimTypeOf(long type) {
  if (type == kReferenceType.type) return kReferenceType;
  const CimType* const found = FindWhere(kTypes, [&](const CimType& known) { return known.type == type; });
  if (found == nullptr) throw std::out_of_range("unknown CIM type");
  return *found;
}

const Qualifier* FindQualifier(const std::vector<Qualifier>& qualifiers, std::wstring_view name) {
  return FindNamed(qualifiers, name);
}

const Property* ClassDefinition::Find(std::wstring_view property) const { return FindNamed(properties, property); }

const Property* ClassDefinition::FindKey() const {
  return FindWhere(properties, [](const Property& property) { return property.Has(L"key"); });
}

const Method* ClassDefinition::FindMethod(std::wstring_view method) const { return FindNamed(methods, method); }

std::wstring ClassDefinition::Provider() const {
  const Qualifier* const provider = FindQualifier(qualifiers, L"provider");
  return provider == nullptr ? std::wstring() : std::get<std::wstring>(provider->value);
}

std::shared_ptr<const ClassDefinition> Schema::Find(std::wstring_view className) const {
  const auto* const found = FindWhere(classes, [&](const auto& known) { return SameText(known->name, className); });
  return found == nullptr ? nullptr : *found;
}

std::wstring Schema::ProviderClassId(std::wstring_view provider) const {
  const std::wstring path = ProviderPath(provider);
  const auto* const found = FindWhere(instances, [&](const auto& known) { return SameText(known.path, path); });
  if (found == nullptr || !found->values.contains(L"CLSID")) return {};
  const auto* const id = std::get_if<std::wstring>(&found->values.at(L"CLSID"));
  return id == nullptr ? std::wstring() : *id;
}

const InstanceDefinition* Schema::FindRegistration(std::wstring_view registration, std::wstring_view provider) const {
  const std::wstring path = std::wstring(registration) + L".provider=" + Quoted(ProviderPath(provider));
  return FindWhere(instances, [&](const auto& known) { return SameText(known.path, path); });
}

std::wstring Quoted(std::wstring_view text) {
  std::wstring quoted = L"\"";
  for (const wchar_t character : text) {
    if (character == L'"' || character == L'\\') quoted += L'\\';
    quoted += character;
  }
  return quoted + L"\"";
}

}  // namespace lab
