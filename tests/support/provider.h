// The provider in this process, called as the WMI service calls it.
#pragma once

#include <wrl/client.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/wmi.h"
#include "tests/support/hresult.h"
#include "tests/support/sink.h"
#include "tools/wmi/qvrnwmiprovider/classhandler.h"

namespace tests {

/// The namespace that the provider gets: the lab's, with every call noted, and failing on request. There is one for the
/// process, as the handlers keep the first that they see.
class TestNamespace final : public qvrn::UnsupportedServices {
 public:
  static TestNamespace& Instance();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) noexcept override;
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return --m_references; }
  HRESULT STDMETHODCALLTYPE GetObject(const BSTR path, LONG flags, IWbemContext* context, IWbemClassObject** object,
                                      IWbemCallResult** callResult) noexcept override;
  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                      IEnumWbemClassObject** objects) noexcept override;

  /// Forgets calls and failures.
  void Reset();

  HRESULT failQuery = S_OK;
  HRESULT failGetObject = S_OK;
  IWbemClassObject* classObject = nullptr;  ///< what GetObject gives, instead of the lab's
  std::function<void()> onCall;             ///< before each call
  std::vector<std::wstring> calls;

  ULONG References() const { return m_references; }

 private:
  void Note(std::wstring call);

  std::mutex m_lock;
  std::atomic<ULONG> m_references{0};
};

/// What became of one request.
struct Outcome {
  Code result;
  SinkCalls sink;

  /// Result and final statuses in one text, e.g. "0x80041002, sink 0x80041002 0x80041002".
  std::string Text() const;
};

/// A new provider object from the class factory; not yet initialised.
Microsoft::WRL::ComPtr<IWbemProviderInit> CreateProvider();

/// Initialises it with `wmiNamespace`; what the init sink got is the outcome's statuses.
Outcome InitializeProvider(IWbemProviderInit* provider, IWbemServices* wmiNamespace);

/// An initialised provider over TestNamespace and its requests, each on a thread of its own as a client of `level`.
class Provider {
 public:
  Provider();

  using Request = std::function<HRESULT(IWbemServices* services, IWbemObjectSink* sink)>;
  Outcome Run(const Request& request, DWORD level = 3) const;

  Outcome Enumerate(const wchar_t* className, DWORD level = 3) const;
  Outcome Get(const wchar_t* path, DWORD level = 3) const;
  Outcome Put(IWbemClassObject* instance, LONG flags = 0, DWORD level = 3) const;
  Outcome Delete(const wchar_t* path, DWORD level = 3) const;
  Outcome Method(const wchar_t* path, const wchar_t* method, IWbemClassObject* inParameters = nullptr,
                 DWORD level = 3) const;

  IWbemServices* Services() const { return m_services.Get(); }

 private:
  Microsoft::WRL::ComPtr<IWbemServices> m_services;
};

/// A property as text: "null", the decimal of VT_I4, the text of VT_BSTR, otherwise "VT n".
std::wstring PropertyText(IWbemClassObject* object, const wchar_t* name);

}  // namespace tests
