// The namespace as the service of a provider that does what each test tells it.
#include "lab/wbemhost.h"

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <functional>
#include <string>
#include <vector>

#include "lab/classobject.h"
#include "lab/unknown.h"
#include "platform/comtext.h"
#include "platform/handle.h"
#include "tests/support/hresult.h"
#include "tests/support/machine.h"
#include "tools/wmi/qvrnwmiprovider/classhandler.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;

constexpr wchar_t kClass[] = L"QvrnEN_NetworkAdapterConfiguration";
constexpr wchar_t kPath[] = L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\"";

/// Delivers as many objects and statuses as it is told and remembers what it was called with.
class ScriptedProvider : public qvrn::UnsupportedServices, public IWbemProviderInit {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    if (id == IID_IWbemServices) {
      *object = static_cast<IWbemServices*>(this);
    } else {
      *object = static_cast<IWbemProviderInit*>(this);
    }
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 2; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }

  HRESULT STDMETHODCALLTYPE Initialize(LPWSTR, LONG, LPWSTR, LPWSTR, IWbemServices* services, IWbemContext*,
                                       IWbemProviderInitSink* sink) noexcept override {
    m_services = services;
    sink->SetStatus(initStatus, 0);
    ++initializations;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetObjectAsync(const BSTR path, LONG, IWbemContext*,
                                           IWbemObjectSink* sink) noexcept override {
    return Answer(path, sink);
  }
  HRESULT STDMETHODCALLTYPE CreateInstanceEnumAsync(const BSTR name, LONG, IWbemContext*,
                                                    IWbemObjectSink* sink) noexcept override {
    return Answer(name, sink);
  }
  HRESULT STDMETHODCALLTYPE PutInstanceAsync(IWbemClassObject*, LONG, IWbemContext*,
                                             IWbemObjectSink* sink) noexcept override {
    return Answer(L"put", sink);
  }

  LONG initStatus = WBEM_S_INITIALIZED;
  int initializations = 0;
  int objects = 1;
  std::vector<HRESULT> statuses = {S_OK};
  HRESULT result = S_OK;
  std::wstring calledWith;

 private:
  /// Fetches the class from the namespace in the middle of the call, as a provider does.
  HRESULT Answer(const wchar_t* argument, IWbemObjectSink* sink) {
    calledWith = argument;
    ComPtr<IWbemClassObject> definition;
    const HRESULT hr = m_services->GetObject(Bstr(kClass).Get(), 0, nullptr, &definition, nullptr);
    if (FAILED(hr)) return hr;
    for (int i = 1; i <= objects; ++i) {
      ComPtr<IWbemClassObject> instance;
      definition->SpawnInstance(0, &instance);
      qvrn::Variant id(std::to_wstring(i).c_str());
      instance->Put(L"SettingID", 0, id.Get(), 0);
      sink->Indicate(1, instance.GetAddressOf());
    }
    for (const HRESULT status : statuses) sink->SetStatus(WBEM_STATUS_COMPLETE, status, nullptr, nullptr);
    return result;
  }

  IWbemServices* m_services = nullptr;
};

class ScriptedFactory final : public lab::Unknown<IClassFactory> {
 public:
  explicit ScriptedFactory(ScriptedProvider& provider) : m_provider(provider) {}
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** object) noexcept override {
    return m_provider.QueryInterface(id, object);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) noexcept override { return S_OK; }

 private:
  ScriptedProvider& m_provider;
};

class NamespaceTest : public testing::Test {
 protected:
  void SetUp() override {
    m_services = lab::Namespace();
    ASSERT_NE(m_services, nullptr);
    lab::ForgetProviders();
    CLSID id = {};
    ASSERT_EQ(::CLSIDFromString(lab::NamespaceSchema().ProviderClassId(L"QvrnWmiProvider").c_str(), &id), S_OK);
    m_factory = lab::Make<ScriptedFactory>(m_provider);
    lab::RunAsClient(0, [&] {
      ASSERT_EQ(::CoRegisterClassObject(id, m_factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie),
                S_OK);
    });
  }
  void TearDown() override {
    lab::ForgetProviders();
    lab::RunAsClient(0, [&] { ::CoRevokeClassObject(m_cookie); });
    EXPECT_EQ(lab::LiveClassObjects(), m_liveBefore);
  }

  HRESULT Get(const wchar_t* path) {
    ComPtr<IWbemClassObject> object;
    const HRESULT hr = m_services->GetObject(Bstr(path).Get(), 0, nullptr, &object, nullptr);
    EXPECT_EQ(SUCCEEDED(hr), object != nullptr);
    return hr;
  }
  HRESULT Query(const wchar_t* text, LONG flags, ComPtr<IEnumWbemClassObject>& enumerator) {
    return m_services->ExecQuery(Bstr(L"WQL").Get(), Bstr(text).Get(), flags, nullptr, &enumerator);
  }

