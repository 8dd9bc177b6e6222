#include "tools/wmi/qvrnwmiprovider/classhandler.h"

#include "platform/hresult.h"

namespace qvrn {

HRESULT FinishRequest(IWbemObjectSink* sink, HRESULT status) noexcept {
  sink->SetStatus(WBEM_STATUS_COMPLETE, status, nullptr, nullptr);
  return status;
}

HRESULT WbemResultFromCurrentException() noexcept {
  return HresultFromCurrentException() == E_OUTOFMEMORY ? static_cast<HRESULT>(WBEM_E_OUT_OF_MEMORY)
                                                        : static_cast<HRESULT>(WBEM_E_FAILED);
}

HRESULT ClassHandler::QueryInterface(REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (riid != IID_IWbemServices) return E_NOINTERFACE;
  *ppv = static_cast<IWbemServices*>(this);
  AddRef();
  return S_OK;
}

ULONG ClassHandler::Release() noexcept {
  const ULONG references = --m_references;
  if (references == 0) delete this;
  return references;
}

}  // namespace qvrn
