// The namespace as the service of a provider that does what each test tells it.
#include "lab/wmi/wbemhost.h"

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <string>
#include <vector>

#include "lab/unknown.h"
#include "lab/wmi/classobject.h"
#include "platform/comtext.h"
#include "tests/support/hresult.h"
#include "tests/support/machine.h"
#include "tests/support/provider.h"
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

/// A property of each object that comes, and the result of the Next that brings none.
std::vector<std::wstring> TextsOf(IEnumWbemClassObject* enumerator, const wchar_t* property, HRESULT& last) {
  std::vector<std::wstring> texts;
  for (;;) {
    ComPtr<IWbemClassObject> object;
    ULONG returned = 7;
    last = enumerator->Next(static_cast<LONG>(WBEM_INFINITE), 1, &object, &returned);
    EXPECT_EQ(returned, object == nullptr ? 0u : 1u);
    if (object == nullptr) return texts;
    texts.push_back(tests::PropertyText(object.Get(), property));
  }
}

TEST_F(NamespaceTest, TheFirstFinalStatusDecidesAGet) {
  const auto denied = static_cast<HRESULT>(WBEM_E_ACCESS_DENIED);
  const auto failed = static_cast<HRESULT>(WBEM_E_FAILED);
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

TEST_F(NamespaceTest, AQueryFiltersWhatComesAndItsLastNextFails) {
  m_provider.objects = 3;
  m_provider.statuses = {static_cast<HRESULT>(WBEM_E_NOT_FOUND)};
  const struct {
    const wchar_t* query;
    std::vector<std::wstring> found;
  } rows[] = {{L"SELECT * FROM qvrnen_networkadapterconfiguration", {L"1", L"2", L"3"}},
              {L"SELECT SettingID FROM QvrnEN_NetworkAdapterConfiguration WHERE SettingID = '2'", {L"2"}}};
  for (const auto& row : rows) {
    ComPtr<IEnumWbemClassObject> enumerator;
    ASSERT_EQ(Query(row.query, WBEM_FLAG_FORWARD_ONLY, enumerator), S_OK);
    EXPECT_EQ(m_provider.calledWith, kClass);
    HRESULT last = S_OK;
    EXPECT_EQ(TextsOf(enumerator.Get(), L"SettingID", last), row.found);
    EXPECT_HRESULT(WBEM_E_NOT_FOUND, last);
  }
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
                 {L"SELECT * FROM QvrnEN_NetworkAdapterConfiguration WHERE Colour = 1", WBEM_E_INVALID_QUERY},
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
  EXPECT_EQ(Get((std::wstring(L"\\\\.\\ROOT\\cimv2:") + kPath).c_str()), S_OK);
  EXPECT_EQ(m_provider.calledWith, kPath) << "a provider gets relative paths";
  EXPECT_EQ(m_provider.initializations, 2);
}

TEST_F(NamespaceTest, ShowsTheAdaptersOfTheMachine) {
  const std::wstring control = L"SYSTEM\\CurrentControlSet\\Control\\";
  const std::wstring networkClass = L"{4D36E972-E325-11CE-BFC1-08002bE10318}\\";
  m_machine.AddAdapter(7);
  m_machine.AddAdapter(120, L"other", false);
  m_machine.WriteText(L"SYSTEM\\CurrentControlSet\\Enum\\" + tests::Machine::DeviceId(7), L"FriendlyName", L"Left");
  m_machine.WriteText(control + L"Network\\" + networkClass + tests::Machine::InstanceId(7) + L"\\Connection", L"Name",
                      L"Ethernet");
  m_machine.WriteText(control + L"Class\\" + networkClass + L"Properties", L"DriverDesc", L"no adapter");
  const struct {
    const wchar_t* property;
    std::vector<std::wstring> expected;
  } rows[] = {{L"DeviceID", {L"7", L"120"}},
              {L"Name", {L"Left", L"Adapter 120"}},
              {L"PNPDeviceID", {tests::Machine::DeviceId(7), L"null"}},
              {L"NetConnectionID", {L"Ethernet", L"null"}}};
  for (const auto& row : rows) {
    ComPtr<IEnumWbemClassObject> enumerator;
    ASSERT_EQ(Query(L"SELECT * FROM Win32_NetworkAdapter", 0, enumerator), S_OK);
    HRESULT last = S_OK;
    EXPECT_EQ(TextsOf(enumerator.Get(), row.property, last), row.expected);
    EXPECT_EQ(last, WBEM_S_FALSE);
  }
}

}  // namespace
