#include "tools/winhalvextune/cadvanceddlg.h"

#include <gmock/gmock.h>

#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tools/winhalvextune/common.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tests::Changes;
using tests::Machine;
using tests::TextValue;

constexpr char kAlways[] = "0, cadvanceddlg";

class AdvancedTest : public ::testing::Test {
 protected:
  AdvancedTest() { m_machine.AddAdapter(7); }
  ~AdvancedTest() override { qvrn::p_bIsOs2008 = false; }

  qvrn::CAdvancedDlg Model() const { return qvrn::CAdvancedDlg(Machine::InstanceKey(7).c_str()); }

  // The values of the model's slots, "-" for an empty one, after a load that must succeed.
  std::vector<std::wstring> LoadedValues() {
    qvrn::CAdvancedDlg model = Model();
    EXPECT_TRUE(model.Load(L"x"));
    std::vector<std::wstring> values;
    for (std::size_t slot = 0; slot < qvrn::CAdvancedDlg::kSlots; ++slot) values.push_back(ValueOf(model.Slot(slot)));
    while (!values.empty() && values.back() == L"-") values.pop_back();
    return values;
  }

  static std::wstring ValueOf(const qvrn::CParameter* parameter) {
    if (parameter == nullptr) return L"-";
    switch (parameter->Kind()) {
      case qvrn::ParameterKind::Integer:
        return std::to_wstring(static_cast<const qvrn::CIntParameter*>(parameter)->Value());
      case qvrn::ParameterKind::Enumeration:
        return static_cast<const qvrn::CEnumParameter*>(parameter)->Value();
      default:
        return static_cast<const qvrn::CStringParameter*>(parameter)->Text();
    }
  }

  static DWORD Processors() {
    SYSTEM_INFO system = {};
    ::GetSystemInfo(&system);
    return system.dwNumberOfProcessors;
  }

  Machine m_machine;
};

TEST_F(AdvancedTest, AnEmptyConfigKeyIsAnEmptyModel) {
  m_machine.WriteText(Machine::InstanceKey(7) + L"\\Ndi\\config", L"", L"");
  EXPECT_THAT(LoadedValues(), IsEmpty());
}

TEST_F(AdvancedTest, ReadsValuesAndWritesTheDefaultsThatAreMissing) {
  m_machine.AddInteger(7, L"Absent", L"0", L"9", L"05");
  m_machine.AddEnumeration(7, L"Choice", {L"0", L"1"}, L"1");
  m_machine.AddInteger(7, L"Stored", L"0", L"9", L"5");
  m_machine.Store(7, L"Stored", L"7 and more");
  const tests::Snapshot before = m_machine.Registry();
  EXPECT_THAT(LoadedValues(), ElementsAre(L"5", L"1", L"7"));
  const std::wstring key = L"+" + Machine::InstanceKey(7);
  EXPECT_THAT(
      Changes(before, m_machine.Registry()),
      ::testing::UnorderedElementsAre(key + L":Absent = " + TextValue(L"05"), key + L":Choice = " + TextValue(L"1")));
}

TEST_F(AdvancedTest, AHiddenParameterKeepsItsSlotEmpty) {
  m_machine.AddInteger(7, L"A", L"0", L"9", L"1");
  m_machine.AddDescriptor(7, L"B", {{L"Group", L"None"}});
  m_machine.AddInteger(7, L"C", L"0", L"9", L"3");
  EXPECT_THAT(LoadedValues(), ElementsAre(L"1", L"-", L"3"));
  EXPECT_EQ(m_machine.Stored(7, L"B"), std::nullopt);
}

TEST_F(AdvancedTest, CountsGroupsUpToItsRoom) {
  for (wchar_t letter = L'A'; letter < L'A' + 12; ++letter) {
    const wchar_t name[] = {letter, L'\0'};
    m_machine.AddInteger(7, name, L"0", L"9", L"1");
    m_machine.WriteText(Machine::InstanceKey(7) + L"\\Ndi\\config\\" + name, L"Group", name);
  }
  m_machine.AddInteger(7, L"Y", L"0", L"9", L"1");
  m_machine.WriteText(Machine::InstanceKey(7) + L"\\Ndi\\config\\Y", L"Group", L"A");
  qvrn::CAdvancedDlg model = Model();
  ASSERT_TRUE(model.Load(L"x"));
  ASSERT_EQ(model.Groups().size(), 10u);
  EXPECT_EQ(model.Groups()[0].members, 2u);
  EXPECT_NE(model.Slot(11), nullptr) << "its group is not recorded, the parameter is kept";
  EXPECT_EQ(model.Slot(12)->Group(), L"A");
}

TEST_F(AdvancedTest, LeavesOutWhatExceedsItsSlots) {
  for (int number = 0; number < 33; ++number) {
    m_machine.AddInteger(7, (L"P" + std::to_wstring(100 + number)).c_str(), L"0", L"9", L"1");
  }
  EXPECT_EQ(LoadedValues().size(), 30u);
  EXPECT_EQ(m_machine.Stored(7, L"P129"), L"1");
  EXPECT_EQ(m_machine.Stored(7, L"P130"), std::nullopt);
}

