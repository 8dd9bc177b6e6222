#include "lab/wmi/classobject.h"

#include <optional>
#include <utility>

#include "lab/schema/cimtypes.h"
#include "lab/schema/textcompare.h"
#include "lab/wmi/objectstate.h"
#include "lab/wmi/qualifierset.h"
#include "lab/wmi/wbemobject.h"
#include "lab/wmi/wbemvalue.h"
#include "platform/hresult.h"

using Microsoft::WRL::ComPtr;
using qvrn::HresultFromCurrentException;

namespace lab {
namespace {

// Only objects of this file know it, so an answer tells that the object is one and where it lies.
// {B2B6C6E0-5C1B-4C0B-9E55-3A1F0D6C9A41}
constexpr IID kOwnObject = {0xb2b6c6e0, 0x5c1b, 0x4c0b, {0x9e, 0x55, 0x3a, 0x1f, 0x0d, 0x6c, 0x9a, 0x41}};

using Definition = std::shared_ptr<const ClassDefinition>;

class ClassObject final : public Unknown<IWbemClassObject>, private CountedObject {
 public:
  explicit ClassObject(ObjectState state) : m_state(std::move(state)) {}

  ObjectState& State() { return m_state; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override;

  HRESULT STDMETHODCALLTYPE GetQualifierSet(IWbemQualifierSet** set) noexcept override;
  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type,
                                LONG* flavor) noexcept override;
  HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE type) noexcept override;
  HRESULT STDMETHODCALLTYPE Delete(LPCWSTR name) noexcept override;
  HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR qualifier, LONG flags, VARIANT* qualifierValue,
                                     SAFEARRAY** names) noexcept override;
  HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG flags) noexcept override;
  HRESULT STDMETHODCALLTYPE Next(LONG flags, BSTR* name, VARIANT* value, CIMTYPE* type, LONG* flavor) noexcept override;
  HRESULT STDMETHODCALLTYPE EndEnumeration() noexcept override;
  HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR name, IWbemQualifierSet** set) noexcept override;
  HRESULT STDMETHODCALLTYPE Clone(IWbemClassObject** copy) noexcept override;
  HRESULT STDMETHODCALLTYPE GetObjectText(LONG flags, BSTR* text) noexcept override;
  HRESULT STDMETHODCALLTYPE SpawnDerivedClass(LONG flags, IWbemClassObject** derived) noexcept override;
  HRESULT STDMETHODCALLTYPE SpawnInstance(LONG flags, IWbemClassObject** instance) noexcept override;
  HRESULT STDMETHODCALLTYPE CompareTo(LONG flags, IWbemClassObject* other) noexcept override;
  HRESULT STDMETHODCALLTYPE GetPropertyOrigin(LPCWSTR name, BSTR* className) noexcept override;
  HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR ancestor) noexcept override;
  HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR name, LONG flags, IWbemClassObject** in,
                                      IWbemClassObject** out) noexcept override;
  HRESULT STDMETHODCALLTYPE PutMethod(LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE DeleteMethod(LPCWSTR) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG flags) noexcept override;
  HRESULT STDMETHODCALLTYPE NextMethod(LONG flags, BSTR* name, IWbemClassObject** in,
                                       IWbemClassObject** out) noexcept override;
  HRESULT STDMETHODCALLTYPE EndMethodEnumeration() noexcept override;
  HRESULT STDMETHODCALLTYPE GetMethodQualifierSet(LPCWSTR name, IWbemQualifierSet** set) noexcept override;
  HRESULT STDMETHODCALLTYPE GetMethodOrigin(LPCWSTR, BSTR* className) noexcept override {
    if (className != nullptr) *className = nullptr;
    return WBEM_E_NOT_SUPPORTED;
  }

 private:
  HRESULT GetSystem(LPCWSTR name, VARIANT* value, CIMTYPE* type, LONG* flavor) const;
  bool IsSystem(LPCWSTR name) const;

  ObjectState m_state;
  NameCursor m_properties;
  NameCursor m_methods;
};

