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

class Namespace : public testing::Test {
 protected:
  void SetUp() override {
    m_services = lab::Namespace();
    ASSERT_NE(m_services, nullptr);
    lab::ForgetProviders();
    CLSID id = {};
    ASSERT_EQ(::CLSIDFromString(lab::NamespaceSchema().ProviderClassId(L"QvrnWmiProvider").c_str(), &id), S_OK);
    m_factory.Attach(new ScriptedFactory(m_provider));
    lab::RunAsClient(0, [&] {
      ASSERT_EQ(::CoRegisterClassObject(id, m_factory.Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie),
                S_OK);
    });
  }
  void TearDown() override {
    lab::ForgetProviders();
    lab::RunAsClient(0, [&] { ::CoRevokeClassObject(m_cookie); });
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

  ScriptedProvider m_provider;
  IWbemServices* m_services = nullptr;

 private:
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

TEST_F(Namespace, TheFirstFinalStatusDecidesAGet) {
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
    EXPECT_EQ(Get(kPath), row.expected);
    EXPECT_EQ(lab::LastProviderCall().statuses, row.statuses);
    EXPECT_EQ(lab::LastProviderCall().result, row.result);
  }
}

TEST_F(Namespace, AFailedQuerySucceedsAndItsLastNextFails) {
  m_provider.objects = 2;
  m_provider.statuses = {static_cast<HRESULT>(WBEM_E_NOT_FOUND)};
  ComPtr<IEnumWbemClassObject> enumerator;
  ASSERT_EQ(Query(L"SELECT * FROM qvrnen_networkadapterconfiguration", WBEM_FLAG_FORWARD_ONLY, enumerator), S_OK);
  EXPECT_EQ(m_provider.calledWith, kClass);
  EXPECT_EQ(NextOf(enumerator.Get()), L"1");
  EXPECT_EQ(NextOf(enumerator.Get()), L"2");
  EXPECT_EQ(NextOf(enumerator.Get()), std::to_wstring(static_cast<unsigned>(WBEM_E_NOT_FOUND)));
}

TEST_F(Namespace, FiltersAndProjectsWhatAProviderEnumerates) {
  m_provider.objects = 3;
  ComPtr<IEnumWbemClassObject> enumerator;
  ASSERT_EQ(Query(L"SELECT SettingID FROM QvrnEN_NetworkAdapterConfiguration WHERE SettingID = '2'", 0, enumerator),
            S_OK);
  ComPtr<IWbemClassObject> object;
  ULONG returned = 0;
  ASSERT_EQ(enumerator->Next(WBEM_INFINITE, 1, &object, &returned), WBEM_S_NO_ERROR);
  EXPECT_EQ(object->Get(L"RssMode", 0, nullptr, nullptr, nullptr), static_cast<HRESULT>(WBEM_E_NOT_FOUND));
  EXPECT_EQ(NextOf(enumerator.Get()), kEnd);
}

TEST_F(Namespace, EnumeratorsKeepTheirOwnPlace) {
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
  EXPECT_EQ(enumerator->Reset(), static_cast<HRESULT>(WBEM_E_INVALID_OPERATION));
  EXPECT_EQ(enumerator->Clone(&clone), static_cast<HRESULT>(WBEM_E_INVALID_OPERATION));
}

TEST_F(Namespace, ProvidersGetRelativePaths) {
  EXPECT_EQ(Get((std::wstring(L"\\\\.\\ROOT\\cimv2:") + kPath).c_str()), S_OK);
  EXPECT_EQ(m_provider.calledWith, kPath);
}

TEST_F(Namespace, RefusesBeforeItAsksTheProvider) {
  const struct {
    const wchar_t* path;
    WBEMSTATUS expected;
  } gets[] = {{L"", WBEM_E_NOT_SUPPORTED},
              {L"NoSuchClass", WBEM_E_NOT_FOUND},
              {L"NoSuchClass.Id=1", WBEM_E_INVALID_CLASS},
              {L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"7", WBEM_E_INVALID_OBJECT_PATH},
              {L"root\\default:QvrnEN_NetworkAdapterConfiguration", WBEM_E_INVALID_NAMESPACE}};
  for (const auto& row : gets) EXPECT_EQ(Get(row.path), static_cast<HRESULT>(row.expected)) << &row - gets;

  const struct {
    const wchar_t* query;
    WBEMSTATUS expected;
  } queries[] = {{L"SELECT * FROM NoSuchClass", WBEM_E_INVALID_CLASS},
                 {L"SELECT Colour FROM QvrnEN_NetworkAdapterConfiguration", WBEM_E_INVALID_QUERY},
                 {L"ASSOCIATORS OF {X.Y=1}", WBEM_E_INVALID_QUERY}};
  for (const auto& row : queries) {
    ComPtr<IEnumWbemClassObject> enumerator;
    EXPECT_EQ(Query(row.query, 0, enumerator), static_cast<HRESULT>(row.expected)) << &row - queries;
    EXPECT_EQ(enumerator, nullptr);
  }
  EXPECT_EQ(m_services->DeleteInstance(Bstr(kPath).Get(), 0, nullptr, nullptr),
            static_cast<HRESULT>(WBEM_E_PROVIDER_NOT_CAPABLE));
  EXPECT_EQ(m_provider.calledWith, L"");
}

TEST_F(Namespace, LoadsAProviderOnceAndAfterAFailureAgain) {
  m_provider.initStatus = static_cast<LONG>(WBEM_E_FAILED);
  EXPECT_EQ(Get(kPath), static_cast<HRESULT>(WBEM_E_PROVIDER_LOAD_FAILURE));
  m_provider.initStatus = WBEM_S_INITIALIZED;
  EXPECT_EQ(Get(kPath), S_OK);
  EXPECT_EQ(Get(kPath), S_OK);
  EXPECT_EQ(m_provider.initializations, 2);
}

TEST_F(Namespace, APutReachesTheProviderAndAWrongTypeDoesNot) {
  const ComPtr<IWbemClassObject> instance = lab::MakeInstance(lab::FindClass(kClass));
  qvrn::Variant text(L"many");
  EXPECT_EQ(instance->Put(L"RssMode", 0, text.Get(), 0), static_cast<HRESULT>(WBEM_E_TYPE_MISMATCH));
  EXPECT_EQ(m_services->PutInstance(instance.Get(), WBEM_FLAG_UPDATE_ONLY, nullptr, nullptr), S_OK);
  EXPECT_EQ(m_provider.calledWith, L"put");
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
