#pragma once

#include <array>
#include <atomic>

#include "platform/wmi.h"
#include "tools/wmi/qvrnwmiprovider/classhandler.h"
#include "tools/wmi/qvrnwmiprovider/modulecounters.h"

namespace qvrn {

struct RequestRules;

/// What the WMI service creates: runs each request under the client's identity and routes it by class name. It knows
/// nothing of adapters or VLANs. Starts with no reference.
class QvrnWmiProvider final : public UnsupportedServices, public IWbemProviderInit {
 public:
  QvrnWmiProvider() noexcept;
  ~QvrnWmiProvider();

  /// IID_IWbemServices gives that face; IID_IUnknown and IID_IWbemProviderInit the other.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) noexcept override;
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override;

  /// Stores the namespace and creates the handlers. The outcome goes to the init sink; the result is S_OK, also without
  /// a namespace (E_OUTOFMEMORY when memory is short).
  HRESULT STDMETHODCALLTYPE Initialize(LPWSTR user, LONG flags, LPWSTR namespaceName, LPWSTR locale,
                                       IWbemServices* wmiNamespace, IWbemContext* context,
                                       IWbemProviderInitSink* initSink) noexcept override;

  HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR className, LONG flags, IWbemContext* context,
                                                    IWbemObjectSink* sink) noexcept override;
  HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR path, LONG flags, IWbemContext* context,
                                           IWbemObjectSink* sink) noexcept override;
  HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject* instance, LONG flags, IWbemContext* context,
                                             IWbemObjectSink* sink) noexcept override;
  HRESULT STDMETHODCALLTYPE DeleteInstanceAsync(const BSTR path, LONG flags, IWbemContext* context,
                                                IWbemObjectSink* sink) noexcept override;
  HRESULT STDMETHODCALLTYPE ExecMethodAsync(const BSTR path, const BSTR method, LONG flags, IWbemContext* context,
                                            IWbemClassObject* inParameters, IWbemObjectSink* sink) noexcept override;

 private:
  // One served class each, see the table in the source file.
  static constexpr std::size_t kClasses = 3;

  template <typename HandlerFinder, typename HandlerCall>
  HRESULT Route(const RequestRules& rules, IWbemObjectSink* sink, const HandlerFinder& find,
                const HandlerCall& call) noexcept;
  ClassHandler* FindHandler(const wchar_t* className) const noexcept;

  LiveObject m_liveObject;
  std::atomic<ULONG> m_references{0};
  std::atomic<IWbemServices*> m_namespace{nullptr};
  std::array<std::atomic<ClassHandler*>, kClasses> m_handlers{};
};

}  // namespace qvrn
