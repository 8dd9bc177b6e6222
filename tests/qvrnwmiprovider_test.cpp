#include "tools/wmi/qvrnwmiprovider/qvrnwmiprovider.h"

#include <gmock/gmock.h>

#include <thread>

#include "lab/wmi/classobject.h"
#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "platform/handle.h"
#include "tests/support/fakeinstance.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tests/support/provider.h"
#include "tools/wmi/qvrnwmiprovider/clientsecurity.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;
using tests::Outcome;
using tests::Provider;

constexpr wchar_t kConfiguration[] = L"QvrnEN_NetworkAdapterConfiguration";
constexpr wchar_t kPath7[] = L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\"";
constexpr char kNoHandler[] = "0x80041008, sink 0x00000001";
constexpr char kDenied[] = "0x80041003, sink 0x80041003";
constexpr char kRefused[] = "0x80041008, sink";

ComPtr<IWbemClassObject> InstanceOf(const wchar_t* className) {
  auto definition = std::make_shared<lab::ClassDefinition>();
  definition->name = className;
  return lab::MakeInstance(definition);
}

bool HasThreadToken() {
  qvrn::KernelHandle token;
  return ::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put()) || ::GetLastError() != ERROR_NO_TOKEN;
}

class ProviderTest : public ::testing::Test {
 protected:
  tests::Machine m_machine;
  Provider m_provider;
};

TEST_F(ProviderTest, HasTwoFaces) {
  ComPtr<IWbemProviderInit> provider = tests::CreateProvider();
  ComPtr<IWbemServices> services;
  ComPtr<IUnknown> unknown;
  ASSERT_HRESULT(S_OK, provider.As(&services));
  ASSERT_HRESULT(S_OK, services.As(&unknown));
  EXPECT_EQ(unknown.Get(), static_cast<IUnknown*>(provider.Get()));
  void* other = services.Get();
  EXPECT_HRESULT(E_NOINTERFACE, services->QueryInterface(IID_IWbemObjectSink, &other));
  EXPECT_EQ(other, nullptr);
}

TEST_F(ProviderTest, InitializationNeedsANamespace) {
  const ComPtr<IWbemProviderInit> provider = tests::CreateProvider();
  EXPECT_EQ(tests::InitializeProvider(provider.Get(), nullptr).Text(), "0x00000000, sink 0x80041001");
  ComPtr<IWbemServices> services;
  provider.As(&services);
  const Outcome refused = m_provider.Run([&](IWbemServices*, IWbemObjectSink* sink) {
    return services->GetObjectAsync(Bstr(kPath7).Get(), 0, nullptr, sink);
  });
  EXPECT_EQ(refused.Text(), kRefused);
}

TEST_F(ProviderTest, HoldsTheNamespaceWhileItLivesAndTheFirstOfTwoForEver) {
  const ULONG before = tests::TestNamespace::Instance().References();
  for (const ULONG initializations : {1, 2}) {
    {
      const ComPtr<IWbemProviderInit> provider = tests::CreateProvider();
      for (ULONG time = 1; time <= initializations; ++time) {
        tests::InitializeProvider(provider.Get(), &tests::TestNamespace::Instance());
        EXPECT_EQ(tests::TestNamespace::Instance().References(), before + time);
      }
    }
    EXPECT_EQ(tests::TestNamespace::Instance().References(), before + initializations - 1);
  }
}

