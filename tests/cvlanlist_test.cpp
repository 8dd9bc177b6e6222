// The list of an adapter's VLANs and the engine around it, in what no request can see.
#include "tools/winhalvextune/cvlanlist.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "lab/wmi/wbemhost.h"
#include "tests/support/imports.h"
#include "tests/support/vlanmachine.h"
#include "tools/winhalvextune/cvlandlg.h"

namespace {

using qvrn::CVlanList;
using ::testing::ElementsAre;
using tests::Machine;
using Texts = std::vector<std::wstring>;

TEST(VlanList, PutsNewEntriesAtTheHeadAndEndsAtItsCount) {
  tests::AssertionRecorder assertions;
  CVlanList list;
  for (const wchar_t* id : {L"1", L"2", L"3"}) EXPECT_TRUE(list.Add(id, {id, L"n", L"0"}));
  EXPECT_TRUE(list.Remove(L"2"));
  EXPECT_FALSE(list.Remove(L"2"));
  EXPECT_STREQ(list.NumberAt(0), L"3");
  EXPECT_STREQ(list.NumberAt(1), L"1");
  EXPECT_EQ(list.InstanceIdAt(2), nullptr);
  EXPECT_EQ(list.NumberOf(L"2"), nullptr);
  EXPECT_EQ(list.Find(nullptr), nullptr);
  EXPECT_EQ(list.FindByNumber(L"03"), nullptr);
  EXPECT_TRUE(assertions.Take().empty());
  EXPECT_EQ(list.InstanceIdAt(3), nullptr);
  EXPECT_EQ(CVlanList().NameAt(0), nullptr);
  EXPECT_FALSE(list.Write(L"2", {L"5", L"n", L"0"}));
  EXPECT_THAT(assertions.Take(), ElementsAre("0, cvlanlist", "0, cvlanlist", "0, cvlanlist"));
}

TEST(VlanList, TheFirstVlanWithANameOrNumberHasIt) {
  CVlanList list;
  list.Add(L"{a}", {L"5", L"Office", L"0"});
  list.Add(L"{b}", {L"6", L"Office", L"0"});
  const struct {
    const wchar_t* text;
    const wchar_t* excluded;
    bool nameTaken;
    bool numberTaken;
  } rows[] = {
      {L"Office", nullptr, true, false},  {L"Office", L"{b}", false, false}, {L"Office", L"{a}", true, false},
      {L"office", nullptr, false, false}, {L"5", nullptr, false, true},      {L"5", L"{a}", false, false},
      {L"5", L"", false, true},           {L"05", nullptr, false, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(list.IsNameTaken(row.text, row.excluded), row.nameTaken) << &row - rows;
    EXPECT_EQ(list.IsNumberTaken(row.text, row.excluded), row.numberTaken) << &row - rows;
  }
}

TEST(VlanList, TheLinkIsUpWhereTheSystemSaysSo) {
  CVlanList list;
  EXPECT_FALSE(list.RefreshLinkStates());
  for (const wchar_t* id : {L"{a}", L"{b}", L"{c}"}) list.Add(id, {id, id, L"0"});
  const struct {
    std::vector<std::pair<std::string, bool>> interfaces;
    ULONG status;
    bool changes;
    std::string states;
  } rows[] = {{{{"{a}", true}, {"{b}", false}, {"{A}", true}}, 0, true, "+--"},
              {{{"{a}", true}, {"{b}", false}, {"{A}", true}}, 0, false, "+--"},
              {{{"{C}", true}, {"{b}", true}}, 0, true, "-+-"},
              {{}, ERROR_NO_DATA, false, "-+-"},
              {{}, 0, true, "---"}};
  for (const auto& row : rows) {
    tests::AnswerAddresses(row.interfaces, row.status);
    EXPECT_EQ(list.RefreshLinkStates(), row.changes) << &row - rows;
    std::string states;
    for (const wchar_t* id : {L"{a}", L"{b}", L"{c}"}) states += list.Find(id)->LinkUp() == 1 ? "+" : "-";
    EXPECT_EQ(states, row.states);
  }
  tests::AnswerAddresses({});
}

TEST(VlanEngine, TellsItsHostWhatItDoes) {
  static Texts s_topics;
  tests::VlanMachine machine;
  qvrn::g_helpHook = [](const wchar_t* topic) { s_topics.push_back(topic); };
  Texts numbers;
  lab::RunAsClient(3, [&] {
    qvrn::CVlanDlg engine(Machine::InstanceKey(7).c_str());
    engine.Prepare();
    EXPECT_FALSE(engine.IsDriverInstalled());
    for (const wchar_t* number : {L"1", L"2"}) {
      EXPECT_TRUE(engine.SetVlanParams(L"", {number, number, L"0"}));
      EXPECT_FALSE(engine.SetVlanParams(L"", {L"3", std::wstring(100, L'n').c_str(), L"0"}));
      EXPECT_TRUE(engine.ValidateVlanInput({number, number, L"0"}));
      EXPECT_FALSE(engine.IsModified());
      EXPECT_TRUE(engine.AddVlan());
    }
    EXPECT_TRUE(engine.SetVlanParams(L"", {L"3", std::wstring(99, L'n').c_str(), L"0"}));
    EXPECT_TRUE(engine.ValidateVlanInput({L"3", L"3", L"0"}));
    EXPECT_TRUE(engine.IsModified());
    // Newest first, within the engine that added them.
    for (DWORD index = 0; index < engine.List().Count(); ++index) numbers.push_back(engine.List().NumberAt(index));
    EXPECT_TRUE(engine.RemoveVlan(L"{gone}"));
    qvrn::CVlanDlg later(Machine::InstanceKey(7).c_str());
    later.Prepare();
    EXPECT_TRUE(later.IsDriverInstalled() && later.IsBound());
    qvrn::CVlanDlg other(Machine::InstanceKey(12).c_str());
    other.Prepare();
    EXPECT_TRUE(other.IsDriverInstalled() && !other.IsBound());
    engine.HoldMutex(::CreateMutexW(nullptr, FALSE, nullptr));
    tests::TakeDebugOutput();
  });
  qvrn::g_helpHook = nullptr;
  EXPECT_THAT(tests::TakeDebugOutput(), ElementsAre(L"Mutex is Closed \n"));
  EXPECT_THAT(numbers, ElementsAre(L"2", L"1"));
  EXPECT_THAT(s_topics, ElementsAre(L"AddVlan", L"VlanHelp", L"AddVlan", L"VlanHelp", L"RemoveVlan", L"VlanHelp"));
}

}  // namespace
