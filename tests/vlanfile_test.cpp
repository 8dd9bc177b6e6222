// Files of saved VLANs: what the client makes of them, the hostile ones included.
#include "tools/qvrnctl/vlanfile.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>
#include <vector>

#include "tools/qvrnctl/errors.h"

namespace qvrn {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::vector<Adapter> kAdapters = {{L"7", {}, {}, {}, {}}, {L"12", {}, {}, {}, {}}};

// A file of its own for each test.
class VlanFileTest : public ::testing::Test {
 protected:
  VlanFileTest() {
    wchar_t folder[MAX_PATH] = {};
    wchar_t path[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, folder);
    ::GetTempFileNameW(folder, L"qvr", 0, path);
    m_path = path;
  }
  ~VlanFileTest() override { ::DeleteFileW(m_path.c_str()); }

  void Write(const std::string& bytes) const {
    std::ofstream(std::string(m_path.begin(), m_path.end()), std::ios::binary) << bytes;
  }

  VlanFileContent Read(const std::string& bytes) const {
    Write(bytes);
    return ReadElements(VlanFile(m_path).Elements(), kAdapters);
  }

  std::wstring m_path;
};

std::string Element(const char* parent, const std::string& name, const char* id, const char* priority) {
  return std::string("<vlan><ParentId>") + parent + "</ParentId><Name>" + name + "</Name><Id>" + id +
         "</Id><Priority>" + priority + "</Priority></vlan>";
}

std::string InRoot(const std::string& elements) { return "<virtual_networks>" + elements + "</virtual_networks>"; }

TEST_F(VlanFileTest, HoldsWhatTheProviderWouldCreate) {
  const VlanFileContent content = Read(
      "<?xml version=\"1.0\"?>\n" +
      InRoot(
          "<!-- by hand -->\n" + Element("7", "Storage &amp; <![CDATA[<b>]]>", "010", "3") +
          "<group><vlan>\n <priority>0</priority>\n <ID> 20 </ID>\n <name>\xC3\xBC</name>\n <parentid>12</parentid>\n"
          "</vlan></group>"));
  EXPECT_THAT(content.faults, ElementsAre());
  EXPECT_THAT(content.vlans, ElementsAre(Vlan{L"", L"7", L"Storage & <b>", 10, 3}, Vlan{L"", L"12", L"\u00FC", 20, 0}));
  EXPECT_TRUE(Read("<virtual_networks/>").vlans.empty());
}

TEST_F(VlanFileTest, FaultsNameTheElement) {
  const std::string good = Element("7", "Good", "1", "0");
  const struct {
    std::string element;  // the second one
    const wchar_t* fault;
  } rows[] = {
      {"<vlan/>", L"vlan element 2: has 0 children, not four"},
      {"<vlan><ParentId>7</ParentId><Name>A</Name><Id>2</Id></vlan>", L"has 3 children"},
      {"<vlan><ParentId>7</ParentId><Name>A</Name><Id>2</Id><Priority>0</Priority><!-- --></vlan>", L"has 5 children"},
      {"<vlan><ParentId>7</ParentId><Name>A</Name><Name>2</Name><Priority>0</Priority></vlan>", L"has no Id"},
      {"<vlan><ParentId>7</ParentId><x:Name xmlns:x='u'>A</x:Name><Id>2</Id><Priority>0</Priority></vlan>",
       L"has no Name"},
      {Element("7", "A", "2x", "0"), L"Id is not a number: \"2x\""},
      {Element("7", "A", "", "0"), L"Id is not a number"},
      {Element("7", "A", "2", "high"), L"Priority is not a number"},
      {Element("x", "A", "2", "0"), L"ParentId is not a number"},
      {Element("7", "A", "0", "0"), L"vlan element 2: 7/0 \"A\": a VLAN number is 1 to 4095"},
      {Element("7", "A", "4294967298", "0"), L"1 to 4095"},  // 2 to who takes its lower half
      {Element("7", "A", "2", "8"), L"a priority is 0 to 7"},
      {Element("7", " ", "2", "0"), L"at least one character"},
      {Element("7", std::string(100, 'x'), "2", "0"), L"at most 99"},
      {Element("7", "a\tb", "2", "0"), L"control characters"},
      {Element("8", "A", "2", "0"), L"adapter 8 is not served"},
      {Element("7", "A", "1", "0"), L"the number is that of 7/1 \"Good\""},
      {Element("07", "gOOD", "2", "0"), L"the name is that of 7/1 \"Good\""},
  };
  for (const auto& row : rows) {
    const VlanFileContent content = Read(InRoot(good + row.element + Element("12", "Good", "1", "0")));
    EXPECT_THAT(content.faults, ElementsAre(HasSubstr(row.fault))) << row.element;
  }
}

TEST_F(VlanFileTest, WhatIsNoFileOfVlansIsRefusedAsAWhole) {
  const std::string good = Element("7", "Good", "1", "0");
  std::string wide;
  for (const char c : "<!DOCTYPE x>" + InRoot(good)) wide += {c, '\0'};
  const struct {
    std::string bytes;
    const wchar_t* message;
  } rows[] = {
      {"", L"is not well-formed XML"},
      {"<virtual_networks>" + good, L"is not well-formed XML"},
      {InRoot(good) + "<x/>", L"is not well-formed XML"},
      {InRoot("<vlan>a\x01</vlan>"), L"is not well-formed XML"},
      {"<!DOCTYPE virtual_networks [<!ENTITY e \"7\">]>" + InRoot(Element("&e;", "A", "1", "0")), L"a document type"},
      {"\xFF\xFE" + wide, L"a document type"},
      {"<?xml version=\"1.0\" encoding=\"UTF-7\"?>+ADwAIQ-DOCTYPE virtual_networks+AD4-" + InRoot(good), L""},
      {InRoot(good + "<Vlan/>"), L"an element \"Vlan\""},
      {InRoot(good + "<x:vlan xmlns:x='u'/>"), L"an element \"x:vlan\""},
      {"<configuration/>", L"is not a file of saved VLANs"},
      {InRoot("<network/>"), L"is not a file of saved VLANs"},
  };
  for (const auto& row : rows) {
    std::wstring message = L"no error";
    try {
      Read(row.bytes);
    } catch (const ClientError& error) {
      message = error.Message();
    }
    EXPECT_THAT(message, testing::AllOf(HasSubstr(row.message), HasSubstr(m_path))) << row.bytes;
  }
  ::DeleteFileW(m_path.c_str());
  EXPECT_THROW(static_cast<void>(VlanFile{m_path}), ClientError);
}

TEST_F(VlanFileTest, CannotBeChangedWhileItIsOpen) {
  Write(InRoot(""));
  {
    const VlanFile file(m_path);
    FileHandle writer(::CreateFileW(m_path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
    EXPECT_FALSE(writer);
    EXPECT_FALSE(::DeleteFileW(m_path.c_str()));
    EXPECT_NO_THROW(static_cast<void>(VlanFile{m_path}));  // the provider's own reading
  }
  EXPECT_TRUE(::DeleteFileW(m_path.c_str()));
}

}  // namespace
}  // namespace qvrn