TEST_F(AdvancedTest, ReceiveRingsAreRoundedDownInTheModelOnly) {
  m_machine.AddDescriptor(7, L"*Rings", {{L"ParamDesc", L"Number of Receive Rings"}, {L"default", L"2"}});
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {{L"1", L"1"},  {L"2", L"2"},   {L"3", L"2"},
                                                            {L"6", L"4"},  {L"64", L"64"}, {L"0", L"1"},
                                                            {L"-5", L"1"}, {L"many", L"1"}};
  for (const auto& [stored, shown] : rows) {
    m_machine.Store(7, L"*Rings", stored);
    qvrn::CAdvancedDlg model = Model();
    ASSERT_TRUE(model.Load(L"x")) << stored;
    EXPECT_EQ(ValueOf(model.Slot(0)), shown) << stored;
    EXPECT_FALSE(model.Slot(0)->IsChanged());
    EXPECT_TRUE(model.Apply());
    EXPECT_EQ(m_machine.Stored(7, L"*Rings"), stored);
    const auto& entries = static_cast<qvrn::CEnumParameter*>(model.Slot(0))->Entries();
    EXPECT_EQ(entries.size(), static_cast<std::size_t>(qvrn::IntegerLog2(static_cast<LONG>(Processors()))) + 1);
    EXPECT_EQ(std::wstring(entries.back().value), std::wstring(entries.back().description));
  }
}

TEST_F(AdvancedTest, RefusesDescriptionsThatItCannotUse) {
  const struct {
    Machine::Values values;
    std::vector<std::string> assertions;
    const wchar_t* box;
  } rows[] = {
      {{{L"type", L"int"}}, {kAlways, kAlways}, L"ParamDesc"},
      {{{L"ParamDesc", L"x"}, {L"type", L"INT"}}, {kAlways, kAlways}, nullptr},
      {{{L"ParamDesc", L"x"}, {L"type", L"int"}, {L"max", L"1"}, {L"default", L"1"}}, {kAlways, kAlways}, L"min"},
      {{{L"ParamDesc", L"x"}, {L"type", L"int"}, {L"min", L"1"}, {L"default", L"1"}}, {kAlways, kAlways}, L"max"},
      {{{L"ParamDesc", L"x"}, {L"type", L"int"}, {L"min", L"1"}, {L"max", L"1"}}, {kAlways, kAlways}, L"default"},
      {{{L"ParamDesc", L"Number of Receive Rings"}}, {kAlways, kAlways}, L"default"},
      {{{L"ParamDesc", L"x"}, {L"type", L"int"}, {L"min", L"0"}, {L"max", L"1"}, {L"default", L"-1"}},
       {kAlways},
       nullptr},
      {{{L"ParamDesc", L"x"}, {L"type", L"enum"}}, {kAlways, kAlways, kAlways}, L"default"},  // no settings either
  };
  for (const auto& row : rows) {
    Machine machine;
    machine.AddAdapter(7);
    machine.AddDescriptor(7, L"P", row.values);
    tests::SetWindowStationVisible(true);
    tests::AssertionRecorder assertions;
    EXPECT_FALSE(Model().Load(L"x"));
    EXPECT_EQ(assertions.Take(), row.assertions);
    // Without a resource module the box has no text.
    const auto boxes = tests::TakeMessageBoxes();
    EXPECT_EQ(boxes.size(), row.box == nullptr ? 0u : 1u);
    if (!boxes.empty()) {
      EXPECT_EQ(boxes[0], L"Error||16");
    }
  }
}

TEST_F(AdvancedTest, FreeTextLoadsBehindADismissedAssertion) {
  m_machine.AddDescriptor(7, L"Text", {{L"ParamDesc", L"x"}});
  tests::AssertionRecorder assertions;
  EXPECT_THAT(LoadedValues(), ElementsAre(L""));
  EXPECT_THAT(assertions.Take(), ElementsAre("DefaultValue != 0, cadvanceddlg"));
  EXPECT_EQ(m_machine.Stored(7, L"Text"), std::nullopt);
  m_machine.Store(7, L"Text", L"stored");
  EXPECT_THAT(LoadedValues(), ElementsAre(L"stored"));
}

// Only a value that is absent gets its default: whatever else is stored belongs to an administrator.
TEST_F(AdvancedTest, NeverOverwritesAValueThatItCannotRead) {
  m_machine.AddInteger(7, L"P", L"0", L"9", L"1");
  const std::wstring longText(150, L'7');
  m_machine.Store(7, L"P", longText.c_str());
  tests::AssertionRecorder assertions;
  EXPECT_FALSE(Model().Load(L"x"));
  EXPECT_THAT(assertions.Take(), ElementsAre(kAlways, kAlways));
  EXPECT_EQ(m_machine.Stored(7, L"P"), longText);
}

