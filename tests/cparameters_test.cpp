#include "tools/winhalvextune/cparameters.h"

#include <gmock/gmock.h>

#include "tests/support/functiontest.h"
#include "tools/winhalvextune/cadvanceddlg.h"

namespace {

using qvrn::CEnumParameter;
using qvrn::CIntParameter;
using ::testing::ElementsAre;

using Model = tests::FunctionTest;

CEnumParameter Choice() {
  return {{L"P", L"", L""}, {{L"0", L"Off"}, {L"1", L"On"}, {L"2", L"On"}, {L"02", L"Other"}}, L"1", L"0"};
}

// What a parameter's steps leave: value, and whether it counts as changed.
std::pair<std::wstring, bool> State(const CEnumParameter& choice) { return {choice.Value(), choice.IsChanged()}; }
std::pair<LONG, bool> State(const CIntParameter& number) { return {number.Value(), number.IsChanged()}; }

TEST(Parameter, ChangesWhileItDiffersFromWhatWasLoaded) {
  CEnumParameter choice = Choice();
  EXPECT_TRUE(choice.SetByValue(L"2"));
  EXPECT_EQ(State(choice), std::pair(std::wstring(L"2"), true));
  EXPECT_TRUE(choice.SetByDescription(L"On")) << "the first entry of two";
  EXPECT_EQ(State(choice), std::pair(std::wstring(L"1"), false));
  EXPECT_TRUE(choice.RestoreDefault());
  EXPECT_EQ(State(choice), std::pair(std::wstring(L"0"), true));
  EXPECT_TRUE(choice.RestoreDefault());
  EXPECT_EQ(State(choice), std::pair(std::wstring(L"0"), true)) << "already the default";
  choice.Revert();
  EXPECT_EQ(State(choice), std::pair(std::wstring(L"1"), false));

  CIntParameter number({L"P", L"", L""}, {0, 9, 5}, 5);
  number.SetValue(6);
  EXPECT_EQ(State(number), std::pair(6L, true));
  EXPECT_TRUE(number.RestoreDefault());
  EXPECT_EQ(State(number), std::pair(5L, false));
  number.SetValue(7);
  number.Revert();
  EXPECT_EQ(State(number), std::pair(5L, false));
}

TEST_F(Model, FindsEntriesExactly) {
  tests::Events("assertion");
  CEnumParameter choice = Choice();
  EXPECT_EQ(std::wstring(choice.GetDescription(L"02")), L"Other");
  EXPECT_EQ(choice.GetDescription(L"002"), nullptr);
  EXPECT_FALSE(choice.SetByValue(L"3"));
  EXPECT_THAT(tests::Events("assertion"), ::testing::IsEmpty());
  EXPECT_FALSE(choice.SetByDescription(L"on"));
  EXPECT_THAT(tests::Events("assertion"), ElementsAre(R"(assertion "0" cparameters)"));
  EXPECT_EQ(State(choice), std::pair(std::wstring(L"1"), false));
}

TEST_F(Model, KeepsItsLabelsAndItsRoom) {
  Tell("machine; adapter 7; parameter 7 A,B,C,D,E,F,G,H,I,J,K,L type=int min=0 max=9 default=1");
  for (const char name : std::string("ACDEFGHIJKL"))
    Tell("registry-set <class>\\0007\\Ndi\\config\\" + std::string(1, name) + ":Group \"" + name + "\"");
  Tell("parameter 7 M ParamDesc=\"Number of Receive Rings\" default=1 Group=A");
  qvrn::CAdvancedDlg model((tests::kClassKey + L"0007").c_str());
  ASSERT_TRUE(model.Load(L"x"));
  ASSERT_EQ(model.Groups().size(), 10u);
  EXPECT_EQ(model.Groups()[0].members, 2u);
  EXPECT_EQ(model.Groups()[1].name + model.Groups()[9].name, L"GeneralJ");
  EXPECT_EQ(model.Groups()[1].members, 1u);
  EXPECT_EQ(model.Slot(11)->Group(), L"L") << "a group too many is not recorded; its parameter is kept";
  EXPECT_EQ(model.Slot(12)->Description(), L"Number of Receive Rings");
  for (const CEnumParameter::Entry& ring : static_cast<CEnumParameter*>(model.Slot(12))->Entries()) {
    EXPECT_EQ(std::wstring(ring.value), std::wstring(ring.description));
  }
}

}  // namespace
