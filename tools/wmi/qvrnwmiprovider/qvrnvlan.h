#pragma once

#include "tools/wmi/qvrnwmiprovider/classhandler.h"

namespace qvrn {

class CVlanManager;

/// Handler of QvrnEN_VLAN: one instance per VLAN of the served adapters, keyed by `Name`, the instance GUID of its
/// virtual miniport. Nothing about VLANs is kept between requests.
class QvrnVlan final : public ClassHandler {
 public:
  static constexpr wchar_t kClassName[] = L"QvrnEN_VLAN";

  ~QvrnVlan() override;

  /// Ends with WBEM_E_NOT_FOUND on a machine without VLANs (kept for clients that take it for "none").
  HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR className, LONG flags, IWbemContext* context,
                                                    IWbemObjectSink* sink) noexcept override;
  /// 0 without an instance where the key's adapter is found, but the VLAN is not in its list (kept for clients that
  /// count objects).
  HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR path, LONG flags, IWbemContext* context,
                                           IWbemObjectSink* sink) noexcept override;
  /// Creates a VLAN (no `Name`), or changes the one that `Name` gives. WBEM_FLAG_UPDATE_ONLY and WBEM_FLAG_CREATE_ONLY
  /// make one or the other succeed without doing anything; so does a `Name` that is not one of the adapter's VLANs
  /// (kept for clients that put the VLANs of other machines).
  HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject* instance, LONG flags, IWbemContext* context,
                                             IWbemObjectSink* sink) noexcept override;
  /// Leaves the final status to the provider.
  HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(const BSTR path, LONG flags, IWbemContext* context,
                                                IWbemObjectSink* sink) noexcept override;
  /// SaveVlanConfiguration and RestoreVlanConfiguration. Their return value never reaches the client (kept
  /// for clients, which look at the file or list the VLANs).
  HRESULT STDMETHODCALLTYPE ExecMethodAsync(const BSTR path, const BSTR method, LONG flags, IWbemContext* context,
                                            IWbemClassObject* inParameters, IWbemObjectSink* sink) noexcept override;

 private:
  struct Vlan;
  using Operation = HRESULT (*)(IWbemServices* wmiNamespace, const wchar_t* fileName) noexcept;

  static HRESULT BuildInstance(IWbemServices* wmiNamespace, const Vlan& vlan, IWbemContext* context,
                               IWbemClassObject** instance) noexcept;
  static HRESULT FindInstance(IWbemServices* wmiNamespace, const wchar_t* key, IWbemContext* context,
                              IWbemClassObject** instance);
  static HRESULT RunMethod(const BSTR method, Operation operation, IWbemContext* context,
                           IWbemClassObject* inParameters, IWbemObjectSink* sink);
};

}  // namespace qvrn
