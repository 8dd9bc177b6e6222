// Requests to the provider as the WMI service makes them, each on a thread of its own under observation. What the sink
// sees goes into the list of events as "indicate" and "status".
#pragma once

#include <wrl/client.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/wmi.h"

namespace scenario {

/// A property of an instance that a put carries: text, VT_I4, or NULL when neither is given.
struct PropertyValue {
  std::wstring name;
  VARTYPE type = VT_NULL;
  std::wstring text;
  LONG number = 0;
  /// Into a value that holds nothing.
  void Set(VARIANT& value) const;
};

/// Provider objects of the process under test. The first Service method to need one makes and initialises it.
class Service {
 public:
  /// DllGetClassObject of what is under test.
  static inline HRESULT(WINAPI* getClassObject)(REFCLSID, REFIID, void**) = nullptr;

  /// Client's level in what follows, 1 Anonymous .. 4 Delegate; 0: CoImpersonateClient fails.
  DWORD level = 3;

  /// Releases every provider object and makes the lab forget its own.
  void Reset();

  /// Releases the provider objects alone.
  void ReleaseAll() { m_services.clear(); }

  /// The `number`th provider object over a namespace of its own; what its init sink got is an event.
  void Create(int number, bool withNamespace = true);
  void Release(int number);
  /// Which one gets the requests.
  void Use(int number) { m_inUse = number; }

  using Request = std::function<HRESULT(IWbemServices* services, IWbemObjectSink* sink)>;
  /// Runs a request and notes "result CODE, sink CODES".
  void Run(const Request& request);

  /// An instance with these values, which begins as a new one of a class of the lab's schema or as what a get of a path
  /// gives; under observation, so that reads of it are events.
  Microsoft::WRL::ComPtr<IWbemClassObject> Instance(const std::wstring& classOrPath,
                                                    const std::vector<PropertyValue>& values);
  /// In-parameters of a method of the VLANs' class; null when it has no such method.
  Microsoft::WRL::ComPtr<IWbemClassObject> InParameters(const wchar_t* method,
                                                        const std::vector<PropertyValue>& values);

 private:
  std::vector<Microsoft::WRL::ComPtr<IWbemServices>> m_services;
  int m_inUse = 0;
};

/// Runs code under observation on a client's thread, with an event "kept" for what it does not give back.
void RunObserved(DWORD level, const std::function<void()>& code);

}  // namespace scenario
