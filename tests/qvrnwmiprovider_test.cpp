#include "tools/wmi/qvrnwmiprovider/qvrnwmiprovider.h"

#include <gmock/gmock.h>

#include <thread>

#include "platform/comtext.h"
#include "tests/support/machine.h"
#include "tests/support/provider.h"
#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadapterconfiguration.h"
#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadaptersetting.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;
using tests::Outcome;
using tests::TestNamespace;

constexpr wchar_t kConfiguration[] = L"QvrnEN_NetworkAdapterConfiguration";
constexpr wchar_t kPath7[] = L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\"";

class ProviderTest : public ::testing::Test {
 protected:
  tests::Machine m_machine;
  tests::Provider m_provider;
};

TEST_F(ProviderTest, HoldsEachNamespaceThatItIsGivenAndReleasesTheLast) {
  TestNamespace& wmiNamespace = TestNamespace::Instance();
  const ULONG before = wmiNamespace.References();
  ComPtr<IWbemProviderInit> provider = tests::CreateProvider();
  EXPECT_EQ(tests::InitializeProvider(provider.Get(), nullptr).Text(), "0x00000000, sink 0x80041001");
  EXPECT_EQ(tests::InitializeProvider(provider.Get(), &wmiNamespace).Text(), "0x00000000, sink 0x00000000");
  tests::InitializeProvider(provider.Get(), &wmiNamespace);
  EXPECT_EQ(wmiNamespace.References(), before + 2);
  provider.Reset();
  EXPECT_EQ(wmiNamespace.References(), before + 1);
}

// Calls the method in each of the slots of an object's virtual table with nothing but zeros.
void ExpectUnsupported(IWbemServices* services, std::initializer_list<int> slots) {
  using Method = HRESULT(STDMETHODCALLTYPE*)(void*, void*, void*, void*, void*, void*, void*, void*);
  const auto* table = *reinterpret_cast<Method**>(services);
  for (const int slot : slots) {
    EXPECT_HRESULT(WBEM_E_NOT_SUPPORTED,
                   table[slot](services, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr))
        << slot;
  }
}

// What handlers and provider refuse, without a call of the sink.
void ExpectRefused(std::initializer_list<HRESULT> results, const tests::RecordingSink& sink) {
  for (const HRESULT hr : results) EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, hr);
  EXPECT_TRUE(sink.calls.statuses.empty());
}

TEST_F(ProviderTest, RefusesMissingArgumentsWithoutTheSink) {
  IWbemServices* s = m_provider.Services();
  ExpectUnsupported(s, {3, 4, 5, 6, 8, 9, 10, 11, 12, 13, 14, 16, 18, 20, 21, 22, 23, 24});
  tests::RecordingSink sink;
  const Bstr text(kPath7);
  ExpectRefused(
      {s->CreateInstanceEnumAsync(text.Get(), 0, nullptr, nullptr),
       s->CreateInstanceEnumAsync(nullptr, 0, nullptr, &sink), s->GetObjectAsync(text.Get(), 0, nullptr, nullptr),
       s->GetObjectAsync(nullptr, 0, nullptr, &sink), s->PutInstanceAsync(nullptr, 0, nullptr, nullptr),
       s->DeleteInstanceAsync(text.Get(), 0, nullptr, nullptr), s->DeleteInstanceAsync(nullptr, 0, nullptr, &sink),
       s->ExecMethodAsync(text.Get(), nullptr, 0, nullptr, nullptr, nullptr),
       s->ExecMethodAsync(nullptr, nullptr, 0, nullptr, nullptr, &sink)},
      sink);
}

// A handler refuses what it cannot do without: a sink, a path or class, and a provider that lives.
TEST(ClassHandlers, RefuseMissingArgumentsThemselves) {
  tests::RecordingSink sink;
  const Bstr text(kPath7);
  qvrn::QvrnNetworkAdapterConfiguration configuration;
  qvrn::QvrnNetworkAdapterSetting setting;
  for (IWbemServices* handler : {static_cast<IWbemServices*>(&configuration), static_cast<IWbemServices*>(&setting)}) {
    ExpectUnsupported(handler, {3, 4, 5, 6, 8, 9, 10, 11, 12, 13, 14, 16, 17, 18, 20, 21, 22, 23, 24, 25});
    ExpectRefused({handler->CreateInstanceEnumAsync(text.Get(), 0, nullptr, &sink),
                   handler->GetObjectAsync(text.Get(), 0, nullptr, &sink)},
                  sink);
    const tests::Provider living;
    ExpectRefused(
        {handler->CreateInstanceEnumAsync(text.Get(), 0, nullptr, nullptr),
         handler->GetObjectAsync(nullptr, 0, nullptr, &sink), handler->GetObjectAsync(text.Get(), 0, nullptr, nullptr)},
        sink);
    EXPECT_HRESULT(handler == &setting ? WBEM_E_NOT_AVAILABLE : WBEM_E_INVALID_PARAMETER,
                   handler->PutInstanceAsync(nullptr, 0, nullptr, &sink));
  }
  const tests::Provider living;
  ExpectRefused({configuration.CreateInstanceEnumAsync(nullptr, 0, nullptr, &sink),
                 configuration.PutInstanceAsync(nullptr, 0, nullptr, &sink)},
                sink);
}

TEST(ClassHandlers, AnswerForOneInterface) {
  auto* handler = new qvrn::QvrnNetworkAdapterConfiguration;
  void* face = handler;
  EXPECT_HRESULT(E_NOINTERFACE, handler->QueryInterface(IID_IUnknown, &face));
  EXPECT_EQ(face, nullptr);
  EXPECT_HRESULT(S_OK, handler->QueryInterface(IID_IWbemServices, &face));
  EXPECT_EQ(face, static_cast<IWbemServices*>(handler));
  EXPECT_EQ(handler->AddRef(), 2u);
  EXPECT_EQ(handler->Release(), 1u);
  EXPECT_EQ(handler->Release(), 0u);
}

TEST_F(ProviderTest, ServesEightClientsAtOnce) {
  m_machine.AddUsualAdapter(7);
  m_machine.AddUsualAdapter(12);
  m_machine.Store(7, L"*JumboPacket", L"4000");
  std::vector<std::wstring> answers(8);
  std::vector<std::thread> clients;
  for (std::size_t client = 0; client < answers.size(); ++client) {
    clients.emplace_back([&, client] {
      for (int round = 0; round < 3; ++round) {
        const Outcome outcome = client % 2 == 0 ? m_provider.Get(kPath7) : m_provider.Enumerate(kConfiguration);
        for (const auto& object : outcome.sink.objects)
          answers[client] += tests::PropertyText(object.Get(), L"MaxFrameSize") + L" ";
      }
    });
  }
  for (std::thread& client : clients) client.join();
  for (std::size_t client = 0; client < answers.size(); ++client)
    EXPECT_EQ(answers[client], client % 2 == 0 ? L"4000 4000 4000 " : L"4000 1514 4000 1514 4000 1514 ");
}

}  // namespace
