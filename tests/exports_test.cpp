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

void* const kPoison = reinterpret_cast<void*>(0x5A);
const std::wstring kClsid = L"SOFTWARE\\classes\\CLSID\\{22CB8761-914A-11CF-B705-00AA0062CBB7}";

TEST(DllGetClassObject, AnswersForTheProviderAlone) {
  const struct {
    REFCLSID classId;
    REFIID interfaceId;
    HRESULT result;
  } rows[] = {
      {qvrn::kProviderClassId, IID_IUnknown, S_OK},
      {qvrn::kProviderClassId, IID_IClassFactory, S_OK},
      {qvrn::kProviderClassId, IID_IWbemServices, E_NOINTERFACE},
      {CLSID_WbemLocator, IID_IClassFactory, E_FAIL},
  };
  for (const auto& row : rows) {
    ComPtr<IUnknown> factory;
    EXPECT_HRESULT(row.result, ::DllGetClassObject(row.classId, row.interfaceId, &factory));
    EXPECT_EQ(factory != nullptr, row.result == S_OK);
  }
  const tests::FailingAllocation failing(sizeof(qvrn::ClassFactory));
  ComPtr<IUnknown> factory;
  EXPECT_HRESULT(E_OUTOFMEMORY, ::DllGetClassObject(qvrn::kProviderClassId, IID_IUnknown, &factory));
}

TEST(ClassFactory, CreatesProvidersWithoutAggregation) {
  ComPtr<IClassFactory> factory;
  ASSERT_HRESULT(S_OK, ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory)));
  void* object = kPoison;
  EXPECT_HRESULT(CLASS_E_NOAGGREGATION, factory->CreateInstance(factory.Get(), IID_IWbemServices, &object));
  EXPECT_EQ(object, nullptr);
  object = kPoison;
  EXPECT_HRESULT(E_NOINTERFACE, factory->CreateInstance(nullptr, IID_IClassFactory, &object));
  EXPECT_EQ(object, nullptr);
  const tests::FailingAllocation failing(sizeof(qvrn::QvrnWmiProvider));
  object = kPoison;
  EXPECT_HRESULT(E_OUTOFMEMORY, factory->CreateInstance(nullptr, IID_IWbemServices, &object));
  EXPECT_EQ(object, nullptr);
}

// Handlers of earlier tests keep the module in use for ever, so that a process of its own shows the idle state: see the
// end-to-end tests. Here only that locks count and factories do not.
TEST(ClassFactory, LocksKeepTheModuleLoaded) {
  ComPtr<IClassFactory> factory;
  ASSERT_HRESULT(S_OK, ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory)));
  const HRESULT idle = ::DllCanUnloadNow();
  factory->LockServer(TRUE);
  EXPECT_HRESULT(S_FALSE, ::DllCanUnloadNow());
  factory->LockServer(FALSE);
  EXPECT_HRESULT(idle, ::DllCanUnloadNow());
  ComPtr<IWbemProviderInit> provider;
  ASSERT_HRESULT(S_OK, factory->CreateInstance(nullptr, IID_PPV_ARGS(&provider)));
  EXPECT_HRESULT(S_FALSE, ::DllCanUnloadNow());
  provider.Reset();
  EXPECT_HRESULT(idle, ::DllCanUnloadNow());
}

TEST(SelfRegistration, WritesTheClassAndTakesItAway) {
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
}

TEST(SelfRegistration, FailsWithEveryWriteThatFails) {
  tests::Machine machine;
  for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L"ThreadingModel"}) {
    const tests::FailingRegistryWrite failing(name);
    EXPECT_HRESULT(E_FAIL, ::DllRegisterServer());
  }
}

TEST(SelfRegistration, FailsWhereTheKeyCannotBeWritten) {
  qvrn::RegistryKey deleted;
  ASSERT_EQ(deleted.Create(HKEY_CURRENT_USER, L"Software\\QvrnDeleted", KEY_ALL_ACCESS), ERROR_SUCCESS);
  ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\QvrnDeleted");
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, deleted.Get());
  const HRESULT hr = ::DllRegisterServer();
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  EXPECT_HRESULT(E_FAIL, hr);
}

}  // namespace
