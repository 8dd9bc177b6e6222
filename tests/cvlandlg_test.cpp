// The VLAN engine of one adapter: what it makes of the registry, and what it refuses with which box.
#include "tools/winhalvextune/cvlandlg.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "lab/wmi/wbemhost.h"
#include "tests/support/imports.h"
#include "tests/support/vlanmachine.h"

namespace {

using qvrn::CVlanDlg;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tests::Machine;
using Lines = std::vector<std::string>;
using Texts = std::vector<std::wstring>;

constexpr char kFailed[] = "0, cvlandlg";
constexpr char kTail[] = "DataLen == 1, cvlandlg";
const Texts kBox = {L"Error||16"};

class VlanEngineTest : public ::testing::Test {
 protected:
  VlanEngineTest() { tests::SetWindowStationVisible(true); }

  // The driver's key of adapter 7 with this UpperBindings data.
  void Bind(const std::wstring& characters, std::size_t oddBytes = 0) {
    m_machine.WriteBytes(kAdapter, L"UpperBindings", REG_MULTI_SZ, characters.data(),
                         characters.size() * sizeof(wchar_t) + oddBytes);
  }
  void AddMiniport(DWORD index, const wchar_t* number) {
    m_machine.AddAdapter(index, L"qvrn_muxmp");
    m_machine.Store(index, L"VlanID", number);
    m_machine.Store(index, L"VlanName", number);
  }
  static Texts NumbersOf(CVlanDlg& engine) {
    Texts numbers;
    for (DWORD index = 0; index < engine.List().Count(); ++index) numbers.push_back(engine.List().NumberAt(index));
    return numbers;
  }
  // Adding leaves the apartment of its thread.
  static void OnClientThread(const std::function<void()>& action) { lab::RunAsClient(3, action); }