TEST_F(ProviderTest, AnswersTheUnroutedMethodsAlike) {
  IWbemServices* services = m_provider.Services();
  const HRESULT results[] = {
      services->OpenNamespace(nullptr, 0, nullptr, nullptr, nullptr),
      services->CancelAsyncCall(nullptr),
      services->QueryObjectSink(0, nullptr),
      services->GetObject(nullptr, 0, nullptr, nullptr, nullptr),
      services->PutClass(nullptr, 0, nullptr, nullptr),
      services->PutClassAsync(nullptr, 0, nullptr, nullptr),
      services->DeleteClass(nullptr, 0, nullptr, nullptr),
      services->DeleteClassAsync(nullptr, 0, nullptr, nullptr),
      services->CreateClassEnum(nullptr, 0, nullptr, nullptr),
      services->CreateClassEnumAsync(nullptr, 0, nullptr, nullptr),
      services->PutInstance(nullptr, 0, nullptr, nullptr),
      services->DeleteInstance(nullptr, 0, nullptr, nullptr),
      services->CreateInstanceEnum(nullptr, 0, nullptr, nullptr),
      services->ExecQuery(nullptr, nullptr, 0, nullptr, nullptr),
      services->ExecQueryAsync(nullptr, nullptr, 0, nullptr, nullptr),
      services->ExecNotificationQuery(nullptr, nullptr, 0, nullptr, nullptr),
      services->ExecNotificationQueryAsync(nullptr, nullptr, 0, nullptr, nullptr),
      services->ExecMethod(nullptr, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
  };
  for (const HRESULT hr : results) EXPECT_HRESULT(WBEM_E_NOT_SUPPORTED, hr);
}

TEST_F(ProviderTest, RefusesMissingArgumentsWithoutTheSink) {
  const Bstr path(kPath7);
  using Services = IWbemServices*;
  using Sink = IWbemObjectSink*;
  const Provider::Request requests[] = {
      [](Services s, Sink k) { return s->CreateInstanceEnumAsync(nullptr, 0, nullptr, k); },
      [](Services s, Sink k) { return s->GetObjectAsync(nullptr, 0, nullptr, k); },
      [](Services s, Sink k) { return s->DeleteInstanceAsync(nullptr, 0, nullptr, k); },
      [](Services s, Sink k) { return s->ExecMethodAsync(nullptr, nullptr, 0, nullptr, nullptr, k); },
      [&](Services s, Sink) { return s->CreateInstanceEnumAsync(path.Get(), 0, nullptr, nullptr); },
      [&](Services s, Sink) { return s->GetObjectAsync(path.Get(), 0, nullptr, nullptr); },
      [](Services s, Sink) { return s->PutInstanceAsync(nullptr, 0, nullptr, nullptr); },
      [&](Services s, Sink) { return s->DeleteInstanceAsync(path.Get(), 0, nullptr, nullptr); },
      [&](Services s, Sink) { return s->ExecMethodAsync(path.Get(), nullptr, 0, nullptr, nullptr, nullptr); },
  };
  for (const auto& request : requests) EXPECT_EQ(m_provider.Run(request).Text(), kRefused) << &request - requests;
}

TEST_F(ProviderTest, RoutesByTheExactClassName) {
  EXPECT_EQ(m_provider.Enumerate(L"qvrnen_networkadapterconfiguration").Text(), kNoHandler);
  EXPECT_EQ(m_provider.Get(L"Other_Class.Key=\"7\"").Text(), kNoHandler);
  EXPECT_EQ(m_provider.Get(L"\\\\HOST\\root\\cimv2:").Text(), kNoHandler);
  EXPECT_EQ(m_provider.Get(L".SettingID=\"7\"").Text(), kNoHandler);
  EXPECT_EQ(m_provider.Put(InstanceOf(L"Other_Class").Get()).Text(), kNoHandler);
  EXPECT_EQ(m_provider.Put(nullptr).Text(), kNoHandler);
  EXPECT_EQ(m_provider.Delete(L"Other_Class").Text(), kNoHandler);
  EXPECT_EQ(m_provider.Method(L"Other_Class", L"Run").Text(), kNoHandler);
  // What the handler says goes to the sink once more.
  EXPECT_EQ(m_provider.Delete(kPath7).Text(), "0x8004100C, sink 0x8004100C");
  EXPECT_EQ(m_provider.Method(kConfiguration, nullptr).Text(), "0x8004100C, sink 0x8004100C");
}

TEST_F(ProviderTest, RefusesLevelsMethodByMethod) {
  m_machine.AddUsualAdapter(7);
  const ComPtr<IWbemClassObject> instance = m_provider.Get(kPath7).sink.objects.at(0);
  const struct {
    DWORD level;
    bool enumerates;
    bool others;
  } rows[] = {{1, false, true}, {2, false, false}, {3, true, true}, {4, true, true}};
  for (const auto& row : rows) {
    EXPECT_EQ(m_provider.Enumerate(kConfiguration, row.level).Text() != kDenied, row.enumerates) << row.level;
    EXPECT_EQ(m_provider.Get(kPath7, row.level).Text() != kDenied, row.others) << row.level;
    EXPECT_EQ(m_provider.Put(instance.Get(), 0, row.level).Text() != kDenied, row.others) << row.level;
    EXPECT_EQ(m_provider.Delete(kPath7, row.level).Text() != kDenied, row.others) << row.level;
    EXPECT_EQ(m_provider.Method(kPath7, L"Run", nullptr, row.level).Text() != kDenied, row.others) << row.level;
  }
  EXPECT_EQ(m_provider.Get(kPath7, 1).Text(), "0x00000000, sink 0x00000000 0x00000000");
}

TEST_F(ProviderTest, GoesBackToTheProcessOnlyWhereAnEnumerationIsRefused) {
  const Bstr className(kConfiguration);
  const Bstr path(kPath7);
  using Services = IWbemServices*;
  using Sink = IWbemObjectSink*;
  const Provider::Request enumerate = [&](Services services, Sink sink) {
    return services->CreateInstanceEnumAsync(className.Get(), 0, nullptr, sink);
  };
  const Provider::Request get = [&](Services services, Sink sink) {
    return services->GetObjectAsync(path.Get(), 0, nullptr, sink);
  };
  const struct {
    Provider::Request request;
    DWORD level;
    bool tokenLeft;
  } rows[] = {
      {enumerate, 2, false},
      {enumerate, 3, true},
      {get, 2, true},
      {get, 3, true},
      {[](Services services, Sink sink) { return services->PutInstanceAsync(nullptr, 0, nullptr, sink); }, 2, true},
      {[&](Services services, Sink sink) { return services->DeleteInstanceAsync(path.Get(), 0, nullptr, sink); }, 2,
       true},
  };
  for (const auto& row : rows) {
    bool left = !row.tokenLeft;
    const auto request = [&](Services services, Sink sink) {
      const HRESULT hr = row.request(services, sink);
      left = HasThreadToken();
      return hr;
    };
    m_provider.Run(request, row.level);
    EXPECT_EQ(left, row.tokenLeft) << &row - rows;
  }
}

// Enabled privileges of the calling thread's token.
DWORD EnabledPrivileges() {
  qvrn::KernelHandle token;
  qvrn::SavedPrivileges privileges;
  DWORD bytes = 0;
  DWORD enabled = 0;
  if (!::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put()) ||
      !::GetTokenInformation(token.Get(), TokenPrivileges, &privileges, sizeof privileges, &bytes)) {
    return 0;
  }
  for (DWORD index = 0; index < privileges.count; ++index) {
    if ((privileges.entries[index].Attributes & SE_PRIVILEGE_ENABLED) != 0) ++enabled;
  }
  return enabled;
}

