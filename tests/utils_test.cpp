#include "tools/wmi/qvrnwmiprovider/utils.h"

#include <gmock/gmock.h>

#include "tests/support/hresult.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"

namespace {

using ::testing::ElementsAre;
using tests::Machine;

const std::wstring kDriverKey = L"SYSTEM\\CurrentControlSet\\Services\\MUXP\\Parameters\\Adapters\\";
constexpr LONG kNotServed = static_cast<LONG>(0x80004005);

class LocatorTest : public ::testing::Test {
 protected:
  // UpperBindings of an adapter as raw characters, '|' standing for a zero.
  void Bind(DWORD adapter, std::wstring strings) {
    for (wchar_t& character : strings) {
      if (character == L'|') character = L'\0';
    }
    m_machine.WriteBytes(kDriverKey + Machine::InstanceId(adapter), L"UpperBindings", REG_MULTI_SZ, strings.data(),
                         strings.size() * sizeof(wchar_t));
  }

  std::wstring Parent(const wchar_t* instanceId, HRESULT result = S_OK) {
    wchar_t index[261] = L"poison";
    EXPECT_HRESULT(result, qvrn::FindParentAdapterIndex(instanceId, index, 261)) << "of " << instanceId;
    return index;
  }

  Machine m_machine;
};

TEST_F(LocatorTest, QualifiesServedAndPresentAdapters) {
  m_machine.AddAdapter(7);
  m_machine.AddAdapter(8, L"QVX4\\HALVEX_ETH");
  m_machine.AddAdapter(9, L"qvx4\\halvex_eth2");
  m_machine.AddAdapter(10, Machine::kServed, false);
  m_machine.AddAdapter(11);
  m_machine.DeleteValue(Machine::InstanceKey(11), L"NetCfgInstanceId");
  m_machine.AddAdapter(12);
  m_machine.DeleteValue(Machine::InstanceKey(12), L"ComponentId");
  m_machine.AddAdapter(13);
  m_machine.Store(13, L"NetCfgInstanceId", L"no guid");
  m_machine.AddAdapter(14);
  m_machine.Store(14, L"ComponentId", std::wstring(300, L'x').c_str());
  m_machine.AddAdapter(15);
  m_machine.WriteBytes(Machine::InstanceKey(15), L"ComponentId", REG_SZ, L"qvx4\\halvex_eth", 30);  // no terminator
  const std::pair<DWORD, LONG> rows[] = {
      {7, 0},
      {8, 0},
      {9, kNotServed},
      {10, kNotServed},
      {11, ERROR_FILE_NOT_FOUND},
      {12, ERROR_FILE_NOT_FOUND},
      {13, kNotServed},
      {14, ERROR_MORE_DATA},
      {15, 0},
      {99, ERROR_FILE_NOT_FOUND},
      {0xFFFFFFFF, ERROR_FILE_NOT_FOUND},
  };
  for (const auto& [index, status] : rows) EXPECT_EQ(qvrn::CheckAdapterIndex(index), status) << index;
}

TEST_F(LocatorTest, ReadsTheNetworkConfigurationWithoutTheLock) {
  m_machine.AddAdapter(7);
  m_machine.TakeNetworkCalls();
  EXPECT_TRUE(qvrn::IsAdapterPresent(Machine::InstanceId(7).c_str()));
  const std::wstring guid = L"(" + Machine::InstanceId(7) + L")";
  std::vector<std::wstring> calls;
  for (const std::wstring& call : m_machine.TakeNetworkCalls()) calls.push_back(call.substr(0, call.find(L" = ")));
  EXPECT_THAT(calls, ElementsAre(L"INetCfg::Initialize()", L"INetCfg::EnumComponents(Net)",
                                 ::testing::StartsWith(L"IEnumNetCfgComponent::Next(1"),
                                 L"INetCfgComponent::GetInstanceGuid" + guid,
                                 L"INetCfgComponent::GetDeviceStatus" + guid, L"INetCfg::Uninitialize()"));
}

TEST_F(LocatorTest, AFailedInitializationIsAnAssertion) {
  m_machine.AddAdapter(7);
  m_machine.FailCall(L"INetCfg::Initialize", E_ACCESSDENIED);
  tests::AssertionRecorder assertions;
  EXPECT_FALSE(qvrn::IsAdapterPresent(Machine::InstanceId(7).c_str()));
  EXPECT_THAT(assertions.Take(), ElementsAre("(((HRESULT)(hr)) >= 0), utils"));
}

TEST_F(LocatorTest, ADeviceWithAProblemIsNotPresent) {
  m_machine.AddAdapter(7);
  for (const HRESULT status : {static_cast<HRESULT>(S_FALSE), E_FAIL}) {
    m_machine.FailCall(L"INetCfgComponent::GetDeviceStatus", status);
    EXPECT_FALSE(qvrn::IsAdapterPresent(Machine::InstanceId(7).c_str()));
  }
  EXPECT_TRUE(qvrn::IsAdapterPresent(Machine::InstanceId(7).c_str()));
}

TEST_F(LocatorTest, FindsTheDeviceNode) {
  m_machine.AddAdapter(7);
  wchar_t id[260] = L"poison";
  EXPECT_HRESULT(S_OK, qvrn::GetAdapterPnpDevNodeId(GUID{7, 0, 0, {}}, id, 260));
  EXPECT_EQ(std::wstring(id), Machine::DeviceId(7));
  EXPECT_HRESULT(S_FALSE, qvrn::GetAdapterPnpDevNodeId(GUID{8, 0, 0, {}}, id, 260));
  EXPECT_EQ(std::wstring(id), L"");
  m_machine.FailCall(L"INetCfg::EnumComponents", E_ACCESSDENIED);
  EXPECT_HRESULT(E_ACCESSDENIED, qvrn::GetAdapterPnpDevNodeId(GUID{7, 0, 0, {}}, id, 260));
}

TEST_F(LocatorTest, FormatsObjectPathsIntoTheBuffer) {
  wchar_t path[64];
  qvrn::FormatObjectPath(path, 64, L"Win32_NetworkAdapter", L"DeviceID", L"7");
  EXPECT_EQ(std::wstring(path), L"Win32_NetworkAdapter.DeviceID=\"7\"");
  qvrn::FormatObjectPath(path, 8, L"Win32_NetworkAdapter", L"DeviceID", L"7");
  EXPECT_EQ(std::wstring(path), L"Win32_N");
}

TEST_F(LocatorTest, ScansUpperBindingsItsOwnWay) {
  m_machine.AddAdapter(7);
  m_machine.AddAdapter(12);
  Bind(7, L"\\Device\\{A}|\\Device\\{B}||");
  EXPECT_EQ(Parent(L"{A}"), L"7");
  EXPECT_EQ(Parent(L"{B}"), L"7") << "the device prefix takes the unseen character";
  EXPECT_EQ(Parent(L"{C}"), L"");
  Bind(7, L"{A}|{B}|{D}||");
  EXPECT_EQ(Parent(L"{A}"), L"7");
  EXPECT_EQ(Parent(L"{B}"), L"") << "the first character of a following string is not seen";
  EXPECT_EQ(Parent(L"B}"), L"7");
  EXPECT_EQ(Parent(L""), L"");
  Bind(12, L"x{A}y||");
  EXPECT_EQ(Parent(L"{A}"), L"12") << "the last match wins";
}

TEST_F(LocatorTest, TheLastSubkeyDecidesTheResult) {
  m_machine.AddAdapter(7);
  EXPECT_EQ(Parent(L"{A}", E_FAIL), L"") << "no driver";
  Bind(7, L"{A}||");
  EXPECT_EQ(Parent(L"{A}"), L"7");
  m_machine.WriteText(kDriverKey + L"{FFFFFFFF-0000-0000-0000-000000000000}", L"", L"");
  EXPECT_EQ(Parent(L"{A}", E_FAIL), L"7") << "found, but the last subkey has no UpperBindings";
}

TEST_F(LocatorTest, SurvivesBrokenMultiStrings) {
  m_machine.AddAdapter(7);
  const std::wstring rows[] = {L"", L"|", L"{A}", L"x", L"xx|", L"|||||", L"{A"};
  for (const std::wstring& strings : rows) {
    Bind(7, strings);
    EXPECT_EQ(Parent(L"{A}"), strings == L"{A}" ? L"7" : L"") << ::testing::PrintToString(strings);
  }
  m_machine.WriteBytes(kDriverKey + Machine::InstanceId(7), L"UpperBindings", REG_BINARY, "\x41", 1);
  EXPECT_EQ(Parent(L"A"), L"");
}

TEST_F(LocatorTest, FindsAnIndexByTheExactInstanceId) {
  m_machine.AddAdapter(7);
  m_machine.AddAdapter(0xAB);
  wchar_t index[16] = L"";
  EXPECT_HRESULT(S_OK, qvrn::GetAdapterIndexByInstanceId(Machine::InstanceId(0xAB).c_str(), index, 16));
  EXPECT_EQ(std::wstring(index), L"171");
  EXPECT_HRESULT(S_OK, qvrn::GetAdapterIndexByInstanceId(Machine::InstanceId(7).c_str(), index, 16));
  EXPECT_EQ(std::wstring(index), L"7");
  EXPECT_HRESULT(S_OK, qvrn::GetAdapterIndexByInstanceId(L"{000000ab-0000-0000-0000-000000000000}", index, 16));
  EXPECT_EQ(std::wstring(index), L"7") << "another case is another id, and the buffer stays";
  EXPECT_HRESULT(E_FAIL, qvrn::GetAdapterIndexByInstanceId(Machine::InstanceId(0xAB).c_str(), index, 2)) << "too small";
  m_machine.AddAdapter(200);
  m_machine.DeleteValue(Machine::InstanceKey(200), L"NetCfgInstanceId");
  EXPECT_HRESULT(E_FAIL, qvrn::GetAdapterIndexByInstanceId(L"{nobody}", index, 16)) << "the last key has no id";
}

}  // namespace