  const std::wstring kAdapter = std::wstring(tests::VlanMachine::kDriverKey) + L"\\" + Machine::InstanceId(7);
  tests::VlanMachine m_machine;
  tests::AssertionRecorder m_assertions;
};

TEST_F(VlanEngineTest, PreparesFromWhateverTheBindingsHold) {
  AddMiniport(20, L"20");
  AddMiniport(21, L"21");
  const std::wstring one = L"\\Device\\" + Machine::InstanceId(20) + L'\0';
  const std::wstring two = L"\\Device\\" + Machine::InstanceId(21) + L'\0';
  const std::wstring end(1, L'\0');
  const struct {
    const char* what;
    std::wstring data;
    std::size_t oddBytes;
    Texts numbers;
    Lines assertions;
  } rows[] = {
      {"newest first becomes oldest first", two + one + end, 0, {L"20", L"21"}, {}},
      {"the same twice", one + one + end, 0, {L"20", L"20"}, {}},
      {"only the end", end, 0, {}, {}},
      {"no data", {}, 0, {}, {"DataSize > 0, cvlandlg", "DataSize != 0, cvlandlg", kTail}},
      {"an odd byte behind the end", one + end, 1, {L"20"}, {}},
      {"one byte", {}, 1, {}, {kTail}},
      {"no end", one, 0, {L"20"}, {kTail}},
      {"no terminator at all", one.substr(0, one.size() - 1), 0, {L"20"}, {kTail}},
      {"an entry without an end of its own", one + two.substr(0, two.size() - 1), 0, {L"21", L"20"}, {kTail}},
      {"entries shorter than the prefix", std::wstring(L"\\Dev\0\0", 6) + one + end, 0, {L"20"}, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Bind(row.data, row.oddBytes);
    CVlanDlg engine(Machine::InstanceKey(7).c_str());
    EXPECT_TRUE(engine.Prepare());
    EXPECT_TRUE(engine.IsBound());
    EXPECT_EQ(NumbersOf(engine), row.numbers);
    EXPECT_EQ(m_assertions.Take(), row.assertions);
  }
  EXPECT_THAT(tests::TakeMessageBoxes(), IsEmpty());
}

TEST_F(VlanEngineTest, PreparesOnlyWithAdapterAndFolder) {
  const auto prepare = [](bool installed, bool bound) {
    CVlanDlg engine(Machine::InstanceKey(7).c_str());
    const bool prepared = engine.Prepare();
    EXPECT_EQ(engine.IsDriverInstalled(), installed);
    EXPECT_EQ(engine.IsBound(), bound);
    return prepared;
  };
  EXPECT_TRUE(prepare(false, false));
  m_machine.WriteText(tests::VlanMachine::kDriverKey, L"", L"");
  EXPECT_TRUE(prepare(true, false));
  m_machine.WriteText(kAdapter, L"", L"");
  EXPECT_TRUE(prepare(true, false));
  {
    const tests::FailingRegistryOpen failing(L"SYSTEM\\CurrentControlSet\\Services\\MUXP\\Parameters\\Adapters\\");
    EXPECT_FALSE(prepare(false, false));
    EXPECT_THAT(m_assertions.Take(), ElementsAre(kFailed));
  }
  EXPECT_THAT(tests::TakeMessageBoxes(), IsEmpty());
  m_machine.DeleteValue(tests::VlanMachine::kProductKey, L"InstalledPath");
  EXPECT_FALSE(prepare(false, false));
  EXPECT_EQ(tests::TakeMessageBoxes(), kBox);
  m_machine.DeleteValue(Machine::InstanceKey(7), L"NetCfgInstanceId");
  EXPECT_FALSE(prepare(false, false));
  EXPECT_EQ(tests::TakeMessageBoxes(), kBox);
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
  for (const std::wstring& path : {Machine::InstanceKey(7), std::wstring(tests::VlanMachine::kProductKey)}) {
    m_machine.Store(7, L"NetCfgInstanceId", Machine::InstanceId(7).c_str());
    const tests::FailingRegistryOpen failing(path.c_str());
    EXPECT_FALSE(prepare(false, false));
    EXPECT_THAT(m_assertions.Take(), ElementsAre(kFailed));
  }
  // A folder too long for what is appended.
  m_machine.WriteText(tests::VlanMachine::kProductKey, L"InstalledPath", std::wstring(255, L'f').c_str());
  EXPECT_TRUE(prepare(true, false));
  EXPECT_THAT(m_assertions.Take(), ElementsAre("(((HRESULT)(hr)) >= 0), cvlandlg"));
}

TEST_F(VlanEngineTest, RefusesValuesWithABox) {
  AddMiniport(20, L"20");
  AddMiniport(21, L"21");
  Bind(L"\\Device\\" + Machine::InstanceId(20) + L'\0' + L"\\Device\\" + Machine::InstanceId(21) + L'\0' + L'\0');
  const std::wstring edited = Machine::InstanceId(20);
  const struct {
    const wchar_t* edited;  // null: a new VLAN
    qvrn::VlanTexts texts;
    bool valid;
    bool modified;
  } rows[] = {
      {nullptr, {L"22", L"22", L"0"}, true, true},
      {nullptr, {L"22", L"22", L"9"}, true, true},  // the priority is not looked at
      {nullptr, {L"22", L"", L"0"}, false, false},
      {nullptr, {L"", L"22", L"0"}, false, false},
      {nullptr, {L"20", L"22", L"0"}, false, true},
      {nullptr, {L"22", L"20", L"0"}, false, true},
      {nullptr, {L"20", L"20", L"0"}, false, true},
      {nullptr, {L"0", L"22", L"0"}, false, true},
      {nullptr, {L"4096", L"22", L"0"}, false, true},
      {nullptr, {L"4095", L"22", L"0"}, true, true},
      {edited.c_str(), {L"20", L"20", L"0"}, true, false},
      {edited.c_str(), {L"20", L"new", L"0"}, true, true},
      {edited.c_str(), {L"21", L"20", L"0"}, false, true},
      {edited.c_str(), {L"20", L"21", L"0"}, false, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    CVlanDlg engine(Machine::InstanceKey(7).c_str());
    ASSERT_TRUE(engine.Prepare());
    const bool isNew = row.edited == nullptr;
    EXPECT_TRUE(isNew || engine.SetVlanParams(row.edited, {L"20", L"20", L"0"}));
    EXPECT_EQ(engine.ValidateVlanInput(row.texts), row.valid);
    EXPECT_EQ(engine.IsModified(), row.modified);
    EXPECT_EQ(tests::TakeMessageBoxes(), row.valid ? Texts{} : kBox);
  }
  CVlanDlg engine(Machine::InstanceKey(7).c_str());
  EXPECT_TRUE(engine.SetVlanParams(L"", {L"1", std::wstring(99, L'n').c_str(), L"0"}));
  EXPECT_FALSE(engine.SetVlanParams(L"", {L"1", std::wstring(100, L'n').c_str(), L"0"}));
}

TEST_F(VlanEngineTest, AddsAndRemovesAndTracesIt) {
  static Texts s_topics;
  qvrn::g_helpHook = [](const wchar_t* topic) { s_topics.push_back(topic); };
  OnClientThread([this] {
    CVlanDlg engine(Machine::InstanceKey(7).c_str());
    ASSERT_TRUE(engine.Prepare());
    for (const wchar_t* number : {L"1", L"2"}) {
      ASSERT_TRUE(engine.SetVlanParams(L"", {number, number, L"0"}));
      EXPECT_TRUE(engine.AddVlan());
    }
    // Newest first, within the engine that added them.
    EXPECT_THAT(NumbersOf(engine), ElementsAre(L"2", L"1"));
    EXPECT_EQ(m_machine.Restarts().size(), 2u);
    EXPECT_TRUE(engine.RemoveVlan(engine.List().InstanceIdAt(1)));
    EXPECT_EQ(m_machine.Restarts().size(), 2u);
    EXPECT_TRUE(engine.RemoveVlan(L"{gone}"));
    EXPECT_EQ(tests::TakeMessageBoxes(), kBox);
    EXPECT_TRUE(engine.RemoveVlan(engine.List().InstanceIdAt(0)));
    EXPECT_EQ(m_machine.Restarts().size(), 3u);
    EXPECT_EQ(engine.List().Count(), 0u);
    engine.HoldMutex(::CreateMutexW(nullptr, FALSE, nullptr));
  });
  qvrn::g_helpHook = nullptr;
  Texts own;
  for (const std::wstring& line : tests::TakeDebugOutput()) {
    for (const wchar_t* mark : {L" vlan driver\n", L"-Adding new VLAN\n", L"Mutex"}) {
      if (line.find(mark) != std::wstring::npos) own.push_back(line);
    }
  }
  EXPECT_THAT(own,
              ElementsAre(L"Try install vlan driver\n", L"Finish install vlan driver\n", L"Start -Adding new VLAN\n",
                          L"Finish -Adding new VLAN\n", L"Try install vlan driver\n", L"Finish install vlan driver\n",
                          L"Start -Adding new VLAN\n", L"Finish -Adding new VLAN\n", L"Mutex is Closed \n"));
  EXPECT_THAT(s_topics, ElementsAre(L"AddVlan", L"VlanHelp", L"AddVlan", L"VlanHelp", L"RemoveVlan", L"VlanHelp",
                                    L"RemoveVlan", L"VlanHelp", L"RemoveVlan", L"VlanHelp"));
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
}

TEST_F(VlanEngineTest, WithoutTheDriverOrTheLockNothingIsAdded) {
  const auto add = [this] {
    OnClientThread([] {
      CVlanDlg engine(Machine::InstanceKey(7).c_str());
      ASSERT_TRUE(engine.Prepare());
      EXPECT_TRUE(engine.SetVlanParams(L"", {L"1", L"1", L"0"}));
      EXPECT_TRUE(engine.AddVlan());
      EXPECT_EQ(engine.List().Count(), 0u);
    });
    EXPECT_THAT(m_machine.Restarts(), IsEmpty());
  };
  m_machine.WriteText(L"SOFTWARE\\QvrnLab", L"ForeignLock", L"somebody");
  add();
  EXPECT_EQ(tests::TakeMessageBoxes(), kBox);
  m_machine.DeleteValue(L"SOFTWARE\\QvrnLab", L"ForeignLock");
  // The notify core's own lock: the second of the two that an add takes.
  m_machine.WriteText(L"SOFTWARE\\QvrnLab\\Failures", L"INetCfgLock::AcquireWriteLock", L"0x1 3 1");
  add();
  EXPECT_EQ(tests::TakeMessageBoxes(), kBox);
  m_machine.FailCall(L"INetCfg::Initialize", E_FAIL);  // another failure has the system's text, which shows nothing
  add();
  EXPECT_THAT(tests::TakeMessageBoxes(), IsEmpty());
  // A package folder without files.
  wchar_t folder[MAX_PATH] = {};
  ::GetTempPathW(MAX_PATH, folder);
  m_machine.WriteText(tests::VlanMachine::kProductKey, L"InstalledPath", folder);
  const std::wstring package = folder + std::wstring(L"Vlan_lbfo");
  ::CreateDirectoryW(package.c_str(), nullptr);
  add();
  ::RemoveDirectoryW(package.c_str());
  EXPECT_EQ(tests::TakeMessageBoxes(), kBox);
}

}  // namespace