TEST_F(ProviderTest, RaisesPrivilegesAroundAChangeOnly) {
  m_machine.AddUsualAdapter(7);
  const ComPtr<IWbemClassObject> target = m_provider.Get(kPath7).sink.objects.at(0);
  tests::ForwardingObject instance(target.Get());
  DWORD routing = 0;
  DWORD handling = 0;
  DWORD afterwards = 0;
  instance.onGet = [&](const std::wstring& name, VARIANT*) {
    (name == L"__CLASS" ? routing : handling) = EnabledPrivileges();
    return S_OK;
  };
  m_provider.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
    const HRESULT hr = services->PutInstanceAsync(&instance, 0, nullptr, sink);
    afterwards = EnabledPrivileges();
    return hr;
  });
  EXPECT_GT(routing, 0u);
  EXPECT_GT(handling, routing);
  EXPECT_EQ(afterwards, routing);

  DWORD reading = 0;
  tests::TestNamespace::Instance().onCall = [&] { reading = EnabledPrivileges(); };
  m_provider.Get(kPath7);
  EXPECT_EQ(reading, routing);
  m_provider.Enumerate(kConfiguration);
  EXPECT_EQ(reading, routing);
}

TEST_F(ProviderTest, FindsNoHandlerForAnInstanceWithoutAReadableClass) {
  m_machine.AddUsualAdapter(7);
  const ComPtr<IWbemClassObject> target = m_provider.Get(kPath7).sink.objects.at(0);
  tests::ForwardingObject instance(target.Get());
  const std::pair<HRESULT, VARTYPE> answers[] = {{WBEM_E_FAILED, VT_EMPTY}, {S_OK, VT_I4}, {S_OK, VT_BSTR}};
  for (const auto& [hr, type] : answers) {
    instance.onGet = [hr = hr, type = type](const std::wstring&, VARIANT* value) {
      value->vt = type;
      value->bstrVal = nullptr;
      return hr;
    };
    EXPECT_EQ(m_provider.Put(&instance).Text(), kNoHandler) << type;
  }
}

TEST_F(ProviderTest, PassesOnAFailedImpersonation) {
  EXPECT_EQ(m_provider.Get(kPath7, 0).Text(), "0x80010117, sink 0x80010117");
}

TEST_F(ProviderTest, ReportsAFailedPrivilegeBlockWithoutTheHandler) {
  const tests::FailingAllocation failing(sizeof(qvrn::SavedPrivileges));
  EXPECT_EQ(m_provider.Delete(kPath7).Text(), "0x8007000E, sink 0x8007000E");
}

TEST_F(ProviderTest, ServesEightClientsAtOnce) {
  m_machine.AddUsualAdapter(7);
  m_machine.AddUsualAdapter(12);
  m_machine.Store(7, L"*JumboPacket", L"4000");
  std::vector<std::wstring> answers(8);
  std::vector<std::thread> clients;
  for (std::size_t client = 0; client < answers.size(); ++client) {
    clients.emplace_back([&, client] {
      for (int round = 0; round < 5; ++round) {
        const Outcome outcome = client % 2 == 0 ? m_provider.Get(kPath7) : m_provider.Enumerate(kConfiguration);
        for (const auto& object : outcome.sink.objects) {
          answers[client] += tests::PropertyText(object.Get(), L"MaxFrameSize") + L" ";
        }
      }
    });
  }
  for (std::thread& client : clients) client.join();
  for (std::size_t client = 0; client < answers.size(); ++client) {
    EXPECT_EQ(answers[client],
              client % 2 == 0 ? L"4000 4000 4000 4000 4000 " : L"4000 1514 4000 1514 4000 1514 4000 1514 4000 1514 ");
  }
}

}  // namespace