  tests::Machine m_machine;
  ScriptedProvider m_provider;
  IWbemServices* m_services = nullptr;

 private:
  const long m_liveBefore = lab::LiveClassObjects();
  ComPtr<ScriptedFactory> m_factory;
  DWORD m_cookie = 0;
};

/// The SettingID of the next object, or the HRESULT of a Next that brings none.
std::wstring NextOf(IEnumWbemClassObject* enumerator) {
  ComPtr<IWbemClassObject> object;
  ULONG returned = 7;
  const HRESULT hr = enumerator->Next(WBEM_INFINITE, 1, &object, &returned);
  EXPECT_EQ(returned, object == nullptr ? 0u : 1u);
  if (object == nullptr) return std::to_wstring(static_cast<unsigned>(hr));
  qvrn::Variant id;
  object->Get(L"SettingID", 0, id.Put(), nullptr, nullptr);
  return id.Text();
}

const std::wstring kEnd = std::to_wstring(static_cast<unsigned>(WBEM_S_FALSE));

TEST_F(NamespaceTest, TheFirstFinalStatusDecidesAGet) {
  const HRESULT denied = static_cast<HRESULT>(WBEM_E_ACCESS_DENIED);
  const HRESULT failed = static_cast<HRESULT>(WBEM_E_FAILED);
  const struct {
    int objects;
    std::vector<HRESULT> statuses;
    HRESULT result;
    HRESULT expected;
  } rows[] = {
      {1, {S_OK}, S_OK, S_OK},
      {1, {S_OK, failed}, failed, S_OK},
      {1, {denied, S_OK}, S_OK, denied},
      {0, {denied, failed}, S_OK, denied},
      {0, {}, denied, denied},
      {1, {}, S_OK, static_cast<HRESULT>(WBEM_E_PROVIDER_FAILURE)},
      {0, {S_OK}, S_OK, static_cast<HRESULT>(WBEM_E_NOT_FOUND)},
      {0, {S_FALSE}, failed, static_cast<HRESULT>(WBEM_E_NOT_FOUND)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    m_provider.objects = row.objects;
    m_provider.statuses = row.statuses;
    m_provider.result = row.result;
    EXPECT_HRESULT(row.expected, Get(kPath));
    EXPECT_EQ(lab::LastProviderCall().statuses, row.statuses);
    EXPECT_EQ(lab::LastProviderCall().result, row.result);
  }
}

TEST_F(NamespaceTest, AFailedQuerySucceedsAndItsLastNextFails) {
  m_provider.objects = 2;
  m_provider.statuses = {static_cast<HRESULT>(WBEM_E_NOT_FOUND)};
  ComPtr<IEnumWbemClassObject> enumerator;
  ASSERT_EQ(Query(L"SELECT * FROM qvrnen_networkadapterconfiguration", WBEM_FLAG_FORWARD_ONLY, enumerator), S_OK);
  EXPECT_EQ(m_provider.calledWith, kClass);
  EXPECT_EQ(NextOf(enumerator.Get()), L"1");
  EXPECT_EQ(NextOf(enumerator.Get()), L"2");
  EXPECT_EQ(NextOf(enumerator.Get()), std::to_wstring(static_cast<unsigned>(WBEM_E_NOT_FOUND)));
}

TEST_F(NamespaceTest, FiltersAndProjectsWhatAProviderEnumerates) {
  m_provider.objects = 3;
  ComPtr<IEnumWbemClassObject> enumerator;
  ASSERT_EQ(Query(L"SELECT SettingID FROM QvrnEN_NetworkAdapterConfiguration WHERE SettingID = '2'", 0, enumerator),
            S_OK);
  ComPtr<IWbemClassObject> object;
  ULONG returned = 0;
  ASSERT_EQ(enumerator->Next(WBEM_INFINITE, 1, &object, &returned), WBEM_S_NO_ERROR);
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, object->Get(L"RssMode", 0, nullptr, nullptr, nullptr));
  EXPECT_EQ(NextOf(enumerator.Get()), kEnd);
}

