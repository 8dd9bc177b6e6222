#include "lab/wmi/clientsecurity.h"

#include "lab/unknown.h"
#include "platform/hresult.h"

namespace lab {
namespace {

class ClientSecurity final : public Unknown<IClientSecurity> {
 public:
  HRESULT STDMETHODCALLTYPE QueryBlanket(IUnknown*, DWORD*, DWORD*, OLECHAR**, DWORD*, DWORD*, void**,
                                         DWORD*) noexcept override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetBlanket(IUnknown*, DWORD, DWORD, OLECHAR*, DWORD, DWORD, void*,
                                       DWORD) noexcept override {
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE CopyProxy(IUnknown*, IUnknown**) noexcept override { return E_NOTIMPL; }
};

}  // namespace

HRESULT GetClientSecurity(void** object) noexcept try {
  static ClientSecurity& security = *new ClientSecurity;
  return security.QueryInterface(IID_IClientSecurity, object);
} catch (...) {
  return qvrn::HresultFromCurrentException();
}

}  // namespace lab
