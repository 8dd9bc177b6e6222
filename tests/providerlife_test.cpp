// Namespaces and provider objects that come and go, and what a request does with the objects it is given.
#include <objbase.h>

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/support/fakeinstance.h"
#include "tests/support/imports.h"
#include "tests/support/vlanmachine.h"
#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadapterconfiguration.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"
#include "tools/wmi/qvrnwmiprovider/utils.h"

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv);

namespace {

using Microsoft::WRL::ComPtr;
using tests::VlanClient;

// Lent to one provider object; its references are counted, and calls on it when it has none left.
class LentNamespace final : public qvrn::UnsupportedServices {
 public:
  std::function<void()> onCall;
  IEnumWbemClassObject* answer = nullptr;  ///< of every query, in place of the lab's
  int calls = 0;
  int callsAfterTheEnd = 0;
  std::atomic<ULONG> references{0};

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) noexcept override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return --references; }
  HRESULT STDMETHODCALLTYPE GetObject(const BSTR path, LONG flags, IWbemContext*, IWbemClassObject** object,
                                      IWbemCallResult** result) noexcept override {
    Note();
    return lab::Namespace()->GetObject(path, flags, nullptr, object, result);
  }
  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext*,
                                      IEnumWbemClassObject** objects) noexcept override {
    Note();
    if (answer == nullptr) return lab::Namespace()->ExecQuery(language, query, flags, nullptr, objects);
    answer->AddRef();
    *objects = answer;
    return S_OK;
  }

 private:
  void Note() {
    ++calls;
    if (onCall) onCall();
    if (references == 0) ++callsAfterTheEnd;
  }
};

// Gives one object, once.
class OneObject final : public IEnumWbemClassObject {
 public:
  explicit OneObject(IWbemClassObject* object) : m_object(object) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) noexcept override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 2; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }
  HRESULT STDMETHODCALLTYPE Reset() noexcept override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Next(LONG, ULONG, IWbemClassObject** objects, ULONG* returned) noexcept override {
    *returned = m_object != nullptr ? 1 : 0;
    if (m_object != nullptr) m_object->AddRef();
    *objects = std::exchange(m_object, nullptr);
    return *returned != 0 ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE NextAsync(ULONG, IWbemObjectSink*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(IEnumWbemClassObject**) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Skip(LONG, ULONG) noexcept override { return E_NOTIMPL; }

 private:
  IWbemClassObject* m_object;
};

// A provider object on a namespace of its own.
struct Lender {
  LentNamespace wmiNamespace;
  ComPtr<IWbemServices> services;

  Lender() {
    const ComPtr<IWbemProviderInit> provider = tests::CreateProvider();
    EXPECT_EQ(tests::InitializeProvider(provider.Get(), &wmiNamespace).Text(), "0x00000000, sink 0x00000000");
    provider.As(&services);
  }
  std::string Enumerate(const wchar_t* className) {
    const qvrn::Bstr name(className);
    tests::RecordingSink sink;
    tests::Outcome outcome;
    lab::RunAsClient(3, [&] { outcome.result = {services->CreateInstanceEnumAsync(name.Get(), 0, nullptr, &sink)}; });
    outcome.sink = std::move(sink.calls);
    return outcome.Text();
  }
};

constexpr wchar_t kConfiguration[] = L"QvrnEN_NetworkAdapterConfiguration";

TEST(ProviderLifeTest, HandlersUseTheNamespaceOfTheOldestProviderThatLives) {
  tests::VlanMachine machine;
  const tests::AssertionRecorder assertions;  // adapter 12 has no descriptions
  machine.AddUsualAdapter(7);
  Lender first;
  Lender second;
  EXPECT_EQ(second.Enumerate(kConfiguration), "0x00000000, sink 0x00000000 0x00000000");
  EXPECT_GT(first.wmiNamespace.calls, 0);
  EXPECT_EQ(second.wmiNamespace.calls, 0);
  EXPECT_EQ(first.wmiNamespace.references, 1u);

  // The first lender goes while a request uses what it lent.
  first.wmiNamespace.onCall = [&] { first.services.Reset(); };
  EXPECT_EQ(second.Enumerate(kConfiguration), "0x00000000, sink 0x00000000 0x00000000");
  EXPECT_EQ(first.wmiNamespace.callsAfterTheEnd, 0);
  EXPECT_EQ(first.wmiNamespace.references, 0u);

  const int before = first.wmiNamespace.calls;
  EXPECT_EQ(second.Enumerate(kConfiguration), "0x00000000, sink 0x00000000 0x00000000");
  EXPECT_EQ(first.wmiNamespace.calls, before);
  EXPECT_GT(second.wmiNamespace.calls, 0);
  EXPECT_EQ(second.wmiNamespace.references, 1u);
}

TEST(ProviderLifeTest, HandlersRefuseRequestsWhileNoProviderLives) {
  qvrn::QvrnNetworkAdapterConfiguration handler;
  tests::RecordingSink sink;
  const qvrn::Bstr text(kConfiguration);
  EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, handler.CreateInstanceEnumAsync(text.Get(), 0, nullptr, &sink));
  EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, handler.GetObjectAsync(text.Get(), 0, nullptr, &sink));
  EXPECT_TRUE(sink.calls.statuses.empty());
}

