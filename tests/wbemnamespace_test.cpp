// The namespace as clients see it, with the provider's own class behind it.
#include <objbase.h>
#include <olectl.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "lab/labkey.h"
#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/support/hresult.h"
#include "tests/support/machine.h"
#include "tests/support/provider.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;
using Texts = std::vector<std::wstring>;

const std::wstring kClass = L"QvrnEN_NetworkAdapterConfiguration";

class NamespaceTest : public testing::Test {
 protected:
  NamespaceTest() {
    ComPtr<IClassFactory> factory;
    EXPECT_HRESULT(S_OK, ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory)));
    EXPECT_HRESULT(S_OK, ::CoRegisterClassObject(qvrn::kProviderClassId, factory.Get(), CLSCTX_INPROC_SERVER,
                                                 REGCLS_MULTIPLEUSE, &m_registration));
  }
  ~NamespaceTest() override {
    lab::ForgetProviders();
    ::CoRevokeClassObject(m_registration);
  }

  HRESULT Get(const std::wstring& path) {
    ComPtr<IWbemClassObject> object;
    const HRESULT hr = m_services->GetObject(Bstr(path.c_str()).Get(), 0, nullptr, &object, nullptr);
    EXPECT_EQ(SUCCEEDED(hr), object != nullptr);
    return hr;
  }

  /// A property of each object that comes; `last` is the result of the Next that brings none, or of the query.
  Texts Query(const std::wstring& text, const wchar_t* property, HRESULT& last) {
    Texts texts;
    ComPtr<IEnumWbemClassObject> found;
    last = m_services->ExecQuery(Bstr(L"WQL").Get(), Bstr(text.c_str()).Get(), 0, nullptr, &found);
    ULONG returned = 1;
    while (SUCCEEDED(last) && returned == 1) {
      ComPtr<IWbemClassObject> object;
      last = found->Next(static_cast<LONG>(WBEM_INFINITE), 1, &object, &returned);
      if (object != nullptr) texts.push_back(tests::PropertyText(object.Get(), property));
    }
    return texts;
  }

  tests::Machine m_machine;
  IWbemServices* m_services = lab::Namespace();
  DWORD m_registration = 0;
};

TEST_F(NamespaceTest, AQueryFiltersAndReducesWhatComes) {
  m_machine.AddUsualAdapter(7);
  m_machine.AddAdapter(8, L"oth3\\another_maker");
  m_machine.AddUsualAdapter(12);
  const std::wstring enumKey = L"SYSTEM\\CurrentControlSet\\Enum\\";
  m_machine.WriteText(enumKey + tests::Machine::DeviceId(7), L"FriendlyName", L"Left");
  const struct {
    std::wstring query;
    const wchar_t* property;
    Texts found;
  } rows[] = {
      {L"SELECT * FROM qvrnen_networkadapterconfiguration", L"SettingID", {L"7", L"12"}},
      {L"SELECT SettingID FROM " + kClass + L" WHERE SettingID = '12'", L"__RELPATH", {kClass + L".SettingID=\"12\""}},
      {L"SELECT RssMode FROM " + kClass + L" WHERE SettingID = '7'", L"__RELPATH", {L"null"}},
      {L"SELECT RssMode FROM " + kClass + L" WHERE SettingID = '7'", L"SettingID", {L"no such property"}},
      {L"SELECT __RELPATH FROM " + kClass + L" WHERE SettingID = '7'", L"__RELPATH", {kClass + L".SettingID=\"7\""}},
      {L"SELECT * FROM Win32_NetworkAdapter", L"DeviceID", {L"7", L"8", L"12"}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE PNPDeviceID <> ''", L"Name", {}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE DeviceID = 7", L"Name", {L"Left"}},
  };
  for (const auto& row : rows) {
    HRESULT last = S_OK;
    EXPECT_EQ(Query(row.query, row.property, last), row.found) << &row - rows;
    EXPECT_HRESULT(row.found.empty() ? WBEM_E_INVALID_QUERY : WBEM_S_FALSE, last) << &row - rows;
  }
}

TEST_F(NamespaceTest, WhatTheProviderSaysComesWithTheResult) {
  HRESULT last = S_OK;
  EXPECT_TRUE(Query(L"SELECT * FROM " + kClass, L"SettingID", last).empty());
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, last) << "no adapter, told by the last Next";
  m_machine.AddUsualAdapter(7);
  EXPECT_HRESULT(S_OK, Get(L"\\\\.\\ROOT\\cimv2:" + kClass + L".SettingID=\"7\""));
  m_machine.WriteNumber(lab::kLabKey, L"ImpersonationLevel", 2);
  EXPECT_HRESULT(WBEM_E_ACCESS_DENIED, Get(kClass + L".SettingID=\"7\""));
}

TEST_F(NamespaceTest, RefusesBeforeItAsksTheProvider) {
  const struct {
    std::wstring path;
    WBEMSTATUS expected;
  } gets[] = {{L"NoSuchClass", WBEM_E_NOT_FOUND},
              {L"NoSuchClass.Id=1", WBEM_E_INVALID_CLASS},
              {kClass + L".SettingID=\"7", WBEM_E_INVALID_OBJECT_PATH},
              {L"root\\default:" + kClass, WBEM_E_INVALID_NAMESPACE},
              {L"StdRegProv.Id=1", WBEM_E_PROVIDER_NOT_CAPABLE}};
  for (const auto& row : gets) EXPECT_HRESULT(row.expected, Get(row.path)) << &row - gets;

  const struct {
    std::wstring query;
    WBEMSTATUS expected;
  } queries[] = {{L"SELECT * FROM NoSuchClass", WBEM_E_INVALID_CLASS},
                 {L"SELECT Colour FROM " + kClass, WBEM_E_INVALID_QUERY},
                 {L"SELECT * FROM " + kClass + L" WHERE Colour = 1", WBEM_E_INVALID_QUERY}};
  for (const auto& row : queries) {
    HRESULT last = S_OK;
    Query(row.query, L"", last);
    EXPECT_HRESULT(row.expected, last) << &row - queries;
  }
}

}  // namespace
