// The COM server and the provider's objects, in what no request reaches.
#include <windows.h>

#include <objbase.h>
#include <olectl.h>

#include <atomic>
#include <functional>
#include <set>

#include "platform/unsupportedservices.h"
#include "tests/support/functiontest.h"
#include "tools/wmi/qvrnwmiprovider/classfactory.h"
#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadapterconfiguration.h"
#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadaptersetting.h"
#include "tools/wmi/qvrnwmiprovider/qvrnwmiprovider.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;

// A namespace or a sink on the stack, whose references are counted.
template <typename Base>
struct Counted : Base {
  std::atomic<ULONG> references{0};
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) noexcept override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return --references; }
};
struct StatusSink final : Counted<IWbemProviderInitSink> {
  HRESULT STDMETHODCALLTYPE SetStatus(LONG, LONG) noexcept override { return S_OK; }
};
struct SilentSink final : Counted<IWbemObjectSink> {
  HRESULT STDMETHODCALLTYPE Indicate(LONG, IWbemClassObject**) noexcept override { return Unexpected(); }
  HRESULT STDMETHODCALLTYPE SetStatus(LONG, HRESULT, BSTR, IWbemClassObject*) noexcept override { return Unexpected(); }
  static HRESULT Unexpected() {
    ADD_FAILURE() << "the sink is told";
    return S_OK;
  }
};

ComPtr<IClassFactory> Factory() {
  ComPtr<IClassFactory> factory;
  EXPECT_HRESULT(S_OK, ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory)));
  return factory;
}

/// A provider object on a namespace, as often as told.
ComPtr<IWbemProviderInit> MakeProvider(IWbemServices* wmiNamespace, int times = 1) {
  ComPtr<IWbemProviderInit> provider;
  StatusSink sink;
  wchar_t name[] = L"root\\cimv2";
  EXPECT_HRESULT(S_OK, Factory()->CreateInstance(nullptr, IID_PPV_ARGS(&provider)));
  while (times-- > 0) provider->Initialize(nullptr, 0, name, nullptr, wmiNamespace, nullptr, &sink);
  return provider;
}

// What creating a class object or an object gives, with the out-pointer that must be null unless it succeeds.
template <typename Function>
void ExpectObject(HRESULT expected, const Function& create, const char* failingBytes = nullptr) {
  IUnknown* object = reinterpret_cast<IUnknown*>(0x5A);
  if (failingBytes != nullptr) scenario::FailCalls("new", failingBytes, 0, 0, 1);
  {
    const scenario::Observation observed(true);
    const HRESULT hr = create(reinterpret_cast<void**>(&object));
    const scenario::Observation unobserved(false);
    EXPECT_HRESULT(expected, hr);
  }
  EXPECT_TRUE(scenario::ForgetFailures().empty());
  EXPECT_EQ(object != nullptr, expected == S_OK);
  EXPECT_EQ(object != nullptr ? object->Release() : 0u, 0u);
}

TEST(ComServer, AnswersForTheProviderAlone) {
  const auto get = [](REFCLSID id, REFIID face) { return std::bind_front(::DllGetClassObject, id, face); };
  const HRESULT idle = ::DllCanUnloadNow();
  ExpectObject(S_OK, get(qvrn::kProviderClassId, IID_IUnknown));
  ExpectObject(S_OK, get(qvrn::kProviderClassId, IID_IClassFactory));
  ExpectObject(E_NOINTERFACE, get(qvrn::kProviderClassId, IID_IWbemServices));
  ExpectObject(E_FAIL, get(CLSID_WbemLocator, IID_IClassFactory));
  ExpectObject(E_OUTOFMEMORY, get(qvrn::kProviderClassId, IID_IUnknown),
               std::to_string(sizeof(qvrn::ClassFactory)).c_str());
  const ComPtr<IClassFactory> factory = Factory();
  const auto create = [&](IUnknown* outer, REFIID face) {
    return [&factory, outer, face](void** object) { return factory->CreateInstance(outer, face, object); };
  };
  ExpectObject(S_OK, create(nullptr, IID_IUnknown));
  ExpectObject(CLASS_E_NOAGGREGATION, create(factory.Get(), IID_IWbemServices));
  ExpectObject(E_NOINTERFACE, create(nullptr, IID_IClassFactory));
  ExpectObject(E_OUTOFMEMORY, create(nullptr, IID_IWbemServices),
               std::to_string(sizeof(qvrn::QvrnWmiProvider)).c_str());
  EXPECT_HRESULT(idle, ::DllCanUnloadNow()) << "a factory does not count, nor does a provider that has gone";
  // Handlers of other tests keep the module in use for ever: locks and the idle state are with the end-to-end tests.
}

