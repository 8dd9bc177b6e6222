#include "lab/wmi/qualifierset.h"

#include <utility>

#include "lab/wmi/wbemobject.h"
#include "lab/wmi/wbemvalue.h"
#include "platform/hresult.h"

using Microsoft::WRL::ComPtr;
using qvrn::HresultFromCurrentException;

namespace lab {
namespace {

// What the service reports for a qualifier that instances and derived classes inherit.
constexpr LONG kFlavor = WBEM_FLAVOR_FLAG_PROPAGATE_TO_INSTANCE | WBEM_FLAVOR_FLAG_PROPAGATE_TO_DERIVED_CLASS;

class QualifierSet final : public Unknown<IWbemQualifierSet>, private CountedObject {
 public:
  explicit QualifierSet(std::vector<Qualifier> qualifiers) : m_qualifiers(std::move(qualifiers)) {}

  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, LONG* flavor) noexcept override;
  HRESULT STDMETHODCALLTYPE Put(LPCWSTR, VARIANT*, LONG) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE GetNames(LONG flags, SAFEARRAY** names) noexcept override;
  HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG flags) noexcept override;
  HRESULT STDMETHODCALLTYPE Next(LONG flags, BSTR* name, VARIANT* value, LONG* flavor) noexcept override;
  HRESULT STDMETHODCALLTYPE EndEnumeration() noexcept override;

 private:
  std::vector<std::wstring> Names() const;

  const std::vector<Qualifier> m_qualifiers;
  NameCursor m_cursor;
};

std::vector<std::wstring> QualifierSet::Names() const {
  std::vector<std::wstring> names;
  names.reserve(m_qualifiers.size());
  for (const Qualifier& qualifier : m_qualifiers) names.push_back(qualifier.name);
  return names;
}

HRESULT QualifierSet::Get(LPCWSTR name, LONG flags, VARIANT* value, LONG* flavor) noexcept try {
  if (name == nullptr || flags != 0) return WBEM_E_INVALID_PARAMETER;
  const Qualifier* qualifier = FindQualifier(m_qualifiers, name);
  if (qualifier == nullptr) return WBEM_E_NOT_FOUND;
  qvrn::Variant held;
  StoreQualifier(qualifier->value, *held.Get());
  Give(held, value);
  Give(kFlavor, flavor);
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT QualifierSet::GetNames(LONG, SAFEARRAY** names) noexcept try {
  if (names == nullptr) return WBEM_E_INVALID_PARAMETER;
  *names = nullptr;
  qvrn::Variant held;
  StoreTexts(Names(), *held.Get());
  *names = std::exchange(*held.Get(), VARIANT{}).parray;
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT QualifierSet::BeginEnumeration(LONG) noexcept try {
  m_cursor.Begin(Names());
  return WBEM_S_NO_ERROR;
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT QualifierSet::Next(LONG, BSTR* name, VARIANT* value, LONG* flavor) noexcept try {
  if (name != nullptr) *name = nullptr;
  std::wstring next;
  const HRESULT hr = m_cursor.Next(next);
  if (hr != S_OK) return hr;
  Give(next, name);
  return Get(next.c_str(), 0, value, flavor);
} catch (...) {
  return HresultFromCurrentException();
}

HRESULT QualifierSet::EndEnumeration() noexcept {
  m_cursor.End();
  return WBEM_S_NO_ERROR;
}

}  // namespace

ComPtr<IWbemQualifierSet> MakeQualifierSet(std::vector<Qualifier> qualifiers) {
  return Make<QualifierSet>(std::move(qualifiers));
}

}  // namespace lab
