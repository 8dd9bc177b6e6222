#pragma once

#include <wrl/client.h>

#include <atomic>

#include "platform/unsupportedservices.h"
#include "platform/wmi.h"
#include "tools/wmi/qvrnwmiprovider/modulecounters.h"

namespace qvrn {

/// Ends a request: the final status to the sink, and as the result.
HRESULT FinishRequest(IWbemObjectSink* sink, HRESULT status) noexcept;

/// For the catch-all of a handler's work: WBEM_E_OUT_OF_MEMORY for std::bad_alloc, WBEM_E_FAILED for anything else.
HRESULT WbemResultFromCurrentException() noexcept;

/// Lends a provider object's namespace to the handlers, which outlive every provider object. A lender's first namespace
/// stays the one. Throws std::bad_alloc.
void LendNamespace(const IWbemServices* lender, IWbemServices* wmiNamespace);
/// Ends the loan, before the lender releases the namespace.
void WithdrawNamespace(const IWbemServices* lender) noexcept;
/// The namespace of the oldest lender that lives, with a reference for the length of a request; null without one.
Microsoft::WRL::ComPtr<IWbemServices> BorrowNamespace() noexcept;

/// Base of the handlers, one per WMI class: IWbemServices with the operations that the class supports. Each reports its
/// own final status to the sink and returns it, but for refused arguments and where an operation says otherwise. A
/// handler is a singleton of the process and starts with no reference; the provider keeps a plain pointer and never
/// adds, queries or releases.
class ClassHandler : public UnsupportedServices {
 public:
  virtual ~ClassHandler() = default;

  /// IID_IWbemServices only; not even IID_IUnknown.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) noexcept override;
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override;

 private:
  LiveObject m_liveObject;
  std::atomic<ULONG> m_references{0};
};

/// The process's one handler of a class, created by the first call. Throws std::bad_alloc.
template <typename Handler>
class HandlerSingleton {
 public:
  static ClassHandler* GetOrCreate() {
    Handler* handler = s_handler.load();
    if (handler != nullptr) return handler;
    auto* created = new Handler;
    if (s_handler.compare_exchange_strong(handler, created)) return created;
    delete created;
    return handler;
  }

  /// For the handler's destructor: forgets it if it is still the one.
  static void Forget(Handler* handler) noexcept { s_handler.compare_exchange_strong(handler, nullptr); }

 private:
  static inline std::atomic<Handler*> s_handler{nullptr};
};

}  // namespace qvrn
