#pragma once

#include "tools/wmi/qvrnwmiprovider/classhandler.h"

namespace qvrn {

/// Handler of QvrnEN_NetworkAdapterSetting: links each served adapter's Win32_NetworkAdapter (`Element`) to its
/// QvrnEN_NetworkAdapterConfiguration (`Setting`).
class QvrnNetworkAdapterSetting final : public ClassHandler {
 public:
  static constexpr wchar_t kClassName[] = L"QvrnEN_NetworkAdapterSetting";

  ~QvrnNetworkAdapterSetting() override;

  /// Asks the namespace for the configurations, which comes back into this provider.
  HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR className, LONG flags, IWbemContext* context,
                                                    IWbemObjectSink* sink) noexcept override;
  /// Reads the adapter's index from the `Element` reference alone. The result of an adapter that is not served is the
  /// locator's, which need not be a WMI code (kept for clients that know Win32 codes).
  HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR path, LONG flags, IWbemContext* context,
                                           IWbemObjectSink* sink) noexcept override;
  /// WBEM_E_NOT_AVAILABLE, and nothing else.
  HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject* instance, LONG flags, IWbemContext* context,
                                             IWbemObjectSink* sink) noexcept override;

 private:
  static HRESULT BuildSettingInstance(IWbemServices* wmiNamespace, const wchar_t* elementPath,
                                      const wchar_t* settingPath, const wchar_t* className, IWbemContext* context,
                                      IWbemClassObject** instance) noexcept;
  static HRESULT BuildForAdapter(IWbemServices* wmiNamespace, const wchar_t* index, const wchar_t* className,
                                 IWbemContext* context, IWbemClassObject** instance) noexcept;
};

}  // namespace qvrn
