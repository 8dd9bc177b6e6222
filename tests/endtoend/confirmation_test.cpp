// Changes that take themselves back, as whole processes: the one that makes the change, its guard, and those of other
// prompts; each of them may end at any moment.
#include <windows.h>

#include <tlhelp32.h>

#include <gmock/gmock.h>

#include <fstream>
#include <string>

#include "tests/endtoend/programs.h"

namespace {

using endtoend::Client;
using endtoend::OutputOf;
using endtoend::RunningClient;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// Ten requests on the machine with VLANs: two puts, a removal, a swap of names by way of a third, four creations.
constexpr char kWanted[] = R"({"adapters": [
  {"id": "7", "properties": {"MaxFrameSize": 9014}, "vlans": [
    {"number": 10, "name": "Voice"}, {"number": 20, "name": "Office"}, {"number": 30, "name": "A"},
    {"number": 40, "name": "B"}]},
  {"id": "12", "properties": {"MaxFrameSize": 1514}, "vlans": [{"number": 1, "name": "C"}, {"number": 2, "name": "D"}]}]})";
constexpr int kSteps = 10;

class Confirmation : public ::testing::Test {
 protected:
  Confirmation() {
    EXPECT_EQ(OutputOf(L"regedit /S C:\\qvrn\\machines\\vlans.reg"), "");
    std::ofstream("C:\\qvrn-wanted.json") << kWanted;
    EXPECT_EQ(OutputOf(L"C:\\qvrn\\qvrnctl.exe show 2>nul >C:\\qvrn-before.json & rem"), "");
  }

  static std::string Status() { return Client(L"confirm --status"); }
  static void AwaitNothingPending() {
    for (int i = 0; i < 100 && !Status().starts_with("no change"); ++i) ::Sleep(200);
  }
  /// Empty when the machine is as the file says.
  static std::string Differences(const std::wstring& file) { return Client(L"diff C:\\qvrn-" + file + L".json"); }
};

constexpr wchar_t kApply[] = L"apply C:\\qvrn-wanted.json --yes";

TEST_F(Confirmation, KeepsTheChangeOnceItIsGivenFromAnyPrompt) {
  EXPECT_EQ(Client(L"confirm"), "qvrnctl: no change waits for a confirmation\nexit 1");
  RunningClient client(std::wstring(kApply) + L" --confirm-within 60 --json");
  ASSERT_TRUE(client.Await("unless it is confirmed")) << client.Text();
  EXPECT_THAT(Status(), HasSubstr("waits for a confirmation until"));
  EXPECT_THAT(Client(std::wstring(kApply) + L" --confirm-within 60"), HasSubstr("another change waits"));
  EXPECT_THAT(Differences(L"wanted"), StartsWith("qvrnctl: note: a change of this machine may be taken back"));
  EXPECT_THAT(client.Text(), testing::Not(HasSubstr("\"result\""))) << "what becomes of it is not known yet";
  EXPECT_EQ(Client(L"confirm"), "confirmed: the change stays\n");
  EXPECT_EQ(client.Wait(), 0) << client.Text();
  EXPECT_THAT(client.Text(), HasSubstr("\"after\": 9014, \"result\": \"done\"}"));
  EXPECT_EQ(Differences(L"wanted"), "");
  EXPECT_THAT(Client(L"rollback"), HasSubstr("there is nothing to take back"));
}

TEST_F(Confirmation, BringsTheOldStateBackWithoutIt) {
  EXPECT_THAT(
      Client(std::wstring(kApply) + L" --confirm-within 1 --json"),
      AllOf(HasSubstr("not confirmed: the state from before is back"),
            HasSubstr("\"wanted\": 9014, \"after\": 1514, \"result\": \"takenBack\"}"), testing::EndsWith("exit 1")));
  EXPECT_EQ(Differences(L"before"), "");
  EXPECT_THAT(endtoend::TextOf(L"C:\\ProgramData\\Quorvane\\qvrnctl\\qvrnctl.log"),
              AllOf(testing::ContainsRegex("20\\d\\d-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d no confirmation came in time"),
                    HasSubstr("the state from before is back")));
  EXPECT_THAT(Client(L"save C:\\qvrn-v.xml"), HasSubstr("3 VLANs saved"));
  EXPECT_THAT(Client(L"vlan remove Voice"), HasSubstr("removed 7/20"));
  EXPECT_THAT(Client(L"restore C:\\qvrn-v.xml --yes --confirm-within 1 --json"),
              AllOf(HasSubstr("is back"), HasSubstr("\"result\": \"takenBack\"}")));
  EXPECT_THAT(Client(L"vlans"), testing::Not(HasSubstr("Voice")));
  ::DeleteFileW(L"C:\\qvrn-v.xml");
}

