// The list of an adapter's VLANs, mirrored from the registry.
#include "tools/winhalvextune/cvlanlist.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tools/winhalvextune/cvlankeysearch.h"

namespace {

using qvrn::CVlanKeySearch;
using qvrn::CVlanList;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tests::Machine;
using Lines = std::vector<std::string>;

constexpr char kNoKey[] = "m_VlanRegKey != 0, cvlanlist";
constexpr char kFailed[] = "0, cvlanlist";
constexpr char kCut[] = "(((HRESULT)(hr)) >= 0), cvlanlist";
constexpr wchar_t kDefaultName[] = L"Quorvane Virtual Miniport Driver";

class VlanListTest : public ::testing::Test {
 protected:
  // Instance 20 on: number, name and priority of each VLAN.
  void AddVlan(DWORD index, const wchar_t* id, const wchar_t* name, const wchar_t* priority) {
    m_machine.AddAdapter(index, L"qvrn_muxmp");
    if (id != nullptr) m_machine.Store(index, L"VlanID", id);
    if (name != nullptr) m_machine.Store(index, L"VlanName", name);
    if (priority != nullptr) m_machine.Store(index, L"Priority", priority);
  }
  bool Load(DWORD index) {
    CVlanKeySearch search;
    return m_list.Add(Machine::InstanceId(index).c_str(), search);
  }
  // "NUMBER NAME PRIORITY" of each entry from the head.
  std::vector<std::wstring> Entries() const {
    std::vector<std::wstring> entries;
    for (DWORD index = 0; index < m_list.Count(); ++index) {
      entries.push_back(std::wstring(m_list.NumberAt(index)) + L" " + m_list.NameAt(index) + L" " +
                        m_list.PriorityAt(index));
    }
    return entries;
  }

