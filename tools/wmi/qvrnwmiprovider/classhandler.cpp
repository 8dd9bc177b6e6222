#include "tools/wmi/qvrnwmiprovider/classhandler.h"

#include "platform/hresult.h"

namespace qvrn {
namespace {

constexpr HRESULT kNotSupported = WBEM_E_NOT_SUPPORTED;

}  // namespace

HRESULT FinishRequest(IWbemObjectSink* sink, HRESULT status) noexcept {
  sink->SetStatus(WBEM_STATUS_COMPLETE, status, nullptr, nullptr);
  return status;
}

HRESULT WbemResultFromCurrentException() noexcept {
  return HresultFromCurrentException() == E_OUTOFMEMORY ? static_cast<HRESULT>(WBEM_E_OUT_OF_MEMORY) : static_cast<HRESULT>(WBEM_E_FAILED);
}

HRESULT UnsupportedServices::OpenNamespace(const BSTR, LONG, IWbemContext*, IWbemServices**, IWbemCallResult**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::CancelAsyncCall(IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::QueryObjectSink(LONG, IWbemObjectSink**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::GetObject(const BSTR, LONG, IWbemContext*, IWbemClassObject**, IWbemCallResult**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::GetObjectAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::PutClass(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::PutClassAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::DeleteClass(const BSTR, LONG, IWbemContext*, IWbemCallResult**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::DeleteClassAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::CreateClassEnum(const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::CreateClassEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::PutInstance(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::PutInstanceAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::DeleteInstance(const BSTR, LONG, IWbemContext*, IWbemCallResult**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::DeleteInstanceAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::CreateInstanceEnum(const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::CreateInstanceEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::ExecQuery(const BSTR, const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::ExecQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::ExecNotificationQuery(const BSTR, const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::ExecNotificationQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::ExecMethod(const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*, IWbemClassObject**, IWbemCallResult**) noexcept { return kNotSupported; }

HRESULT UnsupportedServices::ExecMethodAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*, IWbemObjectSink*) noexcept { return kNotSupported; }

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