TEST_F(Confirmation, IsNotWaitedForWhereTheChangeFails) {
  OutputOf(L"reg add HKLM\\SOFTWARE\\QvrnLab\\Failures /v INetCfgClassSetup::Install /d \"0x80004005 1\" /f");
  EXPECT_THAT(Client(std::wstring(kApply) + L" --confirm-within 600 --json"),
              AllOf(HasSubstr("a VLAN was not created; the provider does not say why"),
                    HasSubstr("the change failed; the state from before is brought back"),
                    HasSubstr("\"wanted\": 9014, \"after\": 1514, \"result\": \"takenBack\"}")));
  OutputOf(L"reg delete HKLM\\SOFTWARE\\QvrnLab\\Failures /f");
  EXPECT_EQ(Differences(L"before"), "");
}

/// Cuts a client off when it has come to a step of ten.
void CutOff(const std::wstring& arguments, int step) {
  RunningClient client(arguments);
  EXPECT_TRUE(client.Await(std::to_string(step) + " of 10")) << client.Text();
  client.Kill();
}

// At the odd steps; at the even ones the plan is cut off below.
TEST_F(Confirmation, OutlivesTheProcessThatMakesTheChange) {
  for (int step = 1; step <= kSteps; step += 2) {
    CutOff(std::wstring(kApply) + L" --confirm-within 1", step);
    AwaitNothingPending();
    EXPECT_EQ(Differences(L"before"), "") << "cut off at step " << step;
  }
}

TEST_F(Confirmation, OutlivesTheProcessThatWaitsForIt) {
  RunningClient client(std::wstring(kApply) + L" --confirm-within 2");
  ASSERT_TRUE(client.Await("unless it is confirmed")) << client.Text();
  client.Kill();
  EXPECT_THAT(Status(), HasSubstr("waits for a confirmation until"));
  AwaitNothingPending();
  EXPECT_EQ(Differences(L"before"), "");
}

TEST_F(Confirmation, IsNotNeededForASecondRunToReachTheState) {
  for (int step = 2; step <= kSteps; step += 2) {
    CutOff(kApply, step);
    EXPECT_THAT(Client(kApply), testing::Not(HasSubstr("exit"))) << "cut off at step " << step;
    EXPECT_EQ(Differences(L"wanted"), "");
    EXPECT_THAT(Client(L"apply C:\\qvrn-before.json --yes"), testing::Not(HasSubstr("exit")));
  }
}

/// Ends every process of the client but one, as a crash of the machine would.
void EndClients(DWORD spared = 0) {
  const qvrn::FileHandle processes(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W entry = {};
  entry.dwSize = sizeof entry;
  for (BOOL more = ::Process32FirstW(processes.Get(), &entry); more; more = ::Process32NextW(processes.Get(), &entry)) {
    if (std::wstring(entry.szExeFile) != L"qvrnctl.exe" || entry.th32ProcessID == spared) continue;
    const qvrn::KernelHandle process(::OpenProcess(PROCESS_TERMINATE, FALSE, entry.th32ProcessID));
    ::TerminateProcess(process.Get(), 99);
  }
}

TEST_F(Confirmation, IsTakenBackByTheProcessThatWaitsWhereItsGuardIsGone) {
  RunningClient client(std::wstring(kApply) + L" --confirm-within 2");
  ASSERT_TRUE(client.Await("unless it is confirmed")) << client.Text();
  EndClients(client.Id());
  EXPECT_EQ(client.Wait(), 1);
  EXPECT_THAT(client.Text(), HasSubstr("the state from before is back"));
  EXPECT_EQ(Differences(L"before"), "");
}

TEST_F(Confirmation, CanBeTakenBackByHandAfterACrash) {
  RunningClient client(std::wstring(kApply) + L" --confirm-within 600");
  ASSERT_TRUE(client.Await("unless it is confirmed")) << client.Text();
  EndClients();
  ::Sleep(200);
  EXPECT_THAT(Status(), HasSubstr("the process that would take it back has ended"));
  EXPECT_THAT(Client(std::wstring(kApply) + L" --confirm-within 60"), HasSubstr("another change waits"));
  EXPECT_THAT(Client(L"rollback"), HasSubstr("the state from before is back"));
  EXPECT_EQ(Differences(L"before"), "");
  EXPECT_THAT(Status(), StartsWith("no change"));
}

}  // namespace