  Machine m_machine;
  tests::AssertionRecorder m_assertions;
  CVlanList m_list;
};

TEST_F(VlanListTest, LoadsWhatIsThereAndWritesTheDefaultsThatAreAbsent) {
  const std::wstring tooLong(101, L'x');
  const std::wstring exact(100, L'y');  // no room for a terminator
  struct Row {
    const wchar_t* id;
    const wchar_t* name;
    const wchar_t* priority;
    bool loads;
    std::wstring entry;
  };
  const Row rows[] = {
      {L"5", L"Office", L"3", true, L"5 Office 3"},
      {L"05", L"", L"", true, L"05  "},
      {nullptr, L"Office", L"3", false, {}},
      {L"5", nullptr, L"3", true, std::wstring(L"5 ") + kDefaultName + L" 3"},
      {L"5", L"Office", nullptr, true, L"5 Office 0"},
      {L"5", nullptr, nullptr, true, std::wstring(L"5 ") + kDefaultName + L" 0"},
      {tooLong.c_str(), L"Office", L"3", false, {}},
      {L"5", tooLong.c_str(), nullptr, false, {}},
      {L"5", L"Office", exact.c_str(), false, {}},
  };
  DWORD index = 20;
  for (const Row& row : rows) {
    SCOPED_TRACE(index);
    AddVlan(index, row.id, row.name, row.priority);
    const tests::Snapshot before = m_machine.Registry();
    m_list = CVlanList();
    EXPECT_EQ(Load(index), row.loads);
    EXPECT_EQ(Entries(), row.loads ? std::vector<std::wstring>{row.entry} : std::vector<std::wstring>{});
    // Nobody's value is overwritten, readable or not, and nothing is written without a number.
    std::size_t defaults = 0;
    if (row.loads) defaults = (row.name == nullptr) + (row.priority == nullptr);
    EXPECT_EQ(tests::Changes(before, m_machine.Registry()).size(), defaults);
    ++index;
  }
  const tests::Snapshot after = m_machine.Registry();
  EXPECT_EQ(after.at(Machine::InstanceKey(25) + L":VlanName"), tests::TextValue(kDefaultName));
  EXPECT_EQ(after.at(Machine::InstanceKey(25) + L":Priority"), tests::TextValue(L"0"));
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
}

TEST_F(VlanListTest, ADefaultThatCannotBeWrittenLeavesTheVlanOut) {
  AddVlan(20, L"5", nullptr, nullptr);
  for (const wchar_t* value : {L"VlanName", L"Priority"}) {
    const tests::FailingRegistryWrite failing(value);
    EXPECT_FALSE(Load(20));
    EXPECT_THAT(m_assertions.Take(), ElementsAre(kFailed));
  }
  EXPECT_EQ(m_list.Count(), 0u);
}

TEST_F(VlanListTest, PutsNewEntriesAtTheHead) {
  for (const wchar_t* id : {L"1", L"2", L"3"}) EXPECT_TRUE(m_list.Add(id, {id, L"n", L"0"}));
  EXPECT_THAT(Entries(), ElementsAre(L"3 n 0", L"2 n 0", L"1 n 0"));
  EXPECT_TRUE(m_list.Remove(L"2"));
  EXPECT_FALSE(m_list.Remove(L"2"));
  EXPECT_THAT(Entries(), ElementsAre(L"3 n 0", L"1 n 0"));
  EXPECT_STREQ(m_list.NameOf(L"3"), L"n");
  EXPECT_EQ(m_list.NumberOf(L"2"), nullptr);
  EXPECT_EQ(m_list.PriorityOf(nullptr), nullptr);
  EXPECT_EQ(m_list.Find(nullptr), nullptr);
  EXPECT_EQ(m_list.FindByNumber(L"03"), nullptr);

  EXPECT_EQ(m_list.InstanceIdAt(2), nullptr);
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
  EXPECT_EQ(m_list.InstanceIdAt(3), nullptr);
  EXPECT_EQ(CVlanList().NameAt(0), nullptr);
  EXPECT_THAT(m_assertions.Take(), ElementsAre(kFailed, kFailed));
  EXPECT_FALSE(m_list.Write(L"2", {L"5", L"n", L"0"}));
  EXPECT_THAT(m_assertions.Take(), ElementsAre(kFailed));
}

TEST_F(VlanListTest, TheFirstVlanWithANameOrNumberHasIt) {
  m_list.Add(L"{a}", {L"5", L"Office", L"0"});
  m_list.Add(L"{b}", {L"6", L"Office", L"0"});
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
    EXPECT_EQ(m_list.IsNameTaken(row.text, row.excluded), row.nameTaken) << ::testing::PrintToString(row.text);
    EXPECT_EQ(m_list.IsNumberTaken(row.text, row.excluded), row.numberTaken) << ::testing::PrintToString(row.text);
  }
}

// A search reads the keys once for all look-ups, and answers each of them as a search of its own.
TEST_F(VlanListTest, OneSearchServesAWholeList) {
  for (DWORD index = 1; index <= 9; ++index) m_machine.AddAdapter(index, L"other");
  AddVlan(10, L"10", L"a", L"0");
  AddVlan(11, L"11", L"b", L"0");
  const std::wstring wanted = Machine::InstanceId(10);
  CVlanKeySearch search({wanted.c_str()});
  tests::TakeRegistryOpens();
  for (const DWORD index : {11u, 10u, 11u})
    EXPECT_TRUE(m_list.Add(Machine::InstanceId(index).c_str(), search)) << index;
  // The class key, its eleven subkeys, and again the one that had been handed out.
  EXPECT_EQ(tests::TakeRegistryOpens(), 1u + 11u + 1u);
  EXPECT_THAT(Entries(), ElementsAre(L"11 b 0", L"10 a 0", L"11 b 0"));
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
  // Once when the entry is made and once when it is loaded.
  for (int time = 0; time < 2; ++time) {
    EXPECT_FALSE(m_list.Add(L"{gone}", search));
    EXPECT_THAT(m_assertions.Take(), ElementsAre(kFailed, kNoKey, kFailed, kNoKey));
  }
}

