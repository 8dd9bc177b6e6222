#include "tests/endtoend/installedlab.h"

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using tests::Changes;
using tests::Client;
using tests::InstalledLab;
using tests::ProgramResult;
using tests::Snapshot;
using tests::TextValue;

constexpr wchar_t kSeven[] = L"{4D36E972-E325-11CE-BFC1-08002bE10318}\\0007:";

class ClientTest : public InstalledLab {
 protected:
  // The first read of an adapter writes the defaults that are missing.
  ClientTest() { Client(L"adapters"); }
};

TEST_F(ClientTest, ListsServedAdapters) {
  const ProgramResult table = Client(L"adapters");
  EXPECT_EQ(table.exitCode, 0u) << table.errors;
  EXPECT_THAT(table.output, HasSubstr("\n7 "));
  EXPECT_THAT(table.output, HasSubstr("\n12 "));
  const ProgramResult json = Client(L"adapters --json");
  EXPECT_THAT(json.output, ::testing::StartsWith("["));
  EXPECT_THAT(json.output, HasSubstr("\"id\": \"7\""));
}

TEST_F(ClientTest, WalksFromAnAdapterToItsProperties) {
  const ProgramResult result = Client(L"get 12 MaxFrameSize --association");
  EXPECT_EQ(result.exitCode, 0u);
  EXPECT_EQ(result.errors,
            "qvrnctl: Win32_NetworkAdapter.DeviceID=\"12\" -> QvrnEN_NetworkAdapterSetting -> "
            "QvrnEN_NetworkAdapterConfiguration.SettingID=\"12\"\n");
  EXPECT_THAT(result.output, HasSubstr("9014"));
}

TEST_F(ClientTest, ChangesExactlyWhatItIsAskedFor) {
  const Snapshot before = Adapters();
  const ProgramResult result = Client(L"set 7 MaxFrameSize=9014 InterruptModeration=0");
  EXPECT_EQ(result.exitCode, 0u) << result.errors;
  EXPECT_THAT(result.output, HasSubstr("MaxFrameSize"));
  const std::wstring key = kSeven;
  EXPECT_THAT(
      Changes(before, Adapters()),
      ::testing::UnorderedElementsAre(key + L"*JumboPacket = " + TextValue(L"1514") + L" -> " + TextValue(L"9014"),
                                      key + L"*InterruptModeration = " + TextValue(L"1") + L" -> " + TextValue(L"0")));
  EXPECT_EQ(Restarts(), 1u);
  EXPECT_THAT(Client(L"get 7 MaxFrameSize --json").output, HasSubstr("9014"));
}

TEST_F(ClientTest, WritesNothingWhereNothingWouldChange) {
  const Snapshot before = Adapters();
  for (const wchar_t* arguments : {L"set 7 MaxFrameSize=1514", L"set 7 MaxFrameSize=9014 --what-if"}) {
    const ProgramResult result = Client(arguments);
    EXPECT_EQ(result.exitCode, 0u) << result.errors;
  }
  EXPECT_THAT(Changes(before, Adapters()), IsEmpty());
  EXPECT_EQ(Restarts(), 0u);
}

TEST_F(ClientTest, SaysWhatElseAPutRewrites) {
  EXPECT_THAT(Client(L"set 7 MaxFrameSize=4088").output, Not(HasSubstr("FlowControl")));
  WriteText(InstanceKey(L"0007"), L"*FlowControl", L"03");
  const ProgramResult plan = Client(L"set 7 MaxFrameSize=9014 --what-if");
  EXPECT_THAT(plan.output + plan.errors, HasSubstr("FlowControl is stored as \"03\""));
  const ProgramResult result = Client(L"set 7 MaxFrameSize=9014");
  EXPECT_EQ(result.exitCode, 0u) << result.errors;
  EXPECT_THAT(result.output + result.errors, HasSubstr("FlowControl is stored as \"03\""));
  EXPECT_EQ(ReadText(InstanceKey(L"0007"), L"*FlowControl"), L"3");
}

TEST_F(ClientTest, TellsWhyItCannot) {
  const Snapshot before = Adapters();
  const struct {
    const wchar_t* arguments;
    DWORD exitCode;
    const char* error;
  } rows[] = {
      {L"", 2, "usage"},
      {L"nonsense", 2, "usage"},
      {L"get", 2, "usage"},
      {L"set 7", 2, "usage"},
      {L"set 7 MaxFrameSize", 2, "MaxFrameSize"},
      {L"set 7 MaxFrameSize=big", 2, "MaxFrameSize"},
      {L"set 7 NoSuchProperty=1", 2, "NoSuchProperty"},
      {L"set 7 SettingID=8", 2, "SettingID"},
      {L"get 7 NoSuchProperty", 2, "NoSuchProperty"},
      {L"get 99", 1, "99"},
      {L"set 99 MaxFrameSize=1514", 1, "99"},
      {L"set 7 MaxFrameSize=100000", 1, "MaxFrameSize"},
      {L"set 7 FlowControl=77", 1, "FlowControl"},
      {L"--no-such-option adapters", 2, "usage"},
  };
  for (const auto& row : rows) {
    const ProgramResult result = Client(row.arguments);
    const auto context = ::testing::PrintToString(std::wstring(row.arguments)) + "\n" + result.errors;
    // A schema that knows a value's bounds refuses it as wrong usage; the adapter's own bounds show afterwards.
    if (row.exitCode == 1) {
      EXPECT_THAT(result.exitCode, ::testing::AnyOf(1u, 2u)) << context;
    } else {
      EXPECT_EQ(result.exitCode, row.exitCode) << context;
    }
    EXPECT_THAT(result.errors, HasSubstr(row.error)) << context;
    EXPECT_EQ(result.output, "") << context;
  }
  EXPECT_THAT(Changes(before, Adapters()), IsEmpty());
}

TEST_F(ClientTest, AnswersForHelpAndVersion) {
  for (const wchar_t* arguments : {L"--help", L"adapters --help", L"get --help", L"set --help", L"--version"}) {
    const ProgramResult result = Client(arguments);
    EXPECT_EQ(result.exitCode, 0u);
    EXPECT_NE(result.output, "");
    EXPECT_EQ(result.errors, "");
  }
}

}  // namespace