TEST(Provider, IsOneObjectAndHoldsEachNamespaceThatItIsGiven) {
  Counted<qvrn::UnsupportedServices> wmiNamespace;
  ComPtr<IWbemProviderInit> provider = MakeProvider(&wmiNamespace, 2);
  EXPECT_HRESULT(S_FALSE, ::DllCanUnloadNow());
  ComPtr<IWbemServices> services;
  ComPtr<IUnknown> unknown;
  ASSERT_HRESULT(S_OK, provider.As(&services));
  ASSERT_HRESULT(S_OK, services.As(&unknown));
  EXPECT_EQ(unknown.Get(), static_cast<IUnknown*>(provider.Get()));
  void* other = services.Get();
  EXPECT_HRESULT(E_NOINTERFACE, services->QueryInterface(IID_IWbemObjectSink, &other));
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(wmiNamespace.references, 2u);
  provider.Reset();
  services.Reset();
  unknown.Reset();
  EXPECT_EQ(wmiNamespace.references, 1u) << "kept: it releases the last alone";
}

// Calls each method of an object's virtual table but some with nothing but zeros.
void ExpectUnsupported(IWbemServices* services, const std::set<int>& supported) {
  using Method = HRESULT(STDMETHODCALLTYPE*)(void*, void*, void*, void*, void*, void*, void*, void*);
  const auto* table = *reinterpret_cast<Method**>(services);
  for (int slot = 3; slot <= 25; ++slot) {
    if (supported.contains(slot)) continue;
    EXPECT_HRESULT(WBEM_E_NOT_SUPPORTED,
                   table[slot](services, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr))
        << slot;
  }
}

// A handler refuses by itself what it cannot do without: a sink, a path or class, and a provider that lives.
TEST(Provider, AndItsHandlersRefuseMissingArgumentsWithoutTheSink) {
  SilentSink sink;
  const Bstr text(L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\"");
  std::vector<HRESULT> results;
  qvrn::QvrnNetworkAdapterConfiguration configuration;
  qvrn::QvrnNetworkAdapterSetting setting;
  Counted<qvrn::UnsupportedServices> wmiNamespace;
  for (IWbemServices* handler : {static_cast<IWbemServices*>(&configuration), static_cast<IWbemServices*>(&setting)}) {
    ExpectUnsupported(handler, {7, 15, 19});
    results = {handler->CreateInstanceEnumAsync(text.Get(), 0, nullptr, &sink),
               handler->GetObjectAsync(text.Get(), 0, nullptr, &sink)};
    EXPECT_THAT(results, ::testing::Each(WBEM_E_INVALID_PARAMETER)) << "nobody lives";
    const ComPtr<IWbemProviderInit> living = MakeProvider(&wmiNamespace);
    results = {handler->CreateInstanceEnumAsync(text.Get(), 0, nullptr, nullptr),
               handler->GetObjectAsync(nullptr, 0, nullptr, &sink),
               handler->GetObjectAsync(text.Get(), 0, nullptr, nullptr)};
    EXPECT_THAT(results, ::testing::Each(WBEM_E_INVALID_PARAMETER));
    EXPECT_HRESULT(handler == &setting ? WBEM_E_NOT_AVAILABLE : WBEM_E_INVALID_PARAMETER,
                   handler->PutInstanceAsync(nullptr, 0, nullptr, &sink));
  }
  const ComPtr<IWbemProviderInit> provider = MakeProvider(&wmiNamespace);
  ComPtr<IWbemServices> s;
  provider.As(&s);
  ExpectUnsupported(s.Get(), {7, 15, 17, 19, 25});
  results = {configuration.CreateInstanceEnumAsync(nullptr, 0, nullptr, &sink),
             configuration.PutInstanceAsync(nullptr, 0, nullptr, &sink),
             s->CreateInstanceEnumAsync(text.Get(), 0, nullptr, nullptr),
             s->GetObjectAsync(text.Get(), 0, nullptr, nullptr),
             s->PutInstanceAsync(nullptr, 0, nullptr, nullptr),
             s->DeleteInstanceAsync(text.Get(), 0, nullptr, nullptr),
             s->ExecMethodAsync(text.Get(), nullptr, 0, nullptr, nullptr, nullptr),
             s->ExecMethodAsync(nullptr, nullptr, 0, nullptr, nullptr, &sink)};
  EXPECT_THAT(results, ::testing::Each(WBEM_E_INVALID_PARAMETER));
}

}  // namespace