TEST_F(VlanListTest, AKeyThatCannotBeOpenedEndsTheSearch) {
  m_machine.AddAdapter(1, L"other");
  AddVlan(10, L"10", L"a", L"0");
  AddVlan(12, L"12", L"b", L"0");
  const tests::FailingRegistryOpen failing(L"0011");
  m_machine.AddAdapter(11, L"other");
  CVlanKeySearch search;
  EXPECT_FALSE(m_list.Add(Machine::InstanceId(12).c_str(), search));
  EXPECT_THAT(m_assertions.Take(), ElementsAre(kFailed, kNoKey, kFailed, kNoKey));
  EXPECT_TRUE(m_list.Add(Machine::InstanceId(10).c_str(), search));
}

TEST_F(VlanListTest, WithoutAnyInstanceTheSearchIsSilent) {
  EXPECT_FALSE(Load(20));  // no class key subkeys
  EXPECT_THAT(m_assertions.Take(), ElementsAre(kNoKey, kNoKey));
}

TEST_F(VlanListTest, WritesTheValuesInOrderAndKeepsThemWhenThatFails) {
  AddVlan(20, L"5", L"Office", L"3");
  ASSERT_TRUE(Load(20));
  const std::wstring key = Machine::InstanceId(20);
  {
    const tests::FailingRegistryWrite failing(L"VlanID");
    EXPECT_FALSE(m_list.Write(key.c_str(), {L"6", L"Lab", L"1"}));
    EXPECT_THAT(m_assertions.Take(), ElementsAre(kFailed));
    EXPECT_THAT(Entries(), ElementsAre(L"6 Lab 1"));
    EXPECT_EQ(m_machine.Stored(20, L"VlanName"), L"Lab");
    EXPECT_EQ(m_machine.Stored(20, L"VlanID"), L"5");
    EXPECT_EQ(m_machine.Stored(20, L"Priority"), L"3");
  }
  m_machine.TakeNetworkCalls();
  const std::wstring name(120, L'z');
  EXPECT_TRUE(m_list.Write(key.c_str(), {L"7", name.c_str(), L"2"}));
  EXPECT_THAT(m_assertions.Take(), ElementsAre(kCut));
  EXPECT_EQ(m_machine.Stored(20, L"VlanName"), name.substr(0, 99));
  // The device's name is cut as a whole.
  const std::wstring display = L"Quorvane Virtual Miniport Driver - VLAN " + name;
  EXPECT_THAT(m_machine.TakeNetworkCalls(), ::testing::Contains(::testing::HasSubstr(display.substr(0, 99) + L")")));
}

TEST_F(VlanListTest, TheLinkIsUpWhereTheSystemSaysSo) {
  tests::TakeAddressesCalls();
  EXPECT_FALSE(m_list.RefreshLinkStates());
  for (const wchar_t* id : {L"{a}", L"{b}", L"{c}"}) m_list.Add(id, {id, id, L"0"});
  const auto states = [this] {
    std::string text;
    for (const wchar_t* id : {L"{a}", L"{b}", L"{c}"}) text += m_list.Find(id)->LinkUp() == 1 ? "+" : "-";
    return text;
  };
  tests::AnswerAddresses({{"{a}", true}, {"{b}", false}, {"{A}", true}});
  EXPECT_TRUE(m_list.RefreshLinkStates());
  EXPECT_EQ(states(), "+--");
  EXPECT_FALSE(m_list.RefreshLinkStates());
  tests::AnswerAddresses({{"{C}", true}, {"{b}", true}});
  EXPECT_TRUE(m_list.RefreshLinkStates());
  EXPECT_EQ(states(), "-+-");
  tests::AnswerAddresses({}, ERROR_NO_DATA);
  EXPECT_FALSE(m_list.RefreshLinkStates());
  EXPECT_EQ(states(), "-+-");
  EXPECT_EQ(tests::TakeAddressesCalls(), 2u + 2u + 2u + 1u);
  tests::AnswerAddresses({}, ERROR_BUFFER_OVERFLOW);
  EXPECT_FALSE(m_list.RefreshLinkStates());
  EXPECT_EQ(tests::TakeAddressesCalls(), 5u);
  tests::AnswerAddresses({});
  EXPECT_TRUE(m_list.RefreshLinkStates());
  EXPECT_EQ(states(), "---");
}

}  // namespace
