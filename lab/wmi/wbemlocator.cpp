#include "lab/unknown.h"
#include "lab/wmi/objectpathtext.h"
#include "lab/wmi/wbemhost.h"
#include "platform/hresult.h"

using qvrn::HresultFromCurrentException;

namespace lab {
namespace {

class Locator final : public Unknown<IWbemLocator> {
 public:
  HRESULT STDMETHODCALLTYPE ConnectServer(const BSTR name, const BSTR, const BSTR, const BSTR, LONG, const BSTR,
                                          IWbemContext*, IWbemServices** services) noexcept override try {
    if (services == nullptr) return WBEM_E_INVALID_PARAMETER;
    *services = nullptr;
    const NamespaceMatch match = MatchNamespace(name == nullptr ? L"" : name);
    if (match == NamespaceMatch::kOtherComputer) return qvrn::HrFromWin32(RPC_S_SERVER_UNAVAILABLE);
    if (match == NamespaceMatch::kOtherNamespace) return WBEM_E_INVALID_NAMESPACE;
    *services = Namespace();
    if (*services == nullptr) return WBEM_E_FAILED;
    (*services)->AddRef();
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }
};

class LocatorFactory final : public Unknown<IClassFactory> {
 public:
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID id, void** object) noexcept override try {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto* const locator = new Locator;
    const HRESULT hr = locator->QueryInterface(id, object);
    locator->Release();
    return hr;
  } catch (...) {
    return HresultFromCurrentException();
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) noexcept override { return S_OK; }
};

}  // namespace

IClassFactory* LocatorClassFactory() {
  static LocatorFactory& factory = *new LocatorFactory;
  return &factory;
}

}  // namespace lab