TEST_F(NamespaceTest, EnumeratorsKeepTheirOwnPlace) {
  m_provider.objects = 3;
  ComPtr<IEnumWbemClassObject> enumerator;
  ComPtr<IEnumWbemClassObject> clone;
  ASSERT_EQ(Query(L"SELECT * FROM QvrnEN_NetworkAdapterConfiguration", 0, enumerator), S_OK);
  EXPECT_EQ(NextOf(enumerator.Get()), L"1");
  ASSERT_EQ(enumerator->Clone(&clone), WBEM_S_NO_ERROR);
  EXPECT_EQ(enumerator->Skip(0, 1), WBEM_S_NO_ERROR);
  EXPECT_EQ(NextOf(enumerator.Get()), L"3");
  EXPECT_EQ(NextOf(enumerator.Get()), kEnd);
  EXPECT_EQ(NextOf(clone.Get()), L"2");
  ASSERT_EQ(enumerator->Reset(), WBEM_S_NO_ERROR);
  EXPECT_EQ(enumerator->Skip(0, 4), WBEM_S_FALSE);

  ASSERT_EQ(Query(L"SELECT * FROM QvrnEN_NetworkAdapterConfiguration", WBEM_FLAG_FORWARD_ONLY, enumerator), S_OK);
  EXPECT_HRESULT(WBEM_E_INVALID_OPERATION, enumerator->Reset());
  EXPECT_HRESULT(WBEM_E_INVALID_OPERATION, enumerator->Clone(&clone));
}

TEST_F(NamespaceTest, ProvidersGetRelativePaths) {
  EXPECT_EQ(Get((std::wstring(L"\\\\.\\ROOT\\cimv2:") + kPath).c_str()), S_OK);
  EXPECT_EQ(m_provider.calledWith, kPath);
}

TEST_F(NamespaceTest, RefusesBeforeItAsksTheProvider) {
  const struct {
    const wchar_t* path;
    WBEMSTATUS expected;
  } gets[] = {{L"", WBEM_E_NOT_SUPPORTED},
              {L"NoSuchClass", WBEM_E_NOT_FOUND},
              {L"NoSuchClass.Id=1", WBEM_E_INVALID_CLASS},
              {L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"7", WBEM_E_INVALID_OBJECT_PATH},
              {L"root\\default:QvrnEN_NetworkAdapterConfiguration", WBEM_E_INVALID_NAMESPACE}};
  for (const auto& row : gets) EXPECT_HRESULT(row.expected, Get(row.path)) << &row - gets;

  const struct {
    const wchar_t* query;
    WBEMSTATUS expected;
  } queries[] = {{L"SELECT * FROM NoSuchClass", WBEM_E_INVALID_CLASS},
                 {L"SELECT Colour FROM QvrnEN_NetworkAdapterConfiguration", WBEM_E_INVALID_QUERY},
                 {L"ASSOCIATORS OF {X.Y=1}", WBEM_E_INVALID_QUERY}};
  for (const auto& row : queries) {
    ComPtr<IEnumWbemClassObject> enumerator;
    EXPECT_HRESULT(row.expected, Query(row.query, 0, enumerator)) << &row - queries;
    EXPECT_EQ(enumerator, nullptr);
  }
  EXPECT_HRESULT(WBEM_E_NOT_SUPPORTED, m_services->DeleteInstance(Bstr(kPath).Get(), 0, nullptr, nullptr));
  EXPECT_EQ(m_provider.calledWith, L"");
}

TEST_F(NamespaceTest, LoadsAProviderOnceAndAfterAFailureAgain) {
  m_provider.initStatus = static_cast<LONG>(WBEM_E_FAILED);
  EXPECT_HRESULT(WBEM_E_PROVIDER_LOAD_FAILURE, Get(kPath));
  m_provider.initStatus = WBEM_S_INITIALIZED;
  EXPECT_EQ(Get(kPath), S_OK);
  EXPECT_EQ(Get(kPath), S_OK);
  EXPECT_EQ(m_provider.initializations, 2);
}

TEST_F(NamespaceTest, APutReachesTheProviderAndAWrongTypeDoesNot) {
  const ComPtr<IWbemClassObject> instance = lab::MakeInstance(lab::FindClass(kClass));
  qvrn::Variant text(L"many");
  EXPECT_HRESULT(WBEM_E_TYPE_MISMATCH, instance->Put(L"RssMode", 0, text.Get(), 0));
  EXPECT_EQ(m_services->PutInstance(instance.Get(), WBEM_FLAG_UPDATE_ONLY, nullptr, nullptr), S_OK);
  EXPECT_EQ(m_provider.calledWith, L"put");
}

