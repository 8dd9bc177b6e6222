#include "tools/winhalvextune/common.h"

#include <oleauto.h>

#include <gmock/gmock.h>

#include "lab/journal.h"
#include "platform/comtext.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"

namespace {

using qvrn::Message;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tests::Machine;

class CommonTest : public ::testing::Test {
 protected:
  ~CommonTest() override { qvrn::g_hResourceModule = nullptr; }

  // As a host does that carries the texts: this program has a string table.
  static void CarryTexts() { qvrn::g_hResourceModule = ::GetModuleHandleW(nullptr); }

  Machine m_machine;
  tests::AssertionRecorder m_assertions;
};

TEST_F(CommonTest, LogarithmsAndPowers) {
  const std::pair<LONG, LONG> logarithms[] = {{-5, 0},     {0, 0},           {1, 0},          {2, 1},      {3, 1},
                                              {4, 2},      {255, 7},         {256, 8},        {65535, 15}, {65536, 16},
                                              {65537, 16}, {0x40000000, 30}, {0x7FFFFFFF, 30}};
  for (const auto& [value, logarithm] : logarithms) EXPECT_EQ(qvrn::IntegerLog2(value), logarithm) << value;
  const std::pair<LONG, LONG> powers[] = {{-1, 0}, {0, 1}, {4, 16}, {30, 0x40000000}, {31, 0}, {64, 0}};
  for (const auto& [exponent, power] : powers) EXPECT_EQ(qvrn::PowerOfTwo(exponent), power) << exponent;
}

TEST_F(CommonTest, LoadsStringsFromTheirBlocks) {
  const HMODULE module = ::GetModuleHandleW(nullptr);
  const struct {
    HMODULE module;
    WORD id;
    const wchar_t* text;
  } rows[] = {
      {module, 16, L"entry 0 of block 2"},
      {module, 121, L"Cannot open: %1"},
      {module, 123, L"%2!"},
      {module, 17, nullptr},
      {module, 127, nullptr},
      {module, 128, nullptr},
      {nullptr, 121, nullptr},
  };
  for (const auto& row : rows) {
    qvrn::Bstr text(L"what was there");
    BSTR raw = text.Release();
    EXPECT_EQ(qvrn::LoadResourceString(raw, row.module, row.id), row.text != nullptr) << row.id;
    *text.Put() = raw;
    if (row.text != nullptr) {
      ASSERT_NE(raw, nullptr);
      EXPECT_EQ(std::wstring(raw, ::SysStringLen(raw)), row.text);
    } else {
      EXPECT_EQ(raw, nullptr);
    }
  }
}

TEST_F(CommonTest, WithoutTextsNothingIsShown) {
  tests::SetWindowStationVisible(true);
  const wchar_t* inserts[] = {L"insert"};
  std::wstring out = L"unchanged";
  EXPECT_TRUE(qvrn::FormatResourceMessage(Message::RequiredValueMissing, out, inserts));
  EXPECT_EQ(out, L"unchanged");
  qvrn::ShowMessage(Message::RequiredValueMissing, inserts);
  qvrn::ShowSystemError(Message::RegistryKeyUnusable, ERROR_FILE_NOT_FOUND);
  qvrn::ShowHexError(Message::RegistryKeyUnusable, 0x80004005);
  EXPECT_THAT(tests::TakeMessageBoxes(), IsEmpty());
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
}

TEST_F(CommonTest, AHostWithTextsGetsTheMessages) {
  CarryTexts();
  tests::SetWindowStationVisible(true);
  std::wstring out;
  const wchar_t* inserts[] = {L"InstalledPath"};
  EXPECT_TRUE(qvrn::FormatResourceMessage(Message::RequiredValueMissing, out, inserts));
  EXPECT_EQ(out, L"Missing: InstalledPath");
  qvrn::ShowMessage(Message::RequiredValueMissing, inserts);
  qvrn::ShowFormattedError(Message::RequiredValueMissing, {L"min"});
  qvrn::ShowHexError(Message::RegistryKeyUnusable, 0x80004005);
  qvrn::ShowSystemError(Message::RegistryKeyUnusable, 0x2FFFFFFF);  // no system text
  qvrn::ShowSystemError(Message::RegistryKeyUnusable, ERROR_FILE_NOT_FOUND);
  const auto boxes = tests::TakeMessageBoxes();
  ASSERT_EQ(boxes.size(), 5u);
  EXPECT_EQ(boxes[0], L"Error|Missing: InstalledPath|8208");
  EXPECT_EQ(boxes[1], L"Error|Missing: min|16");
  EXPECT_EQ(boxes[2], L"Error|Cannot open: 0x80004005|8208");
  EXPECT_EQ(boxes[3], L"Error|Cannot open: 0x2FFFFFFF|8208");
  EXPECT_EQ(boxes[4].find(L"Error|Cannot open: 0x"), std::wstring::npos) << "the system has a text";
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
}

TEST_F(CommonTest, NoBoxIsShownWhereNobodyCouldDismissIt) {
  CarryTexts();
  tests::SetWindowStationVisible(false);
  qvrn::ShowFormattedError(Message::RequiredValueMissing, {L"min"});
  EXPECT_THAT(tests::TakeMessageBoxes(), IsEmpty());
}

TEST_F(CommonTest, AMissingOrBrokenTextIsAnAssertion) {
  CarryTexts();
  std::wstring out = L"unchanged";
  const wchar_t* inserts[] = {L"x"};
  EXPECT_FALSE(qvrn::FormatResourceMessage(Message::SystemCallFailed, out, inserts));
  EXPECT_EQ(out, L"unchanged");
  EXPECT_THAT(m_assertions.Take(), ElementsAre("bRet == true, common", "0, common"));
}

TEST_F(CommonTest, RenamesUnderTheWriteLock) {
  m_machine.AddAdapter(7);
  m_machine.TakeNetworkCalls();
  EXPECT_TRUE(qvrn::RenameVlanComponent(Machine::InstanceId(7).c_str(), L"New name"));
  std::vector<std::wstring> calls;
  for (const std::wstring& call : m_machine.TakeNetworkCalls()) {
    if (call.find(L"IEnumNetCfgComponent") == std::wstring::npos && call.find(L"Guid") == std::wstring::npos) {
      calls.push_back(call.substr(0, call.find(L" =")));
    }
  }
  EXPECT_THAT(
      calls,
      ElementsAre(L"INetCfg::QueryInterface(INetCfgLock)", L"INetCfgLock::AcquireWriteLock(5, MY CLIENT)",
                  ::testing::StartsWith(L"INetCfg::Initialize"), ::testing::StartsWith(L"INetCfg::EnumComponents"),
                  L"INetCfgComponent::SetDisplayName({00000007-0000-0000-0000-000000000000}, New name)",
                  ::testing::StartsWith(L"INetCfg::Apply"), ::testing::StartsWith(L"INetCfg::Uninitialize"),
                  ::testing::StartsWith(L"INetCfgLock::ReleaseWriteLock")));
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
}

TEST_F(CommonTest, ASessionRunsToItsEndWhateverFails) {
  m_machine.AddAdapter(7);
  wchar_t id[200] = L"poison";
  EXPECT_TRUE(qvrn::GetDeviceNodeId(Machine::InstanceId(7).c_str(), id, 200));
  EXPECT_EQ(std::wstring(id), Machine::DeviceId(7));
  EXPECT_TRUE(qvrn::GetDeviceNodeId(Machine::InstanceId(8).c_str(), id, 200));
  EXPECT_EQ(std::wstring(id), L"") << "no such component";
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
  wchar_t tooSmall[8];
  EXPECT_TRUE(qvrn::GetDeviceNodeId(Machine::InstanceId(7).c_str(), tooSmall, 8));
  EXPECT_EQ(std::wstring(tooSmall), Machine::DeviceId(7).substr(0, 7));
  EXPECT_THAT(m_assertions.Take(), ElementsAre("(((HRESULT)(hr)) >= 0), common"));
  EXPECT_THAT(m_assertions.Take(), IsEmpty());

  const char kHresult[] = "(((HRESULT)(hr)) >= 0), common";
  m_machine.FailCall(L"INetCfg::EnumComponents", E_FAIL);
  EXPECT_TRUE(qvrn::GetDeviceNodeId(Machine::InstanceId(7).c_str(), id, 200));
  EXPECT_THAT(m_assertions.Take(), ElementsAre(kHresult));
  m_machine.FailCall(L"INetCfgComponent::SetDisplayName", E_FAIL);
  EXPECT_TRUE(qvrn::RenameVlanComponent(Machine::InstanceId(7).c_str(), L"x"));
  EXPECT_THAT(m_assertions.Take(), ElementsAre(kHresult));
  m_machine.TakeNetworkCalls();
  m_machine.FailCall(L"INetCfgComponent::GetPnpDevNodeId", E_FAIL);
  EXPECT_TRUE(qvrn::GetDeviceNodeId(Machine::InstanceId(7).c_str(), id, 200));
  EXPECT_EQ(std::wstring(id), L"");
  EXPECT_THAT(m_machine.TakeNetworkCalls().back(), ::testing::StartsWith(L"INetCfgLock::ReleaseWriteLock"));
}

TEST_F(CommonTest, RestartsTheAdapterOfAnInstanceId) {
  m_machine.AddAdapter(7);
  m_machine.AddAdapter(8);
  tests::TakeClassInstallParams();
  EXPECT_TRUE(qvrn::RestartAdapter(Machine::InstanceId(8).c_str()));
  // DIF_PROPERTYCHANGE, DICS_PROPCHANGE, DICS_FLAG_CONFIGSPECIFIC, current profile.
  EXPECT_THAT(tests::TakeClassInstallParams(), ElementsAre(L"20: 8 18 3 2 0"));
  EXPECT_THAT(m_machine.Restarts(), ElementsAre(Machine::DeviceId(8)));
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
  EXPECT_TRUE(qvrn::RestartAdapter(Machine::InstanceId(9).c_str()));
  EXPECT_THAT(m_assertions.Take(), ElementsAre("0, common", "bRet == true, common"));
}

}  // namespace
