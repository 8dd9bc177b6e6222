#include "tools/wmi/qvrnwmiprovider/qvrnwmiprovider.h"

#include <cwchar>
#include <iterator>
#include <memory>
#include <new>

#include "platform/hresult.h"
#include "tools/wmi/qvrnwmiprovider/clientsecurity.h"
#include "tools/wmi/qvrnwmiprovider/objectpath.h"
#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadapterconfiguration.h"
#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadaptersetting.h"
#include "tools/wmi/qvrnwmiprovider/qvrnvlan.h"

namespace qvrn {

/// How the routed methods differ in what a client may do and what is done for it.
struct RequestRules {
  /// Every level below Impersonate is refused, after going back to the process's identity. Otherwise Identify alone is
  /// refused, and the identity stays (kept for clients at Anonymous level, which read and change, but do not
  /// enumerate).
  bool needsImpersonation;
  /// The token's privileges are enabled for the length of the handler's work.
  bool raisesPrivileges;

  bool Refuses(ImpersonationLevel level) const noexcept {
    return needsImpersonation ? level < ImpersonationLevel::Impersonate : level == ImpersonationLevel::Identify;
  }
};

namespace {

constexpr RequestRules kEnumeration = {true, false};
constexpr RequestRules kReading = {false, false};
constexpr RequestRules kChange = {false, true};

struct ServedClass {
  const wchar_t* name;
  ClassHandler* (*getOrCreate)();
};

constexpr ServedClass kServedClasses[] = {
    {QvrnNetworkAdapterConfiguration::kClassName, &HandlerSingleton<QvrnNetworkAdapterConfiguration>::GetOrCreate},
    {QvrnNetworkAdapterSetting::kClassName, &HandlerSingleton<QvrnNetworkAdapterSetting>::GetOrCreate},
    {QvrnVlan::kClassName, &HandlerSingleton<QvrnVlan>::GetOrCreate},
};

using NameBuffer = std::unique_ptr<wchar_t[]>;

NameBuffer AllocateName(std::size_t size) noexcept { return NameBuffer(new (std::nothrow) wchar_t[size]()); }

// Class names of requests. Null (also for short memory) and an empty text find no handler.

NameBuffer NameFromPath(const wchar_t* path) noexcept {
  const std::size_t size = std::wcslen(path) + 1;
  NameBuffer name = AllocateName(size);
  ClassNameFromPath(path, name.get(), size);
  return name;
}

NameBuffer NameOfInstance(IWbemClassObject* instance) noexcept {
  std::size_t size = 0;
  if (FAILED(ClassNameOfInstance(instance, nullptr, &size)) || size == 0) return nullptr;
  NameBuffer name = AllocateName(size);
  if (name != nullptr) ClassNameOfInstance(instance, name.get(), &size);
  return name;
}

// Runs `call` with all of the client's privileges. A request whose privileges could not be raised is served all the
// same.
template <typename HandlerCall>
HRESULT CallWithPrivileges(const HandlerCall& call, ClassHandler& handler) noexcept {
  const std::unique_ptr<SavedPrivileges> saved(new (std::nothrow) SavedPrivileges);
  if (saved == nullptr) return E_OUTOFMEMORY;
  EnableAllPrivileges(*saved);
  const HRESULT hr = call(handler);
  RestorePrivileges(*saved);
  return hr;
}

}  // namespace

QvrnWmiProvider::QvrnWmiProvider() noexcept { static_assert(std::size(kServedClasses) == kClasses); }

QvrnWmiProvider::~QvrnWmiProvider() {
  WithdrawNamespace(this);
  if (IWbemServices* wmiNamespace = m_namespace) wmiNamespace->Release();
}

HRESULT QvrnWmiProvider::QueryInterface(REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (riid == IID_IWbemServices) {
    *ppv = static_cast<IWbemServices*>(this);
  } else if (riid == IID_IUnknown || riid == IID_IWbemProviderInit) {
    *ppv = static_cast<IWbemProviderInit*>(this);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG QvrnWmiProvider::Release() noexcept {
  const ULONG references = --m_references;
  if (references == 0) delete this;
  return references;
}

HRESULT QvrnWmiProvider::Initialize(LPWSTR, LONG, LPWSTR, LPWSTR, IWbemServices* wmiNamespace, IWbemContext*,
                                    IWbemProviderInitSink* initSink) noexcept try {
  if (wmiNamespace == nullptr) {
    initSink->SetStatus(WBEM_E_FAILED, 0);
    return S_OK;
  }
  for (std::size_t index = 0; index < kClasses; ++index) {
    m_handlers[index] = kServedClasses[index].getOrCreate();
  }
  LendNamespace(this, wmiNamespace);
  // Kept for the handlers, which still use the first one: a second initialisation replaces the namespace without
  // releasing what it replaces. What is stored makes the object usable, so it comes last.
  wmiNamespace->AddRef();
  m_namespace = wmiNamespace;
  initSink->SetStatus(WBEM_S_INITIALIZED, 0);
  return S_OK;
} catch (...) {
  return HresultFromCurrentException();
}

ClassHandler* QvrnWmiProvider::FindHandler(const wchar_t* className) const noexcept {
  for (std::size_t index = 0; className != nullptr && index < kClasses; ++index) {
    if (std::wcscmp(kServedClasses[index].name, className) == 0) return m_handlers[index];
  }
  return nullptr;
}

// One request from its checks to its final status. The identity is not changed back afterwards: the service does that.
template <typename HandlerFinder, typename HandlerCall>
HRESULT QvrnWmiProvider::Route(const RequestRules& rules, IWbemObjectSink* sink, const HandlerFinder& find,
                               const HandlerCall& call) noexcept {
  if (sink == nullptr || m_namespace == nullptr) return WBEM_E_INVALID_PARAMETER;
  const HRESULT impersonated = ::CoImpersonateClient();
  if (FAILED(impersonated)) return FinishRequest(sink, impersonated);
  if (rules.Refuses(GetImpersonationLevel())) {
    if (rules.needsImpersonation) ::CoRevertToSelf();
    return FinishRequest(sink, WBEM_E_ACCESS_DENIED);
  }
  ClassHandler* handler = find();
  if (handler == nullptr) {
    FinishRequest(sink, WBEM_S_FALSE);
    return WBEM_E_INVALID_PARAMETER;
  }
  return FinishRequest(sink, rules.raisesPrivileges ? CallWithPrivileges(call, *handler) : call(*handler));
}

HRESULT QvrnWmiProvider::CreateInstanceEnumAsync(const BSTR className, LONG flags, IWbemContext* context,
                                                 IWbemObjectSink* sink) noexcept {
  if (className == nullptr) return WBEM_E_INVALID_PARAMETER;
  return Route(
      kEnumeration, sink, [=, this] { return FindHandler(className); },
      [=](ClassHandler& handler) { return handler.CreateInstanceEnumAsync(className, flags, context, sink); });
}

HRESULT QvrnWmiProvider::GetObjectAsync(const BSTR path, LONG flags, IWbemContext* context,
                                        IWbemObjectSink* sink) noexcept {
  if (path == nullptr) return WBEM_E_INVALID_PARAMETER;
  return Route(
      kReading, sink, [=, this] { return FindHandler(NameFromPath(path).get()); },
      [=](ClassHandler& handler) { return handler.GetObjectAsync(path, flags, context, sink); });
}

HRESULT QvrnWmiProvider::PutInstanceAsync(IWbemClassObject* instance, LONG flags, IWbemContext* context,
                                          IWbemObjectSink* sink) noexcept {
  return Route(
      kChange, sink, [=, this] { return FindHandler(NameOfInstance(instance).get()); },
      [=](ClassHandler& handler) { return handler.PutInstanceAsync(instance, flags, context, sink); });
}

HRESULT QvrnWmiProvider::DeleteInstanceAsync(const BSTR path, LONG flags, IWbemContext* context,
                                             IWbemObjectSink* sink) noexcept {
  if (path == nullptr) return WBEM_E_INVALID_PARAMETER;
  return Route(
      kChange, sink, [=, this] { return FindHandler(NameFromPath(path).get()); },
      [=](ClassHandler& handler) { return handler.DeleteInstanceAsync(path, flags, context, sink); });
}

HRESULT QvrnWmiProvider::ExecMethodAsync(const BSTR path, const BSTR method, LONG flags, IWbemContext* context,
                                         IWbemClassObject* inParameters, IWbemObjectSink* sink) noexcept {
  if (path == nullptr) return WBEM_E_INVALID_PARAMETER;
  return Route(
      kChange, sink, [=, this] { return FindHandler(NameFromPath(path).get()); },
      [=](ClassHandler& handler) { return handler.ExecMethodAsync(path, method, flags, context, inParameters, sink); });
}

}  // namespace qvrn