/// "NAME=VALUE" for each of the named properties, NULL ones left out.
std::vector<std::wstring> TextsOf(IWbemClassObject* object, const std::vector<const wchar_t*>& names) {
  std::vector<std::wstring> texts;
  for (const wchar_t* name : names) {
    qvrn::Variant value;
    EXPECT_HRESULT(S_OK, object->Get(name, 0, value.Put(), nullptr, nullptr));
    if (value.IsText()) texts.push_back(std::wstring(name) + L"=" + value.Text());
    if (value.IsInteger()) texts.push_back(std::wstring(name) + L"=" + std::to_wstring(value.Integer()));
  }
  return texts;
}

TEST_F(NamespaceTest, ShowsTheAdaptersOfTheMachine) {
  const std::vector<const wchar_t*> names = {L"DeviceID",
                                             L"Index",
                                             L"Name",
                                             L"Description",
                                             L"GUID",
                                             L"PNPDeviceID",
                                             L"ServiceName",
                                             L"NetConnectionID",
                                             L"NetConnectionStatus"};
  m_machine.AddAdapter(7);
  m_machine.AddAdapter(120, L"other", false);
  m_machine.WriteText(tests::Machine::InstanceKey(7) + L"\\Ndi", L"Service", L"halvex");
  m_machine.WriteNumber(tests::Machine::InstanceKey(7), L"LabConnectionStatus", 2);
  m_machine.WriteText(L"SYSTEM\\CurrentControlSet\\Enum\\" + tests::Machine::DeviceId(7), L"FriendlyName", L"Left");
  m_machine.WriteText(L"SYSTEM\\CurrentControlSet\\Control\\Network\\{4D36E972-E325-11CE-BFC1-08002BE10318}\\" +
                          tests::Machine::InstanceId(7) + L"\\Connection",
                      L"Name", L"Ethernet");
  m_machine.WriteText(L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}\\Properties",
                      L"DriverDesc", L"no adapter");

  ComPtr<IEnumWbemClassObject> enumerator;
  IWbemClassObject* objects[3] = {};
  ULONG returned = 0;
  ASSERT_EQ(Query(L"SELECT * FROM Win32_NetworkAdapter", 0, enumerator), S_OK);
  ASSERT_EQ(enumerator->Next(WBEM_INFINITE, 3, objects, &returned), WBEM_S_FALSE);
  ASSERT_EQ(returned, 2u);
  ComPtr<IWbemClassObject> first;
  ComPtr<IWbemClassObject> second;
  *first.GetAddressOf() = objects[0];
  *second.GetAddressOf() = objects[1];
  EXPECT_EQ(TextsOf(first.Get(), names),
            (std::vector<std::wstring>{L"DeviceID=7", L"Index=7", L"Name=Left", L"Description=Adapter 7",
                                       L"GUID=" + tests::Machine::InstanceId(7),
                                       L"PNPDeviceID=" + tests::Machine::DeviceId(7), L"ServiceName=halvex",
                                       L"NetConnectionID=Ethernet", L"NetConnectionStatus=2"}));
  EXPECT_EQ(TextsOf(second.Get(), names),
            (std::vector<std::wstring>{L"DeviceID=120", L"Index=120", L"Name=Adapter 120", L"Description=Adapter 120",
                                       L"GUID=" + tests::Machine::InstanceId(120)}));
}

/// What a provider finds after CoImpersonateClient: the token's level, 1 for one that cannot be opened.
DWORD LevelOfThread() {
  qvrn::KernelHandle token;
  if (!::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, TRUE, token.Put())) {
    return ::GetLastError() == ERROR_CANT_OPEN_ANONYMOUS ? 1 : 0;
  }
  SECURITY_IMPERSONATION_LEVEL level = SecurityAnonymous;
  DWORD bytes = 0;
  ::GetTokenInformation(token.Get(), TokenImpersonationLevel, &level, sizeof level, &bytes);
  return static_cast<DWORD>(level) + 1;
}

TEST(RunAsClient, GivesEachRequestItsOwnClient) {
  for (const DWORD level : {1, 2, 3, 4, 0, 3}) {
    HRESULT impersonated = E_UNEXPECTED;
    DWORD before = 99;
    DWORD after = 99;
    lab::RunAsClient(level, [&] {
      before = LevelOfThread();
      impersonated = ::CoImpersonateClient();
      after = LevelOfThread();
    });
    EXPECT_EQ(impersonated, level == 0 ? RPC_E_CALL_COMPLETE : S_OK);
    EXPECT_EQ(before, 0u);
    EXPECT_EQ(after, level);
  }
  EXPECT_EQ(LevelOfThread(), 0u);
}

TEST(RunAsClient, ThrowsWhatTheRequestThrows) {
  EXPECT_THROW(lab::RunAsClient(3, [] { throw std::bad_alloc(); }), std::bad_alloc);
}

}  // namespace
