// The list of an adapter's VLANs and the engine around it, in what no request can see.
#include "tools/winhalvextune/cvlanlist.h"

#include "lab/wmi/wbemhost.h"
#include "mux/notifyob/notifytrace.h"
#include "tests/scenario/platformcalls.h"
#include "tests/support/functiontest.h"
#include "tools/winhalvextune/cvlandlg.h"

namespace {

using qvrn::CVlanList;
using ::testing::ElementsAre;
using VlanList = tests::FunctionTest;
using VlanEngine = tests::FunctionTest;

TEST_F(VlanList, PutsNewEntriesAtTheHeadAndEndsAtItsCount) {
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
  EXPECT_TRUE(tests::Events("assertion").empty());
  EXPECT_EQ(list.InstanceIdAt(3), nullptr);
  EXPECT_EQ(CVlanList().NameAt(0), nullptr);
  EXPECT_FALSE(list.Write(L"2", {L"5", L"n", L"0"}));
  EXPECT_EQ(tests::Events("assertion"), std::vector<std::string>(3, "assertion \"0\" cvlanlist"));
}

TEST_F(VlanList, TheFirstVlanWithANameOrNumberHasIt) {
  CVlanList list;
  list.Add(L"{a}", {L"5", L"Office", L"0"});
  list.Add(L"{b}", {L"6", L"Office", L"0"});
  EXPECT_TRUE(list.IsNameTaken(L"Office", nullptr));
  EXPECT_TRUE(list.IsNameTaken(L"Office", L"{a}"));
  EXPECT_FALSE(list.IsNameTaken(L"Office", L"{b}")) << "the newest is the first";
  EXPECT_FALSE(list.IsNameTaken(L"office", nullptr));
  EXPECT_TRUE(list.IsNumberTaken(L"5", L""));
  EXPECT_FALSE(list.IsNumberTaken(L"5", L"{a}"));
  EXPECT_FALSE(list.IsNumberTaken(L"05", nullptr));
}

TEST_F(VlanList, TheLinkIsUpWhereTheSystemSaysSo) {
  CVlanList list;
  EXPECT_FALSE(list.RefreshLinkStates());
  for (const wchar_t* id : {L"{a}", L"{b}", L"{c}"}) list.Add(id, {id, id, L"0"});
  const struct {
    std::vector<std::pair<std::string, bool>> interfaces;
    bool changes;
    std::string states;
  } rows[] = {{{{"{a}", true}, {"{b}", false}, {"{A}", true}}, true, "+--"},
              {{{"{a}", true}, {"{b}", false}, {"{A}", true}}, false, "+--"},
              {{{"{C}", true}, {"{b}", true}}, true, "-+-"},
              {{{"lo", true}}, true, "---"}};
  for (const auto& row : rows) {
    scenario::ThePlatform().interfaces = row.interfaces;
    EXPECT_EQ(list.RefreshLinkStates(), row.changes) << &row - rows;
    std::string states;
    for (const wchar_t* id : {L"{a}", L"{b}", L"{c}"}) states += list.Find(id)->LinkUp() == 1 ? "+" : "-";
    EXPECT_EQ(states, row.states);
  }
}

TEST_F(VlanEngine, TellsItsHostWhatItDoes) {
  static std::vector<std::wstring> s_topics;
  Tell("machine adapters");
  const qvrn::Sleeper sleeper = qvrn::SetSleeper([](DWORD) {});
  qvrn::g_helpHook = [](const wchar_t* topic) { s_topics.push_back(topic); };
  lab::RunAsClient(3, [] {
    qvrn::CVlanDlg engine((tests::kClassKey + L"0007").c_str());
    engine.Prepare();
    EXPECT_FALSE(engine.IsDriverInstalled());
    EXPECT_FALSE(engine.SetVlanParams(L"", {L"3", std::wstring(100, L'n').c_str(), L"0"}));
    for (const wchar_t* number : {L"1", L"2"}) {
      EXPECT_TRUE(engine.SetVlanParams(L"", {number, number, L"0"}));
      EXPECT_TRUE(engine.ValidateVlanInput({number, number, L"0"}));
      EXPECT_FALSE(engine.IsModified());
      EXPECT_TRUE(engine.AddVlan());
    }
    EXPECT_TRUE(engine.SetVlanParams(L"", {L"3", std::wstring(99, L'n').c_str(), L"0"}));
    EXPECT_TRUE(engine.ValidateVlanInput({L"3", L"3", L"0"}));
    EXPECT_TRUE(engine.IsModified());
    EXPECT_STREQ(engine.List().NumberAt(0), L"2") << "newest first";
    EXPECT_TRUE(engine.RemoveVlan(L"{gone}"));
    for (const wchar_t* adapter : {L"0007", L"0012"}) {
      qvrn::CVlanDlg later((tests::kClassKey + adapter).c_str());
      later.Prepare();
      EXPECT_TRUE(later.IsDriverInstalled());
      EXPECT_EQ(later.IsBound(), adapter == std::wstring(L"0007"));
    }
    engine.HoldMutex(::CreateMutexW(nullptr, FALSE, nullptr));
    scenario::TakeEvents();
  });
  qvrn::g_helpHook = nullptr;
  qvrn::SetSleeper(sleeper);
  EXPECT_THAT(tests::Events("trace"), ElementsAre("\"Mutex is Closed \\n\""));
  EXPECT_THAT(s_topics, ElementsAre(L"AddVlan", L"VlanHelp", L"AddVlan", L"VlanHelp", L"RemoveVlan", L"VlanHelp"));
}

}  // namespace
