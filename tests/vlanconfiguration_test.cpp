// Saving VLANs to an XML file and restoring them, through the platform's own XML parser.
#include "tools/wmi/qvrnwmiprovider/vlanconfiguration.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/support/fakeinstance.h"
#include "tests/support/vlanmachine.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tests::VlanClient;
using Texts = std::vector<std::wstring>;

constexpr wchar_t kSave[] = L"SaveVlanConfiguration";
constexpr wchar_t kRestore[] = L"RestoreVlanConfiguration";
constexpr char kDone[] = "0x00000000, sink 0x00000000 0x00000000";

class VlanConfigurationTest : public ::testing::Test {
 protected:
  VlanConfigurationTest() {
    wchar_t folder[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, folder);
    m_folder = folder + (L"qvrn-xml-" + std::to_wstring(::GetCurrentProcessId()));
    ::CreateDirectoryW(m_folder.c_str(), nullptr);
  }
  ~VlanConfigurationTest() override {
    WIN32_FIND_DATAW file = {};
    const HANDLE search = ::FindFirstFileW((m_folder + L"\\*").c_str(), &file);
    do {
      ::DeleteFileW((m_folder + L"\\" + file.cFileName).c_str());
    } while (::FindNextFileW(search, &file));
    ::FindClose(search);
    ::RemoveDirectoryW(m_folder.c_str());
  }