// Whoever is told that a request has ended may begin another one, and wait for it.
TEST(ProviderLifeTest, AChangeMayBeginWhereAnotherOneTellsItsEnd) {
  class Sink final : public IWbemObjectSink {
   public:
    std::function<void()> onStatus;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) noexcept override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 2; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }
    HRESULT STDMETHODCALLTYPE Indicate(LONG, IWbemClassObject**) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SetStatus(LONG, HRESULT, BSTR, IWbemClassObject*) noexcept override {
      if (onStatus) std::exchange(onStatus, nullptr)();
      return S_OK;
    }
  };
  tests::VlanMachine machine;
  const VlanClient client;
  Sink sink;
  sink.onStatus = [&] { client.Put({.name = L"Voice", .number = 20}); };
  client.provider.Run([&](IWbemServices* services, IWbemObjectSink*) {
    return services->PutInstanceAsync(VlanClient::Instance({.name = L"Office", .number = 10}).Get(), 0, nullptr, &sink);
  });
  EXPECT_EQ(client.List().size(), 2u);
}

TEST(ProviderLifeTest, AnAdapterWhoseDeviceIdCannotBeReadIsLeftOut) {
  tests::VlanMachine machine;
  const tests::AssertionRecorder assertions;  // adapter 12 has no descriptions
  machine.AddUsualAdapter(7);
  ASSERT_EQ(VlanClient().Put({.name = L"Office", .number = 10}).Text(), "0x00000000, sink 0x00000000 0x00000000");
  ComPtr<IWbemClassObject> classObject;
  ASSERT_HRESULT(
      S_OK, lab::Namespace()->GetObject(qvrn::Bstr(L"Win32_NetworkAdapter").Get(), 0, nullptr, &classObject, nullptr));
  tests::ForwardingObject adapter(classObject.Get());
  Lender lender;
  for (const HRESULT read : {S_OK, E_FAIL}) {
    adapter.onGet = [read](const std::wstring&, VARIANT* value) {
      value->vt = VT_BSTR;
      value->bstrVal = ::SysAllocString(L"7");
      return read;
    };
    for (const wchar_t* className : {L"QvrnEN_VLAN", kConfiguration}) {
      OneObject objects(&adapter);
      lender.wmiNamespace.answer = &objects;
      EXPECT_EQ(lender.Enumerate(className),
                read == S_OK ? "0x00000000, sink 0x00000000 0x00000000" : "0x80041002, sink 0x80041002 0x80041002");
    }
  }
}

TEST(ProviderLifeTest, AnIndicatedObjectIsReleasedBeforeTheFinalStatus) {
  // Keeps what is indicated and looks who else does when the status comes.
  class Sink final : public IWbemObjectSink {
   public:
    ComPtr<IWbemClassObject> object;
    ULONG others = 99;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) noexcept override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 2; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }
    HRESULT STDMETHODCALLTYPE Indicate(LONG, IWbemClassObject** objects) noexcept override {
      object = objects[0];
      return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetStatus(LONG, HRESULT, BSTR, IWbemClassObject*) noexcept override {
      if (object == nullptr || others != 99) return S_OK;
      object->AddRef();
      others = object->Release() - 1;
      return S_OK;
    }
  };
  tests::VlanMachine machine;
  const tests::AssertionRecorder assertions;  // adapter 12 has no descriptions
  machine.AddUsualAdapter(7);
  const VlanClient client;
  ASSERT_EQ(client.Put({.name = L"Office", .number = 10}).Text(), "0x00000000, sink 0x00000000 0x00000000");
  const std::wstring vlan = VlanClient::Path(client.KeyOf(10));
  for (const std::wstring& path :
       {std::wstring(L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\""),
        std::wstring(L"QvrnEN_NetworkAdapterSetting.Element=\"Win32_NetworkAdapter.DeviceID=\\\"7\\\"\",Setting=\"\""),
        vlan}) {
    Sink sink;
    client.provider.Run([&](IWbemServices* services, IWbemObjectSink*) {
      return services->GetObjectAsync(qvrn::Bstr(path.c_str()).Get(), 0, nullptr, &sink);
    });
    EXPECT_EQ(sink.others, 0u) << std::string(path.begin(), path.end());
  }
}

TEST(ProviderLifeTest, ADeviceNodeIdThatCannotBeReadIsEmpty) {
  tests::VlanMachine machine;
  machine.FailCall(L"INetCfgComponent::GetPnpDevNodeId", E_FAIL);
  wchar_t id[qvrn::kPathChars] = L"before";
  EXPECT_HRESULT(S_OK, qvrn::GetAdapterPnpDevNodeId({7, 0, 0, {}}, id, qvrn::kPathChars));
  EXPECT_STREQ(id, L"");
}

TEST(ProviderLifeTest, AClassObjectThatIsRefusedIsNull) {
  void* object = &object;
  EXPECT_HRESULT(E_FAIL, ::DllGetClassObject(IID_IUnknown, IID_IUnknown, &object));
  EXPECT_EQ(object, nullptr);
  object = &object;
  const tests::FailingAllocation failing(sizeof(void*) * 2);
  EXPECT_HRESULT(E_OUTOFMEMORY, ::DllGetClassObject(qvrn::kProviderClassId, IID_IUnknown, &object));
  EXPECT_EQ(object, nullptr);
}

}  // namespace
