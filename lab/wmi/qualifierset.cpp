#include "lab/wmi/qualifierset.h"

#include <utility>

#include "lab/unknown.h"
#include "lab/wmi/wbemvalue.h"
#include "platform/comtext.h"
#include "platform/hresult.h"

namespace lab {
namespace {

class QualifierSet final : public Unknown<IWbemQualifierSet>, private Counted<struct WbemObjects> {
 public:
  explicit QualifierSet(std::vector<Qualifier> qualifiers) : m_qualifiers(std::move(qualifiers)) {}

  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, LONG*) noexcept override try {
    if (name == nullptr || flags != 0) return WBEM_E_INVALID_PARAMETER;
    const Qualifier* const qualifier = FindQualifier(m_qualifiers, name);
    if (qualifier == nullptr) return WBEM_E_NOT_FOUND;
    qvrn::Variant held;
    StoreValue(qualifier->value, *held.Get());
    if (value != nullptr) *value = std::exchange(*held.Get(), VARIANT{});
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return qvrn::HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE Put(LPCWSTR, VARIANT*, LONG) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE Delete(LPCWSTR) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE GetNames(LONG, SAFEARRAY**) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE Next(LONG, BSTR*, VARIANT*, LONG*) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE EndEnumeration() noexcept override { return WBEM_E_NOT_SUPPORTED; }

 private:
  const std::vector<Qualifier> m_qualifiers;
};

}  // namespace

Microsoft::WRL::ComPtr<IWbemQualifierSet> MakeQualifierSet(std::vector<Qualifier> qualifiers) {
  return Make<QualifierSet>(std::move(qualifiers));
}

}  // namespace lab
