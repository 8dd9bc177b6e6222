// The client's thinking about VLANs: which one is meant, what one may be, what became of it, and how that is drawn.
#include "tools/qvrnctl/vlan.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/filename.h"
#include "tools/qvrnctl/vlanoutcome.h"

namespace qvrn {

// For the messages of failed comparisons.
void PrintTo(const VlanOutcome& outcome, std::ostream* out) {
  *out << testing::PrintToString(FormatVlanOutcome(outcome, false));
}

namespace {

using ::testing::HasSubstr;

const std::vector<Adapter> kAdapters = {{L"7", L"Quorvane Ethernet", L"West", {}, {}},
                                        {L"12", L"Quorvane Ethernet #2", {}, {}, {}}};
const Vlan kOffice = {L"{A}", L"7", L"Office", 10, 0};
const Vlan kVoice = {L"{B}", L"7", L"Voice", 20, 5};
const Vlan kBackup = {L"{C}", L"12", L"Backup", 10, 1};
const Vlan kOtherOffice = {L"{D}", L"12", L"Office", 30, 0};
const Vlan kSlash = {L"{E}", L"12", L"7/20", 40, 0};
const std::vector<Vlan> kVlans = {kOffice, kVoice, kBackup, kOtherOffice, kSlash};

// The exit status and the message of the error that `action` ends with; 0 without one.
template <typename Action>
std::pair<int, std::wstring> ErrorOf(Action action) {
  try {
    action();
  } catch (const ClientError& error) {
    return {error.ExitStatus(), error.Message()};
  }
  return {};
}

Vlan With(Vlan vlan, const wchar_t* guid) {
  vlan.guid = guid;
  return vlan;
}

TEST(Vlan, IsFoundByWhatNamesExactlyOne) {
  const struct {
    const wchar_t* wanted;
    const wchar_t* guid;
  } found[] = {{L"{b}", L"{B}"},
               {L"VOICE", L"{B}"},
               {L"7/10", L"{A}"},
               {L"west/20", L"{B}"},
               {L"Quorvane Ethernet #2/10", L"{C}"},
               {L"Backup", L"{C}"},
               {L"12/30", L"{D}"},
               {L"12/40", L"{E}"}};
  for (const auto& [wanted, guid] : found) EXPECT_EQ(MatchVlan(kVlans, kAdapters, wanted).guid, guid);
  const struct {
    const wchar_t* wanted;
    std::wstring message;
  } refused[] = {
      {L"Office", L"VLAN \"Office\" is ambiguous: 7/10 \"Office\" {A}, 12/30 \"Office\" {D}"},
      {L"7/20", L"VLAN \"7/20\" is ambiguous: 7/20 \"Voice\" {B}, 12/40 \"7/20\" {E}"},
      {L"7/11",
       L"VLAN \"7/11\" is not there: WBEM_E_NOT_FOUND (0x80041002); there are 7/10 \"Office\" {A}, 7/20 "
       L"\"Voice\" {B}, 12/10 \"Backup\" {C}, 12/30 \"Office\" {D}, 12/40 \"7/20\" {E}"},
  };
  for (const auto& row : refused) {
    EXPECT_EQ(ErrorOf([&] { MatchVlan(kVlans, kAdapters, row.wanted); }), std::pair(kExitFailed, row.message));
  }
  for (const wchar_t* unknown : {L"", L"/", L"/10", L"7/", L"10", L"7/x", L"East/10"}) {
    EXPECT_EQ(ErrorOf([&] { MatchVlan(kVlans, kAdapters, unknown); }).first, kExitFailed);
  }
}

TEST(Vlan, OptionsReplaceWhatTheyName) {
  const struct {
    const wchar_t* id;
    const wchar_t* name;
    const wchar_t* priority;
    Vlan expected;
  } rows[] = {
      {L"", L"", L"", kVoice},
      {L"4095", L"Ünïcode \U0001F600 & <b>", L"0", {L"{B}", L"7", L"Ünïcode \U0001F600 & <b>", 4095, 0}},
      {L"1", L"", L"7", {L"{B}", L"7", L"Voice", 1, 7}},
  };
  for (const auto& row : rows) {
    Arguments arguments;
    arguments.vlanId = row.id;
    arguments.vlanName = row.name;
    arguments.priority = row.priority;
    EXPECT_EQ(WithOptions(kVoice, arguments), row.expected);
  }
}

TEST(Vlan, OptionsThatNoVlanCanHaveAreWrongUsage) {
  const struct {
    std::wstring Arguments::*option;
    std::wstring text;
    const wchar_t* message;
  } rows[] = {
      {&Arguments::vlanId, L"0", L"--id cannot be \"0\": a VLAN number is 1 to 4095"},
      {&Arguments::vlanId, L"4096", L"1 to 4095"},
      {&Arguments::vlanId, L"4294967297", L"1 to 4095"},
      {&Arguments::vlanId, L"-1", L"1 to 4095"},
      {&Arguments::vlanId, L"99999999999999999999", L"takes a number"},
      {&Arguments::vlanId, L"1x", L"takes a number"},
      {&Arguments::vlanId, L" 1", L"takes a number"},
      {&Arguments::priority, L"8", L"--priority cannot be \"8\": a priority is 0 to 7"},
      {&Arguments::vlanName, std::wstring(100, L'x'), L"at most 99"},
      {&Arguments::vlanName, L" x", L"does not keep blanks"},
      {&Arguments::vlanName, L"x\n", L"does not keep blanks"},
      {&Arguments::vlanName, L"a\tb", L"control characters"},
      {&Arguments::vlanName, L"a\uFFFFb", L"control characters"},
      {&Arguments::vlanName, {L'a', wchar_t(0xD83D), L'b'}, L"halves of characters"},
  };
  for (const auto& row : rows) {
    Arguments arguments;
    arguments.*row.option = row.text;
    const auto [status, message] = ErrorOf([&] { WithOptions(kVoice, arguments); });
    EXPECT_EQ(status, kExitWrongUsage) << testing::PrintToString(row.text);
    EXPECT_THAT(message, HasSubstr(row.message));
  }
  EXPECT_FALSE(NameFault(std::wstring(99, L'x')));
  EXPECT_TRUE(NameFault(L""));
}

TEST(Vlan, ANumberOrNameIsTakenByAnotherOneOfTheAdapter) {
  const struct {
    Vlan vlan;
    const wchar_t* clash;  // null for none
  } rows[] = {
      {{L"", L"7", L"New", 20, 0}, L"the number is that of 7/20 \"Voice\" {B}"},
      {{L"", L"7", L"vOICE", 21, 0}, L"the name is that of 7/20 \"Voice\" {B}"},
      {{L"", L"7", L"Backup", 30, 0}, nullptr},  // another adapter's
      {{L"{B}", L"7", L"VOICE", 20, 0}, nullptr},
      {{L"{B}", L"7", L"Voice", 10, 0}, L"the number is that of 7/10 \"Office\" {A}"},
  };
  for (const auto& row : rows) EXPECT_EQ(FindClash(row.vlan, kVlans).value_or(L""), row.clash ? row.clash : L"");
}

TEST(VlanOutcome, ARestoreIsComparedWithTheListsBeforeAndAfter) {
  const std::vector<Vlan> before = {kOffice, kVoice};
  const std::vector<Vlan> wanted = {With(kVoice, L""), With(kBackup, L"")};
  const Vlan newVoice = With(kVoice, L"{V}");
  const struct {
    const wchar_t* situation;
    std::vector<Vlan> after;
    std::vector<VlanOutcome> outcomes;
    bool failure;
  } rows[] = {
      {L"the plan",
       wanted,
       {{kOffice, VlanResult::kRemoved}, {wanted[0], VlanResult::kRecreated}, {wanted[1], VlanResult::kCreated}},
       false},
      {L"done",
       {newVoice, kBackup},
       {{kOffice, VlanResult::kRemoved}, {newVoice, VlanResult::kRecreated}, {kBackup, VlanResult::kCreated}},
       false},
      {L"all lost",
       {},
       {{kOffice, VlanResult::kRemoved}, {wanted[0], VlanResult::kNotCreated}, {wanted[1], VlanResult::kNotCreated}},
       true},
      {L"nothing done",
       before,
       {{kOffice, VlanResult::kNotRemoved}, {kVoice, VlanResult::kUnchanged}, {wanted[1], VlanResult::kNotCreated}},
       true},
      {L"something else came",
       {newVoice, kBackup, kSlash},
       {{kOffice, VlanResult::kRemoved},
        {newVoice, VlanResult::kRecreated},
        {kBackup, VlanResult::kCreated},
        {kSlash, VlanResult::kUnexpected}},
       true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(row.situation)));
    const auto outcomes = CompareRestored(before, wanted, row.after);
    EXPECT_EQ(outcomes, row.outcomes);
    EXPECT_EQ(AnyFailure(outcomes), row.failure);
  }
  EXPECT_EQ(FormatVlanOutcome({kVoice, VlanResult::kRecreated}, true), L"would create again 7/20 \"Voice\" {B}");
  EXPECT_EQ(FormatVlanOutcome({wanted[0], VlanResult::kNotCreated}, false), L"not created: 7/20 \"Voice\"");
}

TEST(VlanOutcome, ATreeShowsEachAdapterAboveItsVlans) {
  const std::vector<Adapter> adapters = {
      {L"7", L"West", {}, L"{7}", {}}, {L"9", L"Middle", {}, {}, {}}, {L"12", {}, {}, {}, {}}};
  const LinkReader linkOf = [](const Value& guid) {
    return guid == Value(L"{7}") ? Value(std::int64_t{2}) : guid == Value(L"{B}") ? Value(std::int64_t{7}) : Value();
  };
  EXPECT_EQ(FormatTree(adapters, std::vector<Vlan>{kOffice, kBackup, kVoice}, linkOf),
            L"ADAPTER  NAME    LINK\n"
            L"7        West    Connected\n"
            L"+- 10    Office  -\n"
            L"`- 20    Voice   Media disconnected\n"
            L"9        Middle  -\n"
            L"12               -\n"
            L"`- 10    Backup  -\n");
  EXPECT_EQ(LinkName(Value(std::int64_t{12})), Value(L"Credentials required"));
  EXPECT_EQ(LinkName(Value(std::int64_t{13})), Value());
}

TEST(FileName, IsMadeAbsoluteAndNeverTakenForAnAddress) {
  wchar_t folder[MAX_PATH] = {};
  ::GetCurrentDirectoryW(MAX_PATH, folder);
  const struct {
    const wchar_t* name;
    bool onOtherComputer;
    std::wstring full;  // empty: refused
  } rows[] = {
      {L"C:\\a b\\..\\ü.xml", false, L"C:\\ü.xml"},
      {L"vlans.xml", false, std::wstring(folder) + L"\\vlans.xml"},
      {L"C:\\vlans.xml", true, L"C:\\vlans.xml"},
      {L"\\\\host\\share\\vlans.xml", true, L"\\\\host\\share\\vlans.xml"},
      {L"vlans.xml", true, L""},
      {L"C:vlans.xml", true, L""},
      {L"", false, L""},
      {L"C:\\a%20b.xml", false, L""},
      {L"C:\\a%20b.xml", true, L""},
      {L"C:\\it's #2. b.xml", false, L"C:\\it's #2. b.xml"},
      {L"C:\\a\"b.xml", false, L""},
      {L"NUL", false, L""},
      {L"\\\\?\\C:\\a.xml", false, L""},
  };
  for (const auto& row : rows) {
    std::wstring full;
    const auto [status, message] = ErrorOf([&] { full = FullFileName(row.name, row.onOtherComputer); });
    EXPECT_EQ(full, row.full);
    EXPECT_EQ(status, row.full.empty() ? kExitWrongUsage : 0) << testing::PrintToString(std::wstring(row.name));
  }
}

}  // namespace
}  // namespace qvrn
