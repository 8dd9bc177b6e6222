// The namespace as clients see it, with the provider's own class behind it.
#include <objbase.h>
#include <olectl.h>

#include <string>
#include <vector>

#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/support/functiontest.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;
using Texts = std::vector<std::wstring>;

const std::wstring kClass = L"QvrnEN_NetworkAdapterConfiguration";

class NamespaceTest : public tests::FunctionTest {
 protected:
  NamespaceTest() {
    Tell(
        "machine; adapter 7; adapter 8 oth3\\another_maker; adapter 12; "
        "parameter 7,12 *JumboPacket type=int min=1514 max=9014 default=1514");
  }
  ~NamespaceTest() override { lab::ForgetProviders(); }

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

  IWbemServices* m_services = lab::Namespace();
};

TEST_F(NamespaceTest, AQueryFiltersAndReducesWhatComes) {
  Tell(
      "registry-set SYSTEM\\CurrentControlSet\\Enum\\PCI\\VEN_51A0&DEV_4801\\4&7:FriendlyName "
      "\"The \\\"\xE2\x98\xBA\\\" 'a' \\ b\"");
  Tell("registry-set <class>\\0012:LabConnectionStatus dword 2");
  const struct {
    std::wstring query;
    const wchar_t* property;
    Texts found;
  } rows[] = {
      {L"SELECT * FROM qvrnen_networkadapterconfiguration", L"SettingID", {L"7", L"12"}},
      {L"SELECT SettingID FROM " + kClass + L" WHERE SettingID = '12'", L"__RELPATH", {kClass + L".SettingID=\"12\""}},
      {L"SELECT RssMode FROM " + kClass + L" WHERE SettingID = '7'", L"SettingID", {L"no such property"}},
      {L"SELECT RssMode , __PATH FROM " + kClass,
       L"__RELPATH",
       {kClass + L".SettingID=\"7\"", kClass + L".SettingID=\"12\""}},
      {L"  select\t* from Win32_NetworkAdapter  ", L"DeviceID", {L"7", L"8", L"12"}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE DeviceID = 8", L"NetConnectionStatus", {L"null"}},
      {L"SELECT * FROM Win32_NetworkAdapter WHERE NetConnectionStatus = 0x2", L"DeviceID", {L"12"}},
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
  Tell("registry-set SOFTWARE\\QvrnLab:ImpersonationLevel dword 2");
  EXPECT_HRESULT(WBEM_E_ACCESS_DENIED, Get(kClass + L"=\"7\""));
  Tell("machine");
  HRESULT last = S_OK;
  EXPECT_TRUE(Query(L"SELECT * FROM " + kClass, L"SettingID", last).empty());
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, last) << "no adapter, told by the last Next";
}

TEST_F(NamespaceTest, PathsAreThoseOfTheNamespace) {
  const struct {
    std::wstring path;
    WBEMSTATUS expected;
  } rows[] = {{L"ROOT/CimV2:" + kClass, WBEM_NO_ERROR},
              {L"//./root/cimv2:" + kClass + L".SettingID=\"7\"", WBEM_NO_ERROR},
              {L"\\\\another-machine\\root\\cimv2:" + kClass, WBEM_E_INVALID_NAMESPACE},
              {L"NoSuchClass", WBEM_E_NOT_FOUND},
              {L"NoSuchClass.A=\"a:b,c.d=\\\"\",B=2", WBEM_E_INVALID_CLASS}};
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
  for (const wchar_t* rest : {L"ORDER", L"WHERE Colour = 1", L"WHERE __PATH = 'open", L"WHERE __PATH <> 1"}) {
    Query(std::wstring(L"SELECT * FROM StdRegProv ") + rest, L"", last);
    EXPECT_HRESULT(WBEM_E_INVALID_QUERY, last) << rest;
  }
}

}  // namespace