TEST_F(AdvancedTest, SurvivesDataOfOtherShapes) {
  m_machine.AddInteger(7, L"P", L"0", L"9", L"1");
  const std::wstring key = Machine::InstanceKey(7);
  const struct {
    DWORD type;
    std::string data;
    const wchar_t* value;
  } rows[] = {
      {REG_SZ, std::string("5\0", 2), L"5"},  // no terminator
      {REG_SZ, std::string("5\0006", 3), L"56"},       {REG_SZ, "", L"0"},
      {REG_DWORD, std::string("\x05\0\0\0", 4), L"0"}, {REG_BINARY, std::string("\x37\0\0\0", 4), L"7"},
  };
  for (const auto& row : rows) {
    m_machine.WriteBytes(key, L"P", row.type, row.data.data(), row.data.size());
    EXPECT_THAT(LoadedValues(), ElementsAre(row.value)) << row.type;
  }
}

TEST_F(AdvancedTest, AnUnreadableSettingIsAnAssertionAndTheRestLoads) {
  m_machine.AddEnumeration(7, L"P", {L"0", L"1"}, L"1");
  m_machine.WriteText(Machine::InstanceKey(7) + L"\\Ndi\\config\\P\\Enum", std::wstring(150, L'9').c_str(),
                      L"long name");
  tests::AssertionRecorder assertions;
  EXPECT_THAT(LoadedValues(), ElementsAre(L"1"));
  EXPECT_THAT(assertions.Take(), ElementsAre(kAlways));
}

TEST_F(AdvancedTest, ApplyRestartsTheDeviceOnlyAfterAChange) {
  m_machine.AddInteger(7, L"P", L"0", L"9", L"1");
  qvrn::CAdvancedDlg model = Model();
  ASSERT_TRUE(model.Load(Machine::DeviceId(7).c_str()));
  auto* parameter = static_cast<qvrn::CIntParameter*>(model.Slot(0));
  parameter->SetValue(4);
  parameter->SetValue(1);
  EXPECT_TRUE(model.Apply());
  EXPECT_THAT(m_machine.Restarts(), IsEmpty());
  parameter->SetValue(4);
  EXPECT_TRUE(model.Apply());
  EXPECT_EQ(m_machine.Stored(7, L"P"), L"4");
  EXPECT_THAT(m_machine.Restarts(), ElementsAre(Machine::DeviceId(7)));
}

TEST_F(AdvancedTest, AFailedRestartIsAnAssertionOnly) {
  m_machine.AddInteger(7, L"P", L"0", L"9", L"1");
  qvrn::CAdvancedDlg model = Model();
  ASSERT_TRUE(model.Load(L"NO\\SUCH\\DEVICE"));
  static_cast<qvrn::CIntParameter*>(model.Slot(0))->SetValue(4);
  tests::AssertionRecorder assertions;
  EXPECT_TRUE(model.Apply());
  EXPECT_THAT(assertions.Take(), ElementsAre("0, common", "bRet == true, cadvanceddlg"));
  EXPECT_EQ(m_machine.Stored(7, L"P"), L"4");
}

TEST_F(AdvancedTest, LargeSendOffloadIsMirroredOnServer2008) {
  m_machine.AddEnumeration(7, L"LargeSendOffload", {L"0", L"1", L"2"}, L"2");
  m_machine.Store(7, L"LargeSendOffload", L"0");
  qvrn::p_bIsOs2008 = true;
  EXPECT_THAT(LoadedValues(), ElementsAre(L"2"));
  EXPECT_EQ(m_machine.Stored(7, L"*LsoV1IPv4"), L"2") << "the first mirror that is absent gets the default";
  EXPECT_EQ(m_machine.Stored(7, L"*LsoV2IPv4"), std::nullopt);
  m_machine.Store(7, L"*LsoV2IPv4", L"1");
  m_machine.Store(7, L"*LsoV2IPv6", L"0");
  EXPECT_THAT(LoadedValues(), ElementsAre(L"1")) << "the first mirror that is 1";
  m_machine.Store(7, L"*LsoV2IPv4", L"2");
  qvrn::CAdvancedDlg model = Model();
  ASSERT_TRUE(model.Load(Machine::DeviceId(7).c_str()));
  EXPECT_EQ(ValueOf(model.Slot(0)), L"0") << "the last mirror read";
  EXPECT_TRUE(static_cast<qvrn::CEnumParameter*>(model.Slot(0))->SetByValue(L"1"));
  EXPECT_TRUE(model.Apply());
  for (const wchar_t* name : {L"*LsoV1IPv4", L"*LsoV2IPv4", L"*LsoV2IPv6", L"LargeSendOffload"}) {
    EXPECT_EQ(m_machine.Stored(7, name), L"1");
  }
}

}  // namespace
