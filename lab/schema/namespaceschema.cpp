#include "lab/schema/namespaceschema.h"

#include <algorithm>
#include <mutex>

#include "lab/modulepath.h"
#include "lab/schema/textcompare.h"
#include "lab/wmi/objectpathtext.h"

namespace lab {
namespace {

struct Overrides {
  std::mutex mutex;
  std::vector<std::shared_ptr<const ClassDefinition>> classes;
};

Overrides& TheOverrides() {
  static Overrides& overrides = *new Overrides;
  return overrides;
}

Schema* ReadNamespaceSchema() {
  auto schema = std::make_unique<Schema>();
  for (const wchar_t* file : {L"platform.mof", L"qvrnwmiprovider.mof"}) ReadMofFile(ModuleFolder() + file, *schema);
  return schema.release();
}

const Value* FindValue(const InstanceDefinition& instance, std::wstring_view name) {
  const auto found = std::find_if(instance.values.begin(), instance.values.end(),
                                  [&](const auto& value) { return SameText(value.first, name); });
  return found == instance.values.end() ? nullptr : &found->second;
}

std::wstring TextValue(const InstanceDefinition& instance, std::wstring_view name) {
  const Value* const value = FindValue(instance, name);
  const auto* const text = value == nullptr ? nullptr : std::get_if<std::wstring>(value);
  return text == nullptr ? std::wstring() : *text;
}

/// Whether a registration's reference, an alias or an object path, is that of the named provider.
bool MeansProvider(const Schema& schema, const std::wstring& reference, const std::wstring& provider) {
  const auto path = ParseObjectPath(reference);
  if (path && !path->keys.empty()) return SameText(path->keys.front().second, provider);
  return std::any_of(schema.instances.begin(), schema.instances.end(), [&](const InstanceDefinition& instance) {
    return SameText(instance.className, L"__Win32Provider") && SameText(TextValue(instance, L"Name"), provider) &&
           !instance.alias.empty() && SameText(instance.alias, reference);
  });
}

constexpr struct {
  const wchar_t* registration;
  const wchar_t* setting;  ///< null: being registered is enough
  Capability capability;
  bool byDefault;
} kCapabilities[] = {
    {L"__InstanceProviderRegistration", L"SupportsGet", Capability::kGet, false},
    {L"__InstanceProviderRegistration", L"SupportsPut", Capability::kPut, false},
    {L"__InstanceProviderRegistration", L"SupportsDelete", Capability::kDelete, false},
    {L"__InstanceProviderRegistration", L"SupportsEnumeration", Capability::kEnumerate, true},
    {L"__MethodProviderRegistration", nullptr, Capability::kMethods, true},
};

bool SettingOf(const InstanceDefinition& registration, const wchar_t* setting, bool byDefault) {
  const Value* const value = setting == nullptr ? nullptr : FindValue(registration, setting);
  const bool* const given = value == nullptr ? nullptr : std::get_if<bool>(value);
  return given == nullptr ? byDefault : *given;
}

}  // namespace

const Schema& NamespaceSchema() {
  static const Schema& schema = *ReadNamespaceSchema();
  return schema;
}

std::shared_ptr<const ClassDefinition> FindClass(std::wstring_view className) {
  {
    const std::lock_guard lock(TheOverrides().mutex);
    for (const auto& definition : TheOverrides().classes) {
      if (SameText(definition->name, className)) return definition;
    }
  }
  return NamespaceSchema().Find(className);
}

void OverrideClass(std::shared_ptr<const ClassDefinition> definition) {
  const std::lock_guard lock(TheOverrides().mutex);
  auto& classes = TheOverrides().classes;
  if (definition == nullptr) {
    classes.clear();
    return;
  }
  std::erase_if(classes, [&](const auto& old) { return SameText(old->name, definition->name); });
  classes.push_back(std::move(definition));
}

bool IsCapable(const Schema& schema, const std::wstring& provider, Capability capability) {
  const auto& row = *std::find_if(std::begin(kCapabilities), std::end(kCapabilities),
                                  [&](const auto& candidate) { return candidate.capability == capability; });
  return std::any_of(schema.instances.begin(), schema.instances.end(), [&](const InstanceDefinition& instance) {
    return SameText(instance.className, row.registration) &&
           MeansProvider(schema, TextValue(instance, L"provider"), provider) &&
           SettingOf(instance, row.setting, row.byDefault);
  });
}

}  // namespace lab
