#include <windows.h>

#include <objbase.h>
#include <olectl.h>

#include <gmock/gmock.h>

#include <wrl/client.h>

#include "platform/wmi.h"
#include "tests/support/hresult.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tools/wmi/qvrnwmiprovider/classfactory.h"
#include "tools/wmi/qvrnwmiprovider/qvrnwmiprovider.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

namespace {

using Microsoft::WRL::ComPtr;

const std::wstring kClsid = L"SOFTWARE\\classes\\CLSID\\{22CB8761-914A-11CF-B705-00AA0062CBB7}";

// What creating a class object or an object gives, with the out-pointer that must be null unless it succeeds.
template <typename Function>
void ExpectObject(HRESULT expected, const Function& create) {
  IUnknown* object = reinterpret_cast<IUnknown*>(0x5A);
  EXPECT_HRESULT(expected, create(reinterpret_cast<void**>(&object)));
  EXPECT_EQ(object != nullptr, expected == S_OK);
  EXPECT_EQ(object == nullptr ? 0u : object->Release(), 0u);
}

TEST(ComServer, AnswersForTheProviderAlone) {
  const auto get = [](REFCLSID id, REFIID face) {
    return [id, face](void** object) { return ::DllGetClassObject(id, face, object); };
  };
  const HRESULT idle = ::DllCanUnloadNow();
  ExpectObject(S_OK, get(qvrn::kProviderClassId, IID_IUnknown));
  ExpectObject(S_OK, get(qvrn::kProviderClassId, IID_IClassFactory));
  ExpectObject(E_NOINTERFACE, get(qvrn::kProviderClassId, IID_IWbemServices));
  ExpectObject(E_FAIL, get(CLSID_WbemLocator, IID_IClassFactory));
  {
    const tests::FailingAllocation failing(sizeof(qvrn::ClassFactory));
    ExpectObject(E_OUTOFMEMORY, get(qvrn::kProviderClassId, IID_IUnknown));
  }
  ComPtr<IClassFactory> factory;
  ASSERT_HRESULT(S_OK, ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory)));
  const auto create = [&](IUnknown* outer, REFIID face) {
    return [&factory, outer, face](void** object) { return factory->CreateInstance(outer, face, object); };
  };
  ExpectObject(S_OK, create(nullptr, IID_IUnknown));
  ExpectObject(CLASS_E_NOAGGREGATION, create(factory.Get(), IID_IWbemServices));
  ExpectObject(E_NOINTERFACE, create(nullptr, IID_IClassFactory));
  {
    const tests::FailingAllocation failing(sizeof(qvrn::QvrnWmiProvider));
    ExpectObject(E_OUTOFMEMORY, create(nullptr, IID_IWbemServices));
  }
  EXPECT_HRESULT(idle, ::DllCanUnloadNow()) << "a factory does not count, nor does a provider that has gone";
}

// Handlers of other tests keep the module in use for ever: the idle state is with the end-to-end tests.
TEST(ComServer, LocksAndObjectsKeepTheModuleLoaded) {
  ComPtr<IClassFactory> factory;
  ASSERT_HRESULT(S_OK, ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory)));
  const HRESULT idle = ::DllCanUnloadNow();
  EXPECT_HRESULT(S_OK, factory->LockServer(TRUE));
  EXPECT_HRESULT(S_FALSE, ::DllCanUnloadNow());
  EXPECT_HRESULT(S_OK, factory->LockServer(FALSE));
  EXPECT_HRESULT(idle, ::DllCanUnloadNow());
  ComPtr<IWbemProviderInit> provider;
  ASSERT_HRESULT(S_OK, factory->CreateInstance(nullptr, IID_PPV_ARGS(&provider)));
  EXPECT_HRESULT(S_FALSE, ::DllCanUnloadNow());
  ComPtr<IWbemServices> services;
  ASSERT_HRESULT(S_OK, provider.As(&services));
  ComPtr<IUnknown> unknown;
  ASSERT_HRESULT(S_OK, services.As(&unknown));
  EXPECT_EQ(unknown.Get(), static_cast<IUnknown*>(provider.Get()));
  void* other = services.Get();
  EXPECT_HRESULT(E_NOINTERFACE, services->QueryInterface(IID_IWbemObjectSink, &other));
  EXPECT_EQ(other, nullptr);
}

TEST(ComServer, WritesItsClassAndTakesItAway) {
  tests::Machine machine;
  machine.WriteText(L"Software\\classes\\CLSID\\{another}", L"x", L"y");
  const tests::Snapshot before = machine.Registry();
  ASSERT_HRESULT(S_OK, ::DllRegisterServer());
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  EXPECT_THAT(tests::Changes(before, machine.Registry()),
              ::testing::UnorderedElementsAre(
                  L"+" + kClsid + L": = " + tests::TextValue(L"WMI Quorvane Ethernet Provider"),
                  L"+" + kClsid + L"\\InprocServer32: = " + tests::TextValue(path),
                  L"+" + kClsid + L"\\InprocServer32:ThreadingModel = " + tests::TextValue(L"Both")));
  EXPECT_HRESULT(S_OK, ::DllUnregisterServer());
  EXPECT_THAT(tests::Changes(before, machine.Registry()), ::testing::IsEmpty());
  EXPECT_HRESULT(S_OK, ::DllUnregisterServer()) << "where nothing is registered";
  for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L"ThreadingModel"}) {
    const tests::FailingRegistryWrite failing(name);
    EXPECT_HRESULT(E_FAIL, ::DllRegisterServer());
  }
}

}  // namespace
