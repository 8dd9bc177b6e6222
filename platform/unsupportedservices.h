#pragma once

#include "platform/wmi.h"

namespace qvrn {

/// IWbemServices whose methods all answer WBEM_E_NOT_SUPPORTED without touching their arguments; what serves some of
/// them derives from it and overrides those.
class UnsupportedServices : public IWbemServices {
 public:
  HRESULT STDMETHODCALLTYPE OpenNamespace(const BSTR, LONG, IWbemContext*, IWbemServices**,
                                          IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE CancelAsyncCall(IWbemObjectSink*) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE QueryObjectSink(LONG, IWbemObjectSink**) noexcept override { return WBEM_E_NOT_SUPPORTED; }
  HRESULT STDMETHODCALLTYPE GetObject(const BSTR, LONG, IWbemContext*, IWbemClassObject**,
                                      IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE PutClass(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE PutClassAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE DeleteClass(const BSTR, LONG, IWbemContext*, IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE DeleteClassAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE CreateClassEnum(const BSTR, LONG, IWbemContext*, IEnumWbemClassObject**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE CreateClassEnumAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE PutInstance(IWbemClassObject*, LONG, IWbemContext*, IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject*, LONG, IWbemContext*,
                                             IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR, LONG, IWbemContext*, IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(const BSTR, LONG, IWbemContext*, IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE CreateInstanceEnum(const BSTR, LONG, IWbemContext*,
                                               IEnumWbemClassObject**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR, LONG, IWbemContext*,
                                                    IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR, const BSTR, LONG, IWbemContext*,
                                      IEnumWbemClassObject**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE ExecQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*,
                                           IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE ExecNotificationQuery(const BSTR, const BSTR, LONG, IWbemContext*,
                                                  IEnumWbemClassObject**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE ExecNotificationQueryAsync(const BSTR, const BSTR, LONG, IWbemContext*,
                                                       IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*,
                                       IWbemClassObject**, IWbemCallResult**) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE ExecMethodAsync(const BSTR, const BSTR, LONG, IWbemContext*, IWbemClassObject*,
                                            IWbemObjectSink*) noexcept override {
    return WBEM_E_NOT_SUPPORTED;
  }
};

}  // namespace qvrn
