#include "tests/endtoend/installedlab.h"

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
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
  EXPECT_EQ(Restarts(), 1);
  EXPECT_THAT(Client(L"get 7 MaxFrameSize --json").output, HasSubstr("9014"));
}

TEST_F(ClientTest, WritesNothingWhereNothingWouldChange) {
  const Snapshot before = Adapters();
  for (const wchar_t* arguments : {L"set 7 MaxFrameSize=1514", L"set 7 MaxFrameSize=9014 --what-if"}) {
    const ProgramResult result = Client(arguments);
    EXPECT_EQ(result.exitCode, 0u) << result.errors;
  }
  EXPECT_THAT(Changes(before, Adapters()), IsEmpty());
  EXPECT_EQ(Restarts(), 0);
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

// --- VLANs ---------------------------------------------------------------------------------------------------------

constexpr wchar_t kFile[] = L"C:\\qvrn-vlans.xml";

/// A machine with three VLANs: 7/10 "Office", 7/20 "Voice", 12/300 "Backup Network".
class VlanClientTest : public InstalledLab {
 protected:
  VlanClientTest() { EXPECT_EQ(tests::RunProgram(L"regedit /S C:\\qvrn\\machines\\vlans.reg").exitCode, 0u); }
  ~VlanClientTest() override { ::DeleteFileW(kFile); }

  static void WriteFile(const std::string& text) { std::ofstream("C:\\qvrn-vlans.xml", std::ios::binary) << text; }
  static void WriteVlans(const std::string& elements) {
    WriteFile("<virtual_networks>" + elements + "</virtual_networks>");
  }
  static std::string Element(const char* parent, const char* name, const char* id, const char* priority = "0") {
    return std::string("<vlan><ParentId>") + parent + "</ParentId><Name>" + name + "</Name><Id>" + id +
           "</Id><Priority>" + priority + "</Priority></vlan>";
  }

  /// The list without the GUIDs, which are new each time, and without its heading: "7 10 Office 0".
  static std::vector<std::string> Vlans() {
    std::istringstream table(Client(L"vlans").output);
    std::vector<std::string> vlans;
    for (std::string line; std::getline(table, line);) {
      line = std::regex_replace(line.substr(0, line.find('{')), std::regex(" +"), " ");
      vlans.push_back(line.substr(0, line.find_last_not_of(' ') + 1));
    }
    vlans.erase(vlans.begin());
    return vlans;
  }
};

const std::vector<std::string> kThree = {"7 10 Office 0", "7 20 Voice 5", "12 300 Backup Network 1"};

TEST_F(VlanClientTest, AVlanLivesFromItsCreationToItsRemoval) {
  EXPECT_EQ(Vlans(), kThree);
  const ProgramResult added = Client(L"vlan add 12 --id 4095 --name \"Lab & <Test>\" --priority 7");
  EXPECT_EQ(added.exitCode, 0u) << added.errors;
  EXPECT_THAT(added.output, StartsWith("created 12/4095 \"Lab & <Test>\" {"));
  EXPECT_THAT(added.errors, HasSubstr("adapter 12 restarts now"));
  const ProgramResult set = Client(L"vlan set 12/4095 --name Lab --id 31");
  EXPECT_EQ(set.exitCode, 0u) << set.errors;
  EXPECT_EQ(set.output, "number 4095 -> 31\nname Lab & <Test> -> Lab\n");
  EXPECT_THAT(
      Client(L"vlans 12 --json").output,
      AllOf(StartsWith("[\n  {\"adapter\": \"12\", \"number\": 300, \"name\": \"Backup Network\", "),
            HasSubstr("{\"adapter\": \"12\", \"number\": 31, \"name\": \"Lab\", \"priority\": 7, \"guid\": \"{"),
            Not(HasSubstr("Office"))));
  const ProgramResult removed = Client(L"vlan remove lab {D1750B6E-8F2C-4C39-B64A-09E83F5A2711} 7/20 7/20");
  EXPECT_EQ(removed.exitCode, 0u) << removed.errors;
  EXPECT_EQ(Vlans(), std::vector<std::string>{"12 300 Backup Network 1"});
  EXPECT_EQ(Client(L"vlan remove 12/300").exitCode, 0u);
  const ProgramResult none = Client(L"vlans");
  EXPECT_EQ(none.exitCode, 0u);
  EXPECT_EQ(none.output, "ADAPTER  VLAN  NAME  PRIORITY  GUID\n");
  EXPECT_EQ(Client(L"vlans 7 --json").output, "[]\n");
  EXPECT_EQ(Client(L"vlan add 7 --id 1 --name First").exitCode, 0u);
  EXPECT_EQ(Vlans(), std::vector<std::string>{"7 1 First 0"});
}

TEST_F(VlanClientTest, ATreeShowsTheLinksThatWindowsKnows) {
  WriteNumber(InstanceKey(L"0007"), L"LabConnectionStatus", 2);
  WriteNumber(InstanceKey(L"0014"), L"LabConnectionStatus", 7);
  EXPECT_EQ(Client(L"tree").output,
            "ADAPTER  NAME                                 LINK\n"
            "7        Quorvane Halvex Ethernet Adapter     Connected\n"
            "+- 10    Office                               -\n"
            "`- 20    Voice                                Media disconnected\n"
            "12       Quorvane Halvex Ethernet Adapter #2  -\n"
            "`- 300   Backup Network                       -\n");
}

TEST_F(VlanClientTest, WhatCannotBeIsRefusedBeforeAnythingHappens) {
  WriteVlans(Element("7", "A", "1") + "<vlan><ParentId>7</ParentId></vlan>");
  const struct {
    const wchar_t* arguments;
    DWORD exitCode;
    const char* error;
  } rows[] = {
      {L"vlan add 7 --id 10 --name New", 1, "the number is that of 7/10 \"Office\""},
      {L"vlan add 7 --id 11 --name oFFICE", 1, "the name is that of 7/10 \"Office\""},
      {L"vlan add 7 --id 0 --name New", 2, "1 to 4095"},
      {L"vlan add 7 --id 4096 --name New", 2, "1 to 4095"},
      {L"vlan add 7 --id 11 --name New --priority=8", 2, "0 to 7"},
      {L"vlan add 7 --id 11 --name \" New\"", 2, "blanks"},
      {L"vlan add 9 --id 11 --name New", 1, "adapter \"9\" is not served by the provider"},
      {L"vlan add 7 --id 11", 2, "usage: qvrnctl vlan add"},
      {L"vlan add 7 --id 11 --name New --what-if", 0, "adapter 7 would restart"},
      {L"vlan set 7/10", 2, "--id N, --name NAME or --priority P"},
      {L"vlan set 7/10 --id 20", 1, "the number is that of 7/20"},
      {L"vlan set 7/10 --id 10 --name Office", 0, "has these values already"},
      {L"vlan set 7/99 --id 1", 1, "there are 7/10 \"Office\""},
      {L"vlan remove 7/10 Nothing", 1, "VLAN \"Nothing\" is not there"},
      {L"vlan remove 7/10 --what-if", 0, "adapter 7 would restart"},
      {L"vlans 9", 1, "it serves 7 "},
      {L"restore C:\\qvrn-vlans.xml", 2, "needs --yes"},
      {L"restore C:\\qvrn-vlans.xml --yes", 1, "vlan element 2: has 1 children"},
      {L"restore C:\\no-such-file.xml --yes", 1, "ERROR_FILE_NOT_FOUND"},
      {L"restore C:\\qvrn%41.xml --yes", 2, "escape"},
      {L"restore C:\\qvrn-vlans.xml --computer host", 2, "needs --yes"},
      {L"restore qvrn-vlans.xml --computer host --yes", 2, "whole path"},
      {L"save C:\\a\\\"b.xml", 2, "cannot be"},
      {L"save C:\\no-such-folder\\vlans.xml", 1, "the VLANs were not saved"},
  };
  for (const auto& row : rows) {
    const ProgramResult result = Client(row.arguments);
    EXPECT_EQ(result.exitCode, row.exitCode) << testing::PrintToString(std::wstring(row.arguments));
    EXPECT_THAT(result.errors, HasSubstr(row.error));
  }
  EXPECT_EQ(Vlans(), kThree);
  EXPECT_EQ(Restarts(), 0);
}

// The driver's files are away, so that the provider accepts the put and creates nothing.
TEST_F(VlanClientTest, ACreateThatTheProviderDropsIsAFailure) {
  WriteText(L"SOFTWARE\\Quorvane", L"InstalledPath", L"C:\\no-such-folder\\");
  const ProgramResult result = Client(L"vlan add 7 --id 11 --name New --json");
  EXPECT_EQ(result.exitCode, 1u);
  EXPECT_THAT(result.output,
              HasSubstr("\"name\": \"New\", \"priority\": 0, \"guid\": null, \"result\": \"notCreated\"}"));
  EXPECT_THAT(result.errors, HasSubstr("VLAN 7/11 \"New\" was not created; the provider does not say why"));
  WriteVlans(Element("7", "New", "11"));
  const ProgramResult restored = Client(L"restore C:\\qvrn-vlans.xml --yes");
  EXPECT_EQ(restored.exitCode, 1u);
  EXPECT_THAT(restored.errors, AllOf(HasSubstr("not created: 7/11 \"New\""), HasSubstr("the VLANs are not those of")));
  EXPECT_THAT(restored.output, HasSubstr("removed 7/10 \"Office\""));
}

TEST_F(VlanClientTest, WhatWasSavedComesBack) {
  EXPECT_EQ(Client(L"vlan set Voice --name \"Vo & <ice>\"").exitCode, 0u);
  const std::vector<std::string> saved = Vlans();
  const ProgramResult save = Client(L"save C:\\qvrn-vlans.xml");
  EXPECT_EQ(save.exitCode, 0u) << save.errors;
  EXPECT_THAT(save.errors, HasSubstr("3 VLANs saved in C:\\qvrn-vlans.xml"));
  EXPECT_EQ(Client(L"vlan remove 12/300 7/10").exitCode, 0u);
  EXPECT_EQ(Client(L"vlan add 12 --id 5 --name Late").exitCode, 0u);
  const char kOutcome[] =
      "would remove 12/5 \"Late\" .*\nwould create 7/10 \"Office\"\nwould create again 7/20 \"Vo & <ice>\"\nwould "
      "create 12/300 \"Backup Network\"\n";
  EXPECT_TRUE(std::regex_match(Client(L"restore C:\\qvrn-vlans.xml --what-if").output, std::regex(kOutcome)));
  const ProgramResult restore = Client(L"restore C:\\qvrn-vlans.xml --yes");
  EXPECT_EQ(restore.exitCode, 0u) << restore.errors;
  EXPECT_THAT(restore.errors, HasSubstr("not in the file as it is now: 12/5 \"Late\""));
  EXPECT_EQ(Vlans(), saved);
}

TEST_F(VlanClientTest, AnEmptyFileLeavesNoVlanAndAForeignOneLeavesAll) {
  for (const char* hostile : {"<configuration/>", "<!DOCTYPE virtual_networks><virtual_networks/>",
                              "<virtual_networks><Vlan/></virtual_networks>"}) {
    WriteFile(hostile);
    EXPECT_EQ(Client(L"restore C:\\qvrn-vlans.xml --yes").exitCode, 1u) << hostile;
  }
  EXPECT_EQ(Vlans(), kThree);
  WriteVlans("");
  const ProgramResult result = Client(L"restore C:\\qvrn-vlans.xml --yes");
  EXPECT_EQ(result.exitCode, 0u) << result.errors;
  EXPECT_THAT(result.errors, HasSubstr("the file holds no VLAN: none is left"));
  EXPECT_TRUE(Vlans().empty());
}

// What a saved file would lose is named, and nothing is written.
TEST_F(VlanClientTest, ASaveThatWouldLoseVlansIsRefused) {
  WriteText(InstanceKey(L"0013"), L"VlanName", L" Office ");
  WriteText(InstanceKey(L"0014"), L"VlanID", L"5000");
  const ProgramResult result = Client(L"save C:\\qvrn-vlans.xml");
  EXPECT_EQ(result.exitCode, 1u);
  EXPECT_THAT(result.errors, AllOf(HasSubstr("VLAN 7/10 \" Office \""), HasSubstr("VLAN 7/5000 \"Voice\"")));
  EXPECT_EQ(::GetFileAttributesW(kFile), INVALID_FILE_ATTRIBUTES);
}

// With --computer the file is the other one's: neither is it checked, nor is that kept quiet.
TEST_F(VlanClientTest, AFileOfAnotherComputerIsNotChecked) {
  const ProgramResult save = Client(L"save C:\\qvrn-vlans.xml --computer localhost");
  EXPECT_EQ(save.exitCode, 0u) << save.errors;
  EXPECT_THAT(save.errors, HasSubstr("is on localhost and was not checked"));
  const ProgramResult restore = Client(L"restore C:\\qvrn-vlans.xml --computer localhost --yes");
  EXPECT_EQ(restore.exitCode, 0u) << restore.errors;
  EXPECT_THAT(restore.output, HasSubstr("created again 12/300"));
  const ProgramResult unread = Client(L"restore C:\\no-such-file.xml --computer localhost --yes");
  EXPECT_EQ(unread.exitCode, 1u);
  EXPECT_THAT(unread.errors, HasSubstr("the provider has changed nothing"));
}

}  // namespace
