#include "tools/winhalvextune/cparameters.h"

#include <gmock/gmock.h>

#include "tests/support/machine.h"

namespace {

using qvrn::CEnumParameter;
using qvrn::CIntParameter;
using ::testing::ElementsAre;
using tests::Machine;

std::vector<CEnumParameter::Entry> Entries() {
  return {{L"0", L"Off"}, {L"1", L"On"}, {L"2", L"On"}, {L"02", L"Other"}};
}

// The changed flag follows the difference between current and loaded value.
TEST(EnumParameter, KnowsWhetherItChanged) {
  CEnumParameter parameter({L"P", L"", L""}, Entries(), L"1", L"0");
  EXPECT_TRUE(parameter.SetByValue(L"2"));
  EXPECT_TRUE(parameter.IsChanged());
  EXPECT_TRUE(parameter.SetByDescription(L"On"));
  EXPECT_FALSE(parameter.IsChanged()) << "the first entry with the description is the loaded one";
  EXPECT_TRUE(parameter.RestoreDefault());
  EXPECT_EQ(std::wstring(parameter.Value()), L"0");
  EXPECT_TRUE(parameter.IsChanged());
  EXPECT_TRUE(parameter.RestoreDefault());
  EXPECT_TRUE(parameter.IsChanged()) << "already the default: the flag stays";
  parameter.Revert();
  EXPECT_EQ(std::wstring(parameter.Value()), L"1");
  EXPECT_FALSE(parameter.IsChanged());
}

TEST(EnumParameter, FindsEntriesExactly) {
  tests::AssertionRecorder assertions;
  CEnumParameter parameter({L"P", L"", L""}, Entries(), L"1", L"0");
  EXPECT_EQ(std::wstring(parameter.GetDescription(L"02")), L"Other");
  EXPECT_EQ(parameter.GetDescription(L"002"), nullptr);
  EXPECT_FALSE(parameter.SetByValue(L"3"));
  EXPECT_THAT(assertions.Take(), ::testing::IsEmpty());
  EXPECT_FALSE(parameter.SetByDescription(L"on"));
  EXPECT_THAT(assertions.Take(), ElementsAre("0, cparameters"));
  EXPECT_EQ(std::wstring(parameter.Value()), L"1");
}

TEST(IntParameter, KnowsWhetherItChanged) {
  CIntParameter parameter({L"P", L"", L""}, {0, 9, 5}, 5);
  parameter.SetValue(6);
  EXPECT_TRUE(parameter.IsChanged());
  EXPECT_TRUE(parameter.RestoreDefault());
  EXPECT_FALSE(parameter.IsChanged()) << "the default equals the loaded value";
  parameter.SetValue(7);
  parameter.Revert();
  EXPECT_EQ(parameter.Value(), 5);
  EXPECT_FALSE(parameter.IsChanged());
}

TEST(ParameterWrite, FailsWhereTheKeyCannotBeOpenedAndOnlyThen) {
  Machine machine;
  tests::AssertionRecorder assertions;
  qvrn::CInstanceKey nowhere(L"Software\\Nowhere");
  CEnumParameter choice({L"P", L"", L""}, Entries(), L"1", L"0");
  CIntParameter number({L"Q", L"", L""}, {0, 9, 5}, 5);
  qvrn::CStringParameter text({L"R", L"", L""}, L"a");
  for (const qvrn::CParameter* parameter :
       {static_cast<qvrn::CParameter*>(&choice), static_cast<qvrn::CParameter*>(&number),
        static_cast<qvrn::CParameter*>(&text)}) {
    EXPECT_TRUE(parameter->Write(nowhere)) << "unchanged";
  }
  EXPECT_THAT(assertions.Take(), ::testing::IsEmpty());
  choice.SetByValue(L"0");
  number.SetValue(-7);
  text.SetText(L"b");
  EXPECT_FALSE(choice.Write(nowhere));
  EXPECT_FALSE(number.Write(nowhere));
  EXPECT_FALSE(text.Write(nowhere));
  EXPECT_THAT(assertions.Take(), ElementsAre("false, cparameters", "false, cparameters", "false, cparameters"));

  machine.AddAdapter(7);
  qvrn::CInstanceKey instanceKey(Machine::InstanceKey(7).c_str());
  EXPECT_TRUE(choice.Write(instanceKey) && number.Write(instanceKey) && text.Write(instanceKey));
  EXPECT_EQ(machine.Stored(7, L"P"), L"0");
  EXPECT_EQ(machine.Stored(7, L"Q"), L"-7");
  EXPECT_EQ(machine.Stored(7, L"R"), L"b");
}

}  // namespace
