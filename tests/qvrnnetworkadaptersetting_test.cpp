#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadaptersetting.h"

#include <objbase.h>
#include <olectl.h>

#include <gmock/gmock.h>

#include "lab/wmi/wbemhost.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tests/support/provider.h"
#include "tools/wmi/qvrnwmiprovider/objectpath.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

namespace {

using Microsoft::WRL::ComPtr;
using tests::Machine;
using tests::Outcome;
using tests::PropertyText;
using tests::TestNamespace;

constexpr wchar_t kClass[] = L"QvrnEN_NetworkAdapterSetting";
constexpr wchar_t kElement[] = L"Win32_NetworkAdapter.DeviceID=\"";
constexpr wchar_t kSetting[] = L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"";
constexpr char kServed[] = "0x00000000, sink 0x00000000 0x00000000";

// The path of an association instance by its Element; what stands in Setting does not matter.
std::wstring PathOf(const wchar_t* digits) {
  return std::wstring(kClass) + L".Element=\"Win32_NetworkAdapter.DeviceID=\\\"" + digits +
         L"\\\"\",Setting=\"X.Y=\\\"99\\\"\"";
}

class SettingTest : public ::testing::Test {
 protected:
  SettingTest() {
    m_machine.AddUsualAdapter(7);
    m_machine.AddAdapter(8, L"oth3\\another_maker");
    m_machine.AddUsualAdapter(12);
    TestNamespace::Instance().Reset();
    // The nested query finds its way back as it does on a machine: the namespace creates the provider's class.
    ComPtr<IClassFactory> factory;
    EXPECT_HRESULT(S_OK, ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory)));
    EXPECT_HRESULT(S_OK, ::CoRegisterClassObject(qvrn::kProviderClassId, factory.Get(), CLSCTX_INPROC_SERVER,
                                                 REGCLS_MULTIPLEUSE, &m_registration));
  }
  ~SettingTest() override {
    lab::ForgetProviders();
    ::CoRevokeClassObject(m_registration);
  }

  Machine m_machine;
  tests::Provider m_provider;
  DWORD m_registration = 0;
};

TEST_F(SettingTest, LinksEachServedAdapterToItsConfiguration) {
  const Outcome outcome = m_provider.Enumerate(kClass);
  EXPECT_EQ(outcome.Text(), kServed);
  ASSERT_EQ(outcome.sink.objects.size(), 2u);
  EXPECT_EQ(PropertyText(outcome.sink.objects[0].Get(), L"Element"), std::wstring(kElement) + L"7\"");
  EXPECT_EQ(PropertyText(outcome.sink.objects[1].Get(), L"Setting"), std::wstring(kSetting) + L"12\"");
  EXPECT_EQ(TestNamespace::Instance().calls.at(0),
            L"ExecQuery(WQL, SELECT * FROM QvrnEN_NetworkAdapterConfiguration, 0x230)");
}

TEST_F(SettingTest, AnEnumerationWithoutServedAdaptersEndsInNotFound) {
  Machine empty;
  EXPECT_EQ(m_provider.Enumerate(kClass).Text(), "0x80041002, sink 0x80041002 0x80041002");
}

TEST_F(SettingTest, AFailedQueryIsToldByTheProviderAlone) {
  TestNamespace::Instance().failQuery = WBEM_E_ACCESS_DENIED;
  EXPECT_EQ(m_provider.Enumerate(kClass).Text(), "0x80041008, sink 0x80041008");
}

TEST_F(SettingTest, GetReadsTheElementOnly) {
  const struct {
    std::wstring path;
    const char* outcome;
    const wchar_t* index;
  } rows[] = {
      {PathOf(L"12"), kServed, L"12"},
      {PathOf(L"0012"), kServed, L"0012"},
      {PathOf(L"8"), "0x80004005, sink 0x80004005 0x80004005", nullptr},
      {PathOf(L"99"), "0x00000002, sink 0x00000002 0x00000002", nullptr},  // the registry's code, unchanged
      {L"QvrnEN_NetworkAdapterSetting.Element=\"7\"", "0x00000002, sink 0x00000002 0x00000002", nullptr},
      {L"QvrnEN_NetworkAdapterSetting", "0x00000002, sink 0x00000002 0x00000002", nullptr},
  };
  for (const auto& row : rows) {
    const Outcome outcome = m_provider.Get(row.path.c_str());
    EXPECT_EQ(outcome.Text(), row.outcome) << ::testing::PrintToString(row.path);
    ASSERT_EQ(outcome.sink.objects.size(), row.index != nullptr ? 1u : 0u);
    if (row.index == nullptr) continue;
    EXPECT_EQ(PropertyText(outcome.sink.objects[0].Get(), L"Element"), kElement + std::wstring(row.index) + L"\"");
    EXPECT_EQ(PropertyText(outcome.sink.objects[0].Get(), L"Setting"), kSetting + std::wstring(row.index) + L"\"");
  }
}

TEST_F(SettingTest, ReportsClassAndMemory) {
  TestNamespace::Instance().failGetObject = WBEM_E_INVALID_CLASS;
  EXPECT_EQ(m_provider.Get(PathOf(L"7").c_str()).Text(), "0x80041001, sink 0x80041001 0x80041001");
  TestNamespace::Instance().Reset();
  const tests::FailingText failing(L"QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\"");
  EXPECT_EQ(m_provider.Get(PathOf(L"7").c_str()).Text(), "0x80041006, sink 0x80041006 0x80041006");
}

TEST_F(SettingTest, CannotBeChanged) {
  const auto instance = m_provider.Get(PathOf(L"7").c_str()).sink.objects.at(0);
  EXPECT_EQ(m_provider.Put(instance.Get()).Text(), "0x80041009, sink 0x80041009");
  EXPECT_EQ(m_provider.Delete(PathOf(L"7").c_str()).Text(), "0x8004100C, sink 0x8004100C");
  EXPECT_EQ(m_provider.Method(kClass, L"Run").Text(), "0x8004100C, sink 0x8004100C");
}

TEST(ReferenceDigits, StandBehindTheSecondEqualSign) {
  const std::wstring longNumber(400, L'1');
  const std::wstring longPath = L"A.B=\"C.D=\"" + longNumber;
  const std::pair<std::wstring, std::wstring> rows[] = {
      {L"A.B=\"C.D=\\\"12\\\"\",E=\"F.G=\\\"34\\\"\"", L"12"},
      {L"A.B=\"C.D=\"12\"\"", L"12"},
      {L"A.B=\"C.D=\\\"x1y2\\\"\"", L"12"},
      {L"A.B=\"C.D=12\"", L""},
      {L"A.B=\"C.D=\"12=34\"\"", L"1234"},
      {L"A.B=\"12\"", L""},
      {L"", L""},
      {longPath, std::wstring(250, L'1')},
  };
  for (const auto& [path, digits] : rows) {
    EXPECT_EQ(std::wstring(qvrn::ReferenceDigits(path.c_str()).Text()), digits) << ::testing::PrintToString(path);
  }
}

}  // namespace
