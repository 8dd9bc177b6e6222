// Namespaces and provider objects that come and go while requests are served.
#include <objbase.h>

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/support/vlanmachine.h"

namespace {

using Microsoft::WRL::ComPtr;
using tests::VlanClient;

// Lent to one provider object; its references are counted, and calls on it when it has none left.
class LentNamespace final : public qvrn::UnsupportedServices {
 public:
  std::function<void()> onCall;
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
    return lab::Namespace()->ExecQuery(language, query, flags, nullptr, objects);
  }

 private:
  void Note() {
    ++calls;
    if (onCall) onCall();
    if (references == 0) ++callsAfterTheEnd;
  }
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

}  // namespace
