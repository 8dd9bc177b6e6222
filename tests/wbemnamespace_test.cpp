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
const std::wstring kInstanceKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}\\";

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
  tests::Provider m_provider;  ///< before the namespace loads its own: handlers keep the namespace that comes first
  IWbemServices* m_services = lab::Namespace();
  DWORD m_registration = 0;
};

TEST_F(NamespaceTest, AQueryFiltersAndReducesWhatComes) {
  m_machine.AddUsualAdapter(7);
  m_machine.AddAdapter(8, L"oth3\\another_maker");
  m_machine.AddUsualAdapter(12);
  m_machine.WriteText(L"SYSTEM\\CurrentControlSet\\Enum\\" + tests::Machine::DeviceId(7), L"FriendlyName",
                      L"The \"\x263A\" 'a' \\ b");
  m_machine.WriteNumber(kInstanceKey + L"0012", L"LabConnectionStatus", 2);
  const struct {
    std::wstring query;
    const wchar_t* property;
    Texts found;
  } rows[] = {
      {L"SELECT * FROM qvrnen_networkadapterconfiguration", L"SettingID", {L"7", L"12"}},
      {L"SELECT SettingID FROM " + kClass + L" WHERE SettingID = '12'", L"__RELPATH", {kClass + L".SettingID=\"12\""}},
      {L"SELECT RssMode FROM " + kClass + L" WHERE SettingID = '7'", L"__RELPATH", {L"null"}},
      {L"SELECT RssMode FROM " + kClass + L" WHERE SettingID = '7'", L"SettingID", {L"no such property"}},
      {L"SELECT RssMode , __PATH FROM " + kClass,
       L"__RELPATH",
       {kClass + L".SettingID=\"7\"", kClass + L".SettingID=\"12\""}},
      {L"  select\t* from Win32_NetworkAdapter  ", L"DeviceID", {L"7", L"8", L"12"}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE DeviceID = 8", L"NetConnectionStatus", {L"null"}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE deviceid = '80'", L"DeviceID", {}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE NetConnectionStatus = 0x2", L"DeviceID", {L"12"}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE NetConnectionStatus = TRUE", L"DeviceID", {}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE Name = \"the \\\"\x263A\\\" 'A' \\\\ b\"", L"DeviceID", {L"7"}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE Name = 'The \"\x263A\" \\'a\\' \\\\ b'", L"DeviceID", {L"7"}},
  };
  for (const auto& row : rows) {
    HRESULT last = S_OK;
    EXPECT_EQ(Query(row.query, row.property, last), row.found) << &row - rows;
    EXPECT_HRESULT(WBEM_S_FALSE, last) << &row - rows;
  }
}

TEST_F(NamespaceTest, WhatTheProviderSaysComesWithTheResult) {
  HRESULT last = S_OK;
  EXPECT_TRUE(Query(L"SELECT * FROM " + kClass, L"SettingID", last).empty());
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, last) << "no adapter, told by the last Next";
  m_machine.AddUsualAdapter(7);
  EXPECT_HRESULT(S_OK, Get(kClass + L".SettingID=\"7\""));
  m_machine.WriteNumber(lab::kLabKey, L"ImpersonationLevel", 2);
  EXPECT_HRESULT(WBEM_E_ACCESS_DENIED, Get(kClass + L"=\"7\""));
}

TEST_F(NamespaceTest, PathsAreThoseOfTheNamespace) {
  m_machine.AddUsualAdapter(7);
  const struct {
    std::wstring path;
    WBEMSTATUS expected;
  } rows[] = {{L"ROOT/CimV2:" + kClass, WBEM_NO_ERROR},
              {L"//./root/cimv2:" + kClass + L".SettingID=\"7\"", WBEM_NO_ERROR},
              {L"\\\\localhost\\root\\cimv2:" + kClass, WBEM_NO_ERROR},
              {L"\\\\another-machine\\root\\cimv2:" + kClass, WBEM_E_INVALID_NAMESPACE},
              {L"root\\default:" + kClass, WBEM_E_INVALID_NAMESPACE},
              {L"NoSuchClass", WBEM_E_NOT_FOUND},
              {L"NoSuchClass.A=\"a:b,c.d=\\\"\",B=2", WBEM_E_INVALID_CLASS},
              {L"StdRegProv.Id=1", WBEM_E_PROVIDER_NOT_CAPABLE}};
  for (const auto& row : rows) EXPECT_HRESULT(row.expected, Get(row.path)) << &row - rows;
  for (const wchar_t* rest :
       {L".SettingID", L".SettingID=", L".SettingID=\"7", L".SettingID=\"7\"x", L".SettingID=7,", L" two", L".=7"}) {
    EXPECT_HRESULT(WBEM_E_INVALID_OBJECT_PATH, Get(kClass + rest)) << rest;
  }
}

TEST_F(NamespaceTest, RefusesQueriesThatAreNotServed) {
  HRESULT last = S_OK;
  Query(L"SELECT * FROM NoSuchClass", L"", last);
  EXPECT_HRESULT(WBEM_E_INVALID_CLASS, last);
  const std::wstring all = L"SELECT * FROM StdRegProv ";
  for (const std::wstring& text :
       {std::wstring(L"SELECT Colour FROM StdRegProv"), std::wstring(L"SELECT __PATH, FROM StdRegProv"), all + L"ORDER",
        all + L"WHERE Colour = 1", all + L"WHERE __PATH = b", all + L"WHERE __PATH = 'open",
        all + L"WHERE __PATH = 12x", all + L"WHERE __PATH <> 1", all + L"WHERE __PATH = 1 AND __PATH = 2",
        std::wstring(L"ASSOCIATORS OF {X.a=1}")}) {
    Query(text, L"", last);
    EXPECT_HRESULT(WBEM_E_INVALID_QUERY, last) << testing::PrintToString(text);
  }
}

}  // namespace