  std::wstring File(const wchar_t* name = L"vlans.xml") const { return m_folder + L"\\" + name; }
  std::wstring Write(const std::string& text) const {
    std::ofstream(Narrow(File()), std::ios::binary) << text;
    return File();
  }
  static std::string Read(const std::wstring& file) {
    std::ifstream stream(Narrow(file), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  // The files of these tests have names within ASCII.
  static std::string Narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

  void Create(LONG number, const wchar_t* name, LONG priority = 0, const wchar_t* parent = L"7") const {
    EXPECT_EQ(m_client.Put({parent, name, number, priority}).Text(), kDone) << number;
  }
  // The operation's own result, which a client never receives.
  template <typename Operation>
  static HRESULT Run(Operation operation, const wchar_t* fileName) {
    HRESULT hr = E_UNEXPECTED;
    lab::RunAsClient(3, [&] { hr = operation(lab::Namespace(), fileName); });
    return hr;
  }

  tests::VlanMachine m_machine;
  tests::AssertionRecorder m_assertions;
  VlanClient m_client;
  std::wstring m_folder;
};

std::string Vlan(const std::string& parent, const std::string& name, const std::string& id,
                 const std::string& priority) {
  return "<vlan><ParentId>" + parent + "</ParentId><Name>" + name + "</Name><Id>" + id + "</Id><Priority>" + priority +
         "</Priority></vlan>";
}

std::string Document(const std::string& vlans) { return "<virtual_networks>" + vlans + "</virtual_networks>"; }

TEST_F(VlanConfigurationTest, SavesTheVlansOldestFirstAndTheEmptyRootWithoutAny) {
  EXPECT_EQ(m_client.Call(kSave, File()).Text(), kDone);
  EXPECT_EQ(Read(File()), "<virtual_networks/>\n");
  Create(20, L"Storage", 3);
  Create(10, L"Management");
  Create(30, L"Backup", 1, L"12");
  tests::TestNamespace::Instance().Reset();
  const tests::Outcome saved = m_client.Call(kSave, File());
  EXPECT_EQ(saved.Text(), kDone);
  EXPECT_THAT(saved.sink.objects, IsEmpty());
  EXPECT_THAT(tests::TestNamespace::Instance().calls,
              ElementsAre(L"GetObject(QvrnEN_VLAN, 0)", L"ExecQuery(WQL, SELECT * FROM Win32_NetworkAdapter, 0x230)"));
  EXPECT_EQ(Read(File()), Document(Vlan("7", "Storage", "20", "3") + Vlan("7", "Management", "10", "0") +
                                   Vlan("12", "Backup", "30", "1")) +
                              "\n");
}

TEST_F(VlanConfigurationTest, ARoundTripGivesTheSameFile) {
  const wchar_t* const names[] = {L"two  inner blanks", L"R&D <lab>", L"\"quoted\" 'twice'", L"B\u00fcro \u65e5\u672c",
                                  L"plain"};
  const std::wstring again = File(L"it's #2. again.xml");
  m_machine.WriteText(L"SOFTWARE\\QvrnLab", L"Journal", L"");  // much to write, and nobody reads it
  LONG created = 0;
  for (const LONG count : {1, 10, 60}) {
    for (; created < count; ++created) {
      const std::wstring name = names[created % std::size(names)] + std::to_wstring(created);
      Create(created * 68 + 1, name.c_str(), created % 8, created % 3 == 0 ? L"12" : L"7");
    }
    const Texts list = m_client.List();
    ASSERT_EQ(list.size(), static_cast<std::size_t>(count));
    m_client.Call(kSave, again);
    m_client.Call(kRestore, Write(Document("")));
    EXPECT_EQ(tests::VlanMachine::Miniports(), 0u);
    EXPECT_EQ(m_client.Call(kRestore, again).Text(), kDone);
    EXPECT_EQ(m_client.List(), list);
    m_client.Call(kSave, File());
    EXPECT_EQ(Read(File()), Read(again));
  }
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
}

TEST_F(VlanConfigurationTest, RestoresWhatAFileSays) {
  const std::string first = Vlan("7", "one", "1", "0");
  const std::string second = Vlan("12", "two", "2", "7");
  const std::string pretty =
      "<?xml version=\"1.0\"?>\n<virtual_networks>\n  <vlan>\n    <ParentId>7</ParentId>\n    <Name>one</Name>\n"
      "    <Id>1</Id>\n    <Priority>0</Priority>\n  </vlan>\n</virtual_networks>\n";
  const Texts untouched = {L"7/100 before (0)"};
  const Texts one = {L"7/1 one (0)"};
  const Texts both = {L"7/1 one (0)", L"12/2 two (7)"};
  const struct {
    const char* what;
    std::string text;
    HRESULT result;
    Texts listed;
    std::size_t restarts;  // remove-all: adapter 7 for its last VLAN, then 7 and 12; two for each VLAN
  } rows[] = {
      {"an empty file", "", E_FAIL, untouched, 0},
      {"not well-formed", "<virtual_networks><vlan></virtual_networks>", E_FAIL, untouched, 0},
      {"the empty root", Document(""), S_OK, {}, 3},
      {"two VLANs", Document(first + second), S_OK, both, 7},
      {"pretty-printed", pretty, S_OK, one, 5},
      {"another root, and deep in the tree", "<a><b>" + first + "</b><c><d>" + second + "</d></c></a>", S_OK, both, 7},
      {"tag names in capitals are other tags", "<a><VLAN/>" + first + "</a>", S_OK, one, 5},
      {"element names in any case",
       Document("<vlan><parentid>7</parentid><NAME>one</NAME><iD>1</iD><PRIORITY>0</PRIORITY></vlan>"), S_OK, one, 5},
      {"children in any order",
       Document("<vlan><Priority>0</Priority><Id>1</Id><Name>one</Name><ParentId>7</ParentId></vlan>"), S_OK, one, 5},
      {"five children in the third",
       Document(first + second +
                "<vlan><ParentId>7</ParentId><Name>x</Name><Id>3</Id><Priority>0</Priority><E/></vlan>" +
                Vlan("7", "four", "4", "0")),
       S_OK, both, 7},
      {"three children in the first", Document("<vlan><Name>x</Name><Id>3</Id><E/></vlan>" + first), S_OK, {}, 3},
      {"a comment is a child",
       Document(first + "<vlan><!-- --><ParentId>7</ParentId><Name>x</Name><Id>3</Id><Priority>0</Priority></vlan>"),
       S_OK, one, 5},
      {"two names and no number: that of the element before",
       Document(first + "<vlan><ParentId>12</ParentId><Name>x</Name><Name>two</Name><Priority>7</Priority></vlan>"),
       S_OK,
       {L"7/1 one (0)", L"12/1 two (7)"},
       7},
      {"and nothing in the first element",
       Document("<vlan><ParentId>12</ParentId><Name>x</Name><Name>two</Name><Priority>7</Priority></vlan>" + first),
       S_OK, one, 5},
      {"a number that is none is 0: refused by the checks", Document(Vlan("7", "x", "ten", "0") + first), S_OK, one, 6},
      {"a priority that is none is 0", Document(Vlan("7", "one", "1", "high")), S_OK, one, 5},
      {"a priority out of range: refused late", Document(Vlan("7", "x", "5", "8") + first), S_OK, one, 6},
      {"unknown and unserved parents", Document(Vlan("99", "x", "5", "0") + Vlan("8", "x", "5", "0") + first), S_OK,
       one, 5},
      {"twice the same", Document(first + first), S_OK, one, 6},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    m_client.Call(kRestore, Write(Document(Vlan("7", "before", "100", "0"))));
    const std::wstring file = Write(row.text);
    const std::size_t before = m_machine.Restarts().size();
    EXPECT_HRESULT(row.result, Run(&qvrn::RestoreVlanConfiguration, file.c_str()));
    EXPECT_EQ(m_machine.Restarts().size() - before, row.restarts);
    EXPECT_EQ(m_client.List(), row.listed);
  }
}

TEST_F(VlanConfigurationTest, WithoutAUsableFileNothingHappensAndTheCallSucceeds) {
  Create(10, L"Office");
  const tests::Snapshot before = m_machine.Registry();
  EXPECT_HRESULT(E_FAIL, Run(&qvrn::RestoreVlanConfiguration, File(L"missing.xml").c_str()));
  EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, Run(&qvrn::RestoreVlanConfiguration, nullptr));
  EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, Run(&qvrn::SaveVlanConfiguration, nullptr));
  EXPECT_TRUE(FAILED(Run(&qvrn::SaveVlanConfiguration, File(L"no folder\\vlans.xml").c_str())));
  EXPECT_EQ(m_client.Call(kRestore, File(L"missing.xml")).Text(), kDone);
  for (const wchar_t* method : {kSave, kRestore})
    EXPECT_EQ(m_client.provider.Method(L"QvrnEN_VLAN", method).Text(), kDone);
  EXPECT_EQ(m_client.provider.Method(L"QvrnEN_VLAN", L"savevlanconfiguration").Text(), "0x80041008, sink 0x80041008");
  EXPECT_THAT(tests::Changes(before, m_machine.Registry()), IsEmpty());
}

TEST_F(VlanConfigurationTest, RemovingAllGoesOnBehindFailedRemovals) {
  for (const LONG number : {10, 20, 30}) Create(number, std::to_wstring(number).c_str());
  Create(40, L"40", 0, L"12");
  // The first removal succeeds, the next two attempts fail.
  m_machine.WriteText(L"SOFTWARE\\QvrnLab\\Failures", L"INetCfgClassSetup::DeInstall", L"0x80004005 2 1");
  const std::size_t before = m_machine.Restarts().size();
  EXPECT_HRESULT(S_OK, Run(&qvrn::RestoreVlanConfiguration, Write(Document(Vlan("12", "new", "50", "2"))).c_str()));
  EXPECT_THAT(m_client.List(), ElementsAre(L"12/50 new (2)"));
  EXPECT_EQ(tests::VlanMachine::Miniports(), 1u);
  EXPECT_EQ(m_machine.Restarts().size() - before, 6u);
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
}

}  // namespace
