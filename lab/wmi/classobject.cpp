#include "lab/wmi/classobject.h"

#include <string>
#include <utility>
#include <vector>

#include "lab/schema/textcompare.h"
#include "lab/unknown.h"
#include "lab/wmi/objectpathtext.h"
#include "lab/wmi/qualifierset.h"
#include "lab/wmi/wbemvalue.h"
#include "platform/comtext.h"
#include "platform/hresult.h"

using Microsoft::WRL::ComPtr;
using qvrn::HresultFromCurrentException;

namespace lab {
namespace {

using Definition = std::shared_ptr<const ClassDefinition>;

constexpr const wchar_t* kSystemProperties[] = {L"__CLASS", L"__RELPATH", L"__PATH"};

// A signature that a method lacks is null; a null target is not filled.
void GiveSignature(const Definition& signature, IWbemClassObject** target) {
  if (target != nullptr) *target = signature == nullptr ? nullptr : MakeClassObject(signature).Detach();
}

class ClassObject final : public Unknown<IWbemClassObject>, private Counted<struct WbemObjects> {
 public:
  ClassObject(Definition definition, bool isInstance)
      : m_definition(std::move(definition)), m_isInstance(isInstance), m_values(m_definition->properties.size()) {
    for (std::size_t i = 0; i < m_values.size(); ++i) {
      StoreValue(m_definition->properties[i].initial, *m_values[i].Get());
    }
  }

  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor) noexcept override
      try {
    if (name == nullptr || flags != 0) return WBEM_E_INVALID_PARAMETER;
    const Property* const property = m_definition->Find(name);
    if (property == nullptr && !IsKnownProperty(*m_definition, name)) return WBEM_E_NOT_FOUND;
    qvrn::Variant held;
    if (property == nullptr) {
      StoreValue(SystemValue(name), *held.Get());
    } else if (FAILED(::VariantCopy(held.Get(), ValueOf(*property).Get()))) {
      return E_OUTOFMEMORY;
    }
    if (value != nullptr) *value = std::exchange(*held.Get(), VARIANT{});
    if (type != nullptr) *type = property == nullptr ? CIMTYPE{CIM_STRING} : property->type;
    if (flavor != nullptr) *flavor = property == nullptr ? WBEM_FLAVOR_ORIGIN_SYSTEM : WBEM_FLAVOR_ORIGIN_LOCAL;
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE type) noexcept override try {
    if (name == nullptr || flags != 0 || value == nullptr) return WBEM_E_INVALID_PARAMETER;
    const Property* const property = m_definition->Find(name);
    if (property == nullptr) return IsKnownProperty(*m_definition, name) ? WBEM_E_READ_ONLY : WBEM_E_NOT_FOUND;
    qvrn::Variant taken;
    const bool isLax = m_definition->lax && value->vt != VT_NULL && value->vt != VT_EMPTY;
    const bool typeFits = type == CIM_EMPTY || type == property->type;
    if (!isLax && !typeFits) return WBEM_E_TYPE_MISMATCH;
    const HRESULT hr =
        isLax ? ::VariantCopy(taken.Get(), value) : ConvertVariant(*value, CimTypeOf(property->type), *taken.Get());
    if (SUCCEEDED(hr)) std::swap(*taken.Get(), *ValueOf(*property).Get());
    return hr;
  } catch (...) {
    return HresultFromCurrentException();
  }

  // The system properties are left out, as the platform's own class objects here do: its wmic counts on it.
  HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG flags) noexcept override {
    if (flags != 0 && flags != WBEM_FLAG_NONSYSTEM_ONLY) return WBEM_E_NOT_SUPPORTED;
    m_nextProperty = 0;
    return WBEM_S_NO_ERROR;
  }
  HRESULT STDMETHODCALLTYPE Next(LONG, BSTR* name, VARIANT* value, CIMTYPE* type, LONG* flavor) noexcept override try {
    if (name != nullptr) *name = nullptr;
    if (m_nextProperty == m_values.size()) return WBEM_S_NO_MORE_DATA;
    const std::wstring& next = m_definition->properties[m_nextProperty++].name;
    if (name != nullptr) *name = qvrn::Bstr(next.c_str()).Release();
    return Get(next.c_str(), 0, value, type, flavor);
  } catch (...) {
    return HresultFromCurrentException();
  }
  HRESULT STDMETHODCALLTYPE EndEnumeration() noexcept override { return WBEM_S_NO_ERROR; }

  HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR name, IWbemQualifierSet** set) noexcept override try {
    if (name == nullptr || set == nullptr) return WBEM_E_INVALID_PARAMETER;
    *set = nullptr;
    const Property* const property = m_definition->Find(name);
    if (property == nullptr) return IsKnownProperty(*m_definition, name) ? WBEM_E_SYSTEM_PROPERTY : WBEM_E_NOT_FOUND;
    *set = MakeQualifierSet(property->qualifiers).Detach();
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE SpawnInstance(LONG flags, IWbemClassObject** instance) noexcept override try {
    if (instance != nullptr) *instance = nullptr;
    if (instance == nullptr || flags != 0) return WBEM_E_INVALID_PARAMETER;
    if (m_isInstance) return WBEM_E_INVALID_OPERATION;
    *instance = MakeInstance(m_definition).Detach();
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }

  // An instance has no methods of its own.
  HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR name, LONG, IWbemClassObject** in,
                                      IWbemClassObject** out) noexcept override try {
    GiveSignature(nullptr, in);
    GiveSignature(nullptr, out);
    if (name == nullptr) return WBEM_E_INVALID_PARAMETER;
    if (m_isInstance) return WBEM_E_ILLEGAL_OPERATION;
    const Method* const method = m_definition->FindMethod(name);
    if (method == nullptr) return WBEM_E_NOT_FOUND;
    GiveSignature(method->in, in);
    GiveSignature(method->out, out);
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE GetQualifierSet(IWbemQualifierSet**) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR, LONG, VARIANT*, SAFEARRAY**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE Clone(IWbemClassObject**) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE GetObjectText(LONG, BSTR*) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE SpawnDerivedClass(LONG, IWbemClassObject**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE CompareTo(LONG, IWbemClassObject*) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE GetPropertyOrigin(LPCWSTR, BSTR*) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE PutMethod(LPCWSTR, LONG, IWbemClassObject*, IWbemClassObject*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE DeleteMethod(LPCWSTR) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE NextMethod(LONG, BSTR*, IWbemClassObject**, IWbemClassObject**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE EndMethodEnumeration() noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE GetMethodQualifierSet(LPCWSTR, IWbemQualifierSet**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE GetMethodOrigin(LPCWSTR, BSTR*) noexcept override { return WBEM_E_NOT_SUPPORTED; }

 private:
  qvrn::Variant& ValueOf(const Property& property) {
    return m_values[static_cast<std::size_t>(&property - m_definition->properties.data())];
  }

  // Keys are texts; an instance without the value of one has no path.
  std::wstring RelativePath() {
    std::wstring keys;
    for (const Property& property : m_definition->properties) {
      if (!m_isInstance || !property.Has(L"key")) continue;
      const qvrn::Variant& value = ValueOf(property);
      if (!value.IsText()) return {};
      keys += (keys.empty() ? L"." : L",") + property.name + L"=" + Quoted(value.Text());
    }
    return m_isInstance && keys.empty() ? keys : m_definition->name + keys;
  }

  Value SystemValue(std::wstring_view name) {
    if (SameText(name, L"__CLASS")) return m_definition->name;
    const std::wstring path = RelativePath();
    if (path.empty()) return {};
    return SameText(name, L"__PATH") ? L"\\\\" + ComputerName() + L"\\root\\cimv2:" + path : path;
  }

  const Definition m_definition;
  const bool m_isInstance;
  std::vector<qvrn::Variant> m_values;  ///< one per property of the definition
  std::size_t m_nextProperty = 0;
};

}  // namespace

ComPtr<IWbemClassObject> MakeClassObject(Definition definition) {
  return Make<ClassObject>(std::move(definition), false);
}

ComPtr<IWbemClassObject> MakeInstance(Definition definition) { return Make<ClassObject>(std::move(definition), true); }

bool IsKnownProperty(const ClassDefinition& definition, std::wstring_view name) {
  for (const wchar_t* known : kSystemProperties) {
    if (SameText(known, name)) return true;
  }
  return definition.Find(name) != nullptr;
}

long LiveClassObjects() { return Counted<struct WbemObjects>::Live(); }

}  // namespace lab
