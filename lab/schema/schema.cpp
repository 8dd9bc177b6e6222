#include "lab/schema/schema.h"

#include <algorithm>

#include "lab/schema/textcompare.h"

namespace lab {
namespace {

template <typename Items>
auto FindNamed(const Items& items, std::wstring_view name) {
  const auto found =
      std::find_if(items.begin(), items.end(), [&](const auto& item) { return SameText(item.name, name); });
  return found == items.end() ? nullptr : &*found;
}

std::wstring TextValue(const InstanceDefinition& instance, std::wstring_view name) {
  for (const auto& [property, value] : instance.values) {
    const auto* text = std::get_if<std::wstring>(&value);
    if (text != nullptr && SameText(property, name)) return *text;
  }
  return {};
}

}  // namespace

const Qualifier* FindQualifier(const std::vector<Qualifier>& qualifiers, std::wstring_view name) {
  return FindNamed(qualifiers, name);
}

const Property* ClassDefinition::Find(std::wstring_view property) const { return FindNamed(properties, property); }

const Method* ClassDefinition::FindMethod(std::wstring_view method) const { return FindNamed(methods, method); }

bool ClassDefinition::IsA(std::wstring_view className) const {
  return SameText(name, className) || std::any_of(derivation.begin(), derivation.end(),
                                                  [&](const auto& ancestor) { return SameText(ancestor, className); });
}

std::wstring ClassDefinition::Provider() const {
  const Qualifier* qualifier = FindQualifier(qualifiers, L"provider");
  const auto* text = qualifier == nullptr ? nullptr : std::get_if<std::wstring>(&qualifier->value);
  return text == nullptr ? std::wstring() : *text;
}

std::shared_ptr<const ClassDefinition> Schema::Find(std::wstring_view className) const {
  for (const auto& definition : classes) {
    if (SameText(definition->name, className)) return definition;
  }
  return nullptr;
}

std::wstring Schema::ProviderClassId(std::wstring_view providerName) const {
  for (const InstanceDefinition& instance : instances) {
    if (!SameText(instance.className, L"__Win32Provider")) continue;
    if (SameText(TextValue(instance, L"Name"), providerName)) return TextValue(instance, L"CLSID");
  }
  return {};
}

MofError::MofError(const std::string& file, int line, int column, const std::string& message)
    : std::runtime_error(file + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + message),
      m_line(line),
      m_column(column) {}

}  // namespace lab
