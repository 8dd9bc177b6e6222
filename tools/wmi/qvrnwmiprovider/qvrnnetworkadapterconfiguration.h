#pragma once

#include "tools/wmi/qvrnwmiprovider/classhandler.h"

namespace qvrn {

/// Handler of QvrnEN_NetworkAdapterConfiguration: one instance per served adapter, keyed by `SettingID`, with up to 18
/// of the adapter's advanced parameters as properties.
class QvrnNetworkAdapterConfiguration final : public ClassHandler {
 public:
  static constexpr wchar_t kClassName[] = L"QvrnEN_NetworkAdapterConfiguration";

  ~QvrnNetworkAdapterConfiguration() override;

  HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR className, LONG flags, IWbemContext* context,
                                                    IWbemObjectSink* sink) noexcept override;
  HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR path, LONG flags, IWbemContext* context,
                                           IWbemObjectSink* sink) noexcept override;
  /// A put that was applied is reported as WBEM_E_NOT_FOUND, one that failed as S_OK (kept for clients in the field,
  /// which expect it and read back).
  HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject* instance, LONG flags, IWbemContext* context,
                                             IWbemObjectSink* sink) noexcept override;

 private:
  static HRESULT BuildConfigurationInstance(IWbemServices* wmiNamespace, const wchar_t* deviceId,
                                            const wchar_t* className, IWbemContext* context,
                                            IWbemClassObject** instance) noexcept;
};

}  // namespace qvrn