ComPtr<IWbemClassObject> Wrap(ObjectState state) { return Make<ClassObject>(std::move(state)); }

ComPtr<ClassObject> Own(IWbemClassObject* object) {
  ComPtr<ClassObject> own;
  if (object != nullptr) object->QueryInterface(kOwnObject, reinterpret_cast<void**>(own.GetAddressOf()));
  return own;
}

// A signature that a method lacks is null; a null target is not filled.
void GiveSignature(const Definition& signature, IWbemClassObject** target) {
  if (target != nullptr && signature != nullptr) *target = MakeClassObject(signature).Detach();
}

void Clear(IWbemClassObject** in, IWbemClassObject** out) noexcept {
  if (in != nullptr) *in = nullptr;
  if (out != nullptr) *out = nullptr;
}

std::wstring CimTypeText(const Property& property) {
  const std::wstring name = CimTypeOf(property.type).name;
  return property.type == CIM_REFERENCE ? name + L":" + property.reference : name;
}

HRESULT ClassObject::QueryInterface(REFIID id, void** object) noexcept {
  if (object == nullptr || !::IsEqualIID(id, kOwnObject)) return Unknown::QueryInterface(id, object);
  *object = this;
  AddRef();
  return S_OK;
}

HRESULT ClassObject::GetQualifierSet(IWbemQualifierSet** set) noexcept try {
  if (set == nullptr) return WBEM_E_INVALID_PARAMETER;
  *set = nullptr;
  *set = MakeQualifierSet(m_state.Definition()->qualifiers).Detach();
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor) noexcept try {
  if (name == nullptr || flags != 0) return WBEM_E_INVALID_PARAMETER;
  const std::optional<std::size_t> index = m_state.Find(name);
  if (!index) return GetSystem(name, value, type, flavor);
  qvrn::Variant copy;
  const HRESULT hr = StoreCopy(m_state.Value(*index), *copy.Get());
  if (FAILED(hr)) return hr;
  Give(copy, value);
  Give(m_state.Declaration(*index).type, type);
  Give(static_cast<LONG>(m_state.IsLocal(*index) ? WBEM_FLAVOR_ORIGIN_LOCAL : WBEM_FLAVOR_ORIGIN_PROPAGATED), flavor);
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::GetSystem(LPCWSTR name, VARIANT* value, CIMTYPE* type, LONG* flavor) const {
  qvrn::Variant held;
  CIMTYPE heldType = CIM_EMPTY;
  if (!m_state.GetSystem(name, held, heldType)) return WBEM_E_NOT_FOUND;
  Give(held, value);
  Give(heldType, type);
  Give(LONG{WBEM_FLAVOR_ORIGIN_SYSTEM}, flavor);
  return WBEM_S_NO_ERROR;
}

bool ClassObject::IsSystem(LPCWSTR name) const { return SUCCEEDED(GetSystem(name, nullptr, nullptr, nullptr)); }

HRESULT ClassObject::Put(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE type) noexcept try {
  if (name == nullptr || flags != 0 || value == nullptr) return WBEM_E_INVALID_PARAMETER;
  const std::optional<std::size_t> index = m_state.Find(name);
  if (!index) return IsSystem(name) ? WBEM_E_READ_ONLY : WBEM_E_NOT_FOUND;
  const bool typeFits = type == CIM_EMPTY || type == m_state.Declaration(*index).type;
  if (!typeFits && !m_state.Definition()->lax) return WBEM_E_TYPE_MISMATCH;
  return m_state.Set(*index, *value);
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::Delete(LPCWSTR name) noexcept try {
  if (name == nullptr) return WBEM_E_INVALID_PARAMETER;
  const std::optional<std::size_t> index = m_state.Find(name);
  if (!index) return IsSystem(name) ? WBEM_E_SYSTEM_PROPERTY : WBEM_E_NOT_FOUND;
  if (!m_state.IsInstance()) return WBEM_E_NOT_SUPPORTED;
  m_state.Reset(*index);
  return WBEM_S_RESET_TO_DEFAULT;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::GetNames(LPCWSTR qualifier, LONG flags, VARIANT*, SAFEARRAY** names) noexcept try {
  if (names == nullptr) return WBEM_E_INVALID_PARAMETER;
  *names = nullptr;
  const LONG condition = flags & WBEM_MASK_PRIMARY_CONDITION;
  if (condition == WBEM_FLAG_ONLY_IF_IDENTICAL) return WBEM_E_NOT_SUPPORTED;
  if (condition != WBEM_FLAG_ALWAYS && qualifier == nullptr) return WBEM_E_INVALID_PARAMETER;
  qvrn::Variant held;
  StoreTexts(m_state.Names(flags, condition == WBEM_FLAG_ALWAYS ? nullptr : qualifier), *held.Get());
  *names = std::exchange(*held.Get(), VARIANT{}).parray;
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

// Flags 0 leave the system properties out, as the platform's own class objects here do: its wmic counts on it.
HRESULT ClassObject::BeginEnumeration(LONG flags) noexcept try {
  const LONG origin = (flags & WBEM_MASK_CONDITION_ORIGIN) == 0 ? LONG{WBEM_FLAG_NONSYSTEM_ONLY} : 0;
  m_properties.Begin(m_state.Names(flags | origin, nullptr));
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::Next(LONG, BSTR* name, VARIANT* value, CIMTYPE* type, LONG* flavor) noexcept try {
  if (name != nullptr) *name = nullptr;
  std::wstring next;
  const HRESULT hr = m_properties.Next(next);
  if (hr != S_OK) return hr;
  Give(next, name);
  return Get(next.c_str(), 0, value, type, flavor);
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::EndEnumeration() noexcept {
  m_properties.End();
  return WBEM_S_NO_ERROR;
}

HRESULT ClassObject::GetPropertyQualifierSet(LPCWSTR name, IWbemQualifierSet** set) noexcept try {
  if (set != nullptr) *set = nullptr;
  if (name == nullptr || set == nullptr) return WBEM_E_INVALID_PARAMETER;
  const std::optional<std::size_t> index = m_state.Find(name);
  if (!index) return IsSystem(name) ? WBEM_E_SYSTEM_PROPERTY : WBEM_E_NOT_FOUND;
  const Property& property = m_state.Declaration(*index);
  std::vector<Qualifier> qualifiers = property.qualifiers;
  qualifiers.push_back({L"CIMTYPE", CimTypeText(property)});
  *set = MakeQualifierSet(std::move(qualifiers)).Detach();
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::Clone(IWbemClassObject** copy) noexcept try {
  if (copy == nullptr) return WBEM_E_INVALID_PARAMETER;
  *copy = nullptr;
  *copy = Wrap(m_state).Detach();
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::GetObjectText(LONG, BSTR* text) noexcept try {
  if (text == nullptr) return WBEM_E_INVALID_PARAMETER;
  *text = nullptr;
  Give(m_state.Text(), text);
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::SpawnDerivedClass(LONG, IWbemClassObject** derived) noexcept {
  if (derived != nullptr) *derived = nullptr;
  return WBEM_E_NOT_SUPPORTED;
}

HRESULT ClassObject::SpawnInstance(LONG flags, IWbemClassObject** instance) noexcept try {
  if (instance != nullptr) *instance = nullptr;
  if (instance == nullptr || flags != 0) return WBEM_E_INVALID_PARAMETER;
  if (m_state.IsInstance()) return WBEM_E_INVALID_OPERATION;
  *instance = Wrap(m_state.Spawn()).Detach();
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::CompareTo(LONG flags, IWbemClassObject* other) noexcept try {
  const ComPtr<ClassObject> own = Own(other);
  if (own == nullptr) return WBEM_E_INVALID_PARAMETER;
  const std::wstring left = m_state.Text();
  const std::wstring right = own->m_state.Text();
  const bool same = (flags & WBEM_FLAG_IGNORE_CASE) != 0 ? SameText(left, right) : left == right;
  return same ? HRESULT{WBEM_S_NO_ERROR} : HRESULT{WBEM_S_DIFFERENT};
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::GetPropertyOrigin(LPCWSTR name, BSTR* className) noexcept try {
  if (className != nullptr) *className = nullptr;
  if (name == nullptr || className == nullptr) return WBEM_E_INVALID_PARAMETER;
  const std::optional<std::size_t> index = m_state.Find(name);
  if (!index) return IsSystem(name) ? WBEM_E_SYSTEM_PROPERTY : WBEM_E_NOT_FOUND;
  Give(m_state.IsLocal(*index) ? m_state.Definition()->name : m_state.Declaration(*index).origin, className);
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::InheritsFrom(LPCWSTR ancestor) noexcept try {
  if (ancestor == nullptr) return WBEM_E_INVALID_PARAMETER;
  return m_state.Definition()->IsA(ancestor) ? HRESULT{WBEM_S_NO_ERROR} : HRESULT{WBEM_S_FALSE};
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::GetMethod(LPCWSTR name, LONG, IWbemClassObject** in, IWbemClassObject** out) noexcept try {
  Clear(in, out);
  if (name == nullptr) return WBEM_E_INVALID_PARAMETER;
  if (m_state.IsInstance()) return WBEM_E_ILLEGAL_OPERATION;
  const Method* method = m_state.Definition()->FindMethod(name);
  if (method == nullptr) return WBEM_E_NOT_FOUND;
  GiveSignature(method->in, in);
  GiveSignature(method->out, out);
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::BeginMethodEnumeration(LONG flags) noexcept try {
  if (m_state.IsInstance()) return WBEM_E_ILLEGAL_OPERATION;
  std::vector<std::wstring> names;
  for (const Method& method : m_state.Definition()->methods) {
    if (flags == WBEM_FLAG_LOCAL_ONLY && !method.origin.empty()) continue;
    if (flags == WBEM_FLAG_PROPAGATED_ONLY && method.origin.empty()) continue;
    names.push_back(method.name);
  }
  m_methods.Begin(std::move(names));
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::NextMethod(LONG, BSTR* name, IWbemClassObject** in, IWbemClassObject** out) noexcept try {
  if (name != nullptr) *name = nullptr;
  Clear(in, out);
  std::wstring next;
  const HRESULT hr = m_methods.Next(next);
  if (hr != S_OK) return hr;
  Give(next, name);
  return GetMethod(next.c_str(), 0, in, out);
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT ClassObject::EndMethodEnumeration() noexcept {
  m_methods.End();
  return WBEM_S_NO_ERROR;
}

HRESULT ClassObject::GetMethodQualifierSet(LPCWSTR name, IWbemQualifierSet** set) noexcept try {
  if (set != nullptr) *set = nullptr;
  if (name == nullptr || set == nullptr) return WBEM_E_INVALID_PARAMETER;
  const Method* method = m_state.Definition()->FindMethod(name);
  if (method == nullptr) return WBEM_E_NOT_FOUND;
  *set = MakeQualifierSet(method->qualifiers).Detach();
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

}  // namespace

ComPtr<IWbemClassObject> MakeClassObject(std::shared_ptr<const ClassDefinition> definition) {
  return Wrap(ObjectState(std::move(definition), false));
}

ComPtr<IWbemClassObject> MakeInstance(std::shared_ptr<const ClassDefinition> definition) {
  return Wrap(ObjectState(std::move(definition), true));
}

ComPtr<IWbemClassObject> Project(IWbemClassObject* object, const std::vector<std::wstring>& names) {
  const ComPtr<ClassObject> own = Own(object);
  if (own == nullptr) return nullptr;
  ObjectState state(own->State());
  if (!names.empty()) state.Keep(names);
  return Wrap(std::move(state));
}

std::shared_ptr<const ClassDefinition> DefinitionOf(IWbemClassObject* object) {
  const ComPtr<ClassObject> own = Own(object);
  return own == nullptr ? nullptr : own->State().Definition();
}

long LiveClassObjects() { return CountedObject::Live(); }

}  // namespace lab
