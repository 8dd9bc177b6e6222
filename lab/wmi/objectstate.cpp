#include "lab/wmi/objectstate.h"

#include <algorithm>
#include <iterator>

#include "lab/schema/cimtypes.h"
#include "lab/schema/textcompare.h"
#include "lab/wmi/wbemvalue.h"
#include "platform/wmi.h"

namespace lab {
namespace {

constexpr wchar_t kNamespace[] = L"root\\cimv2";

std::wstring ComputerName() {
  wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
  ::GetComputerNameW(name, &length);
  return name;
}

void StoreTextOrNull(const std::wstring& text, VARIANT& value) {
  if (!text.empty()) return StoreValue(text, CIM_STRING, value);
  value.vt = VT_NULL;
}

std::wstring FullPath(const ObjectState& state) {
  const std::wstring path = state.RelativePath();
  return path.empty() ? path : L"\\\\" + ComputerName() + L"\\" + kNamespace + L":" + path;
}

std::wstring Dynasty(const ClassDefinition& definition) {
  return definition.derivation.empty() ? definition.name : definition.derivation.back();
}

struct SystemProperty {
  const wchar_t* name;
  CIMTYPE type;
  void (*store)(const ObjectState& state, VARIANT& value);
};

constexpr SystemProperty kSystemProperties[] = {
    {L"__GENUS", CIM_SINT32,
     [](const ObjectState& state, VARIANT& value) {
       StoreValue(std::int64_t{state.IsInstance() ? WBEM_GENUS_INSTANCE : WBEM_GENUS_CLASS}, CIM_SINT32, value);
     }},
    {L"__CLASS", CIM_STRING,
     [](const ObjectState& state, VARIANT& value) { StoreTextOrNull(state.Definition()->name, value); }},
    {L"__SUPERCLASS", CIM_STRING,
     [](const ObjectState& state, VARIANT& value) { StoreTextOrNull(state.Definition()->superclass, value); }},
    {L"__DYNASTY", CIM_STRING,
     [](const ObjectState& state, VARIANT& value) { StoreTextOrNull(Dynasty(*state.Definition()), value); }},
    {L"__RELPATH", CIM_STRING,
     [](const ObjectState& state, VARIANT& value) { StoreTextOrNull(state.RelativePath(), value); }},
    {L"__PROPERTY_COUNT", CIM_SINT32,
     [](const ObjectState& state, VARIANT& value) {
       StoreValue(static_cast<std::int64_t>(state.Names(WBEM_FLAG_NONSYSTEM_ONLY, nullptr).size()), CIM_SINT32, value);
     }},
    {L"__DERIVATION", CIM_STRING | CIM_FLAG_ARRAY,
     [](const ObjectState& state, VARIANT& value) { StoreTexts(state.Definition()->derivation, value); }},
    {L"__SERVER", CIM_STRING, [](const ObjectState&, VARIANT& value) { StoreTextOrNull(ComputerName(), value); }},
    {L"__NAMESPACE", CIM_STRING, [](const ObjectState&, VARIANT& value) { StoreTextOrNull(kNamespace, value); }},
    {L"__PATH", CIM_STRING, [](const ObjectState& state, VARIANT& value) { StoreTextOrNull(FullPath(state), value); }},
};

bool Contains(const std::vector<std::wstring>& names, std::wstring_view name) {
  return std::any_of(names.begin(), names.end(), [&](const std::wstring& held) { return SameText(held, name); });
}

// Whether a condition on origin, keys, references or qualifiers leaves the system properties in.
bool SelectsSystem(LONG flags, const wchar_t* qualifier) {
  const LONG origin = flags & WBEM_MASK_CONDITION_ORIGIN;
  if ((flags & (WBEM_FLAG_KEYS_ONLY | WBEM_FLAG_REFS_ONLY)) != 0 || qualifier != nullptr) return false;
  return origin == 0 || origin == WBEM_FLAG_SYSTEM_ONLY;
}

std::wstring Declarator(const Property& property) {
  const std::wstring type =
      property.type == CIM_REFERENCE ? property.reference + L" ref" : CimTypeOf(property.type).name;
  return type + L" " + property.name + ((property.type & CIM_FLAG_ARRAY) != 0 ? L"[]" : L"");
}

}  // namespace

ObjectState::ObjectState(std::shared_ptr<const ClassDefinition> definition, bool isInstance)
    : m_definition(std::move(definition)),
      m_isInstance(isInstance),
      m_values(m_definition->properties.size()),
      m_hidden(m_definition->properties.size(), false) {
  for (std::size_t index = 0; index < m_values.size(); ++index) StoreInitial(index, *m_values[index].Get());
}

ObjectState::ObjectState(const ObjectState& other)
    : m_definition(other.m_definition),
      m_isInstance(other.m_isInstance),
      m_hasPath(other.m_hasPath),
      m_values(other.m_values.size()),
      m_hidden(other.m_hidden) {
  for (std::size_t index = 0; index < m_values.size(); ++index) {
    if (FAILED(StoreCopy(other.Value(index), *m_values[index].Get()))) throw std::bad_alloc();
  }
}

ObjectState ObjectState::Spawn() const {
  ObjectState instance(*this);
  instance.m_isInstance = true;
  return instance;
}

void ObjectState::Keep(const std::vector<std::wstring>& names) {
  const bool asksForPath = Contains(names, L"__PATH") || Contains(names, L"__RELPATH");
  for (std::size_t index = 0; index < m_hidden.size(); ++index) {
    m_hidden[index] = m_hidden[index] || !Contains(names, Declaration(index).name);
    if (m_isInstance && m_hidden[index] && Declaration(index).IsKey() && !asksForPath) m_hasPath = false;
  }
}

std::vector<std::wstring> ObjectState::Names(LONG flags, const wchar_t* qualifier) const {
  std::vector<std::wstring> names;
  if (SelectsSystem(flags, qualifier)) {
    for (const SystemProperty& property : kSystemProperties) names.emplace_back(property.name);
  }
  for (std::size_t index = 0; index < m_values.size(); ++index) {
    if (!m_hidden[index] && Selects(index, flags, qualifier)) names.push_back(Declaration(index).name);
  }
  return names;
}

bool ObjectState::Selects(std::size_t index, LONG flags, const wchar_t* qualifier) const {
  const Property& property = Declaration(index);
  const LONG origin = flags & WBEM_MASK_CONDITION_ORIGIN;
  if (origin == WBEM_FLAG_SYSTEM_ONLY) return false;
  if (origin == WBEM_FLAG_LOCAL_ONLY && !IsLocal(index)) return false;
  if (origin == WBEM_FLAG_PROPAGATED_ONLY && IsLocal(index)) return false;
  if ((flags & WBEM_FLAG_KEYS_ONLY) != 0 && !property.IsKey()) return false;
  if ((flags & WBEM_FLAG_REFS_ONLY) != 0 && property.type != CIM_REFERENCE) return false;
  if (qualifier == nullptr) return true;
  const bool wanted = (flags & WBEM_MASK_PRIMARY_CONDITION) != WBEM_FLAG_ONLY_IF_FALSE;
  return property.Has(qualifier) == wanted;
}

std::optional<std::size_t> ObjectState::Find(std::wstring_view name) const {
  const Property* property = m_definition->Find(name);
  if (property == nullptr) return std::nullopt;
  const auto index = static_cast<std::size_t>(property - m_definition->properties.data());
  return m_hidden[index] ? std::nullopt : std::optional(index);
}

bool ObjectState::IsLocal(std::size_t index) const {
  const std::wstring& origin = Declaration(index).origin;
  return origin.empty() || SameText(origin, m_definition->name);
}

HRESULT ObjectState::Set(std::size_t index, const VARIANT& value) {
  qvrn::Variant taken;
  const bool isNull = value.vt == VT_NULL || value.vt == VT_EMPTY;
  const HRESULT hr = m_definition->lax && !isNull ? StoreCopy(value, *taken.Get())
                                                  : StoreVariant(value, Declaration(index).type, *taken.Get());
  if (SUCCEEDED(hr)) std::swap(*taken.Get(), *m_values[index].Get());
  return hr;
}

void ObjectState::Reset(std::size_t index) { StoreInitial(index, *m_values[index].Put()); }

void ObjectState::StoreInitial(std::size_t index, VARIANT& value) const {
  const Property& property = Declaration(index);
  StoreValue(property.initial, property.type, value);
}

bool ObjectState::GetSystem(std::wstring_view name, qvrn::Variant& value, CIMTYPE& type) const {
  const auto* const found = std::find_if(std::begin(kSystemProperties), std::end(kSystemProperties),
                                         [&](const SystemProperty& property) { return SameText(property.name, name); });
  if (found == std::end(kSystemProperties)) return false;
  found->store(*this, *value.Put());
  type = found->type;
  return true;
}

std::wstring ObjectState::RelativePath() const {
  if (!m_isInstance) return m_definition->name;
  if (!m_hasPath) return {};
  if (m_definition->Has(L"singleton")) return m_definition->name + L"=@";
  std::wstring keys;
  for (std::size_t index = 0; index < m_values.size(); ++index) {
    if (!Declaration(index).IsKey()) continue;
    if (Value(index).vt == VT_NULL) return {};
    keys += keys.empty() ? L"." : L",";
    keys += Declaration(index).name + L"=" + MofText(Value(index), Declaration(index).type);
  }
  return keys.empty() ? keys : m_definition->name + keys;
}

std::wstring ObjectState::Text() const { return m_isInstance ? InstanceText() : ClassText(); }

std::wstring ObjectState::InstanceText() const {
  std::wstring text = L"\ninstance of " + m_definition->name + L"\n{\n";
  for (std::size_t index = 0; index < m_values.size(); ++index) {
    if (m_hidden[index] || Value(index).vt == VT_NULL) continue;
    text += L"\t" + Declaration(index).name + L" = " + MofText(Value(index), Declaration(index).type) + L";\n";
  }
  return text + L"};\n";
}

std::wstring ObjectState::ClassText() const {
  const std::wstring& superclass = m_definition->superclass;
  std::wstring text = L"\nclass " + m_definition->name + (superclass.empty() ? L"" : L" : " + superclass) + L"\n{\n";
  for (std::size_t index = 0; index < m_values.size(); ++index) {
    if (!IsLocal(index)) continue;
    text += (Declaration(index).IsKey() ? L"\t[key] " : L"\t") + Declarator(Declaration(index));
    if (Value(index).vt != VT_NULL) text += L" = " + MofText(Value(index), Declaration(index).type);
    text += L";\n";
  }
  return text + L"};\n";
}

}  // namespace lab
