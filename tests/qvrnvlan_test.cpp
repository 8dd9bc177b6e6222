// The VLAN class as the WMI service calls it: real engine, driver installation and registry, on the lab's network.
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "lab/labkey.h"
#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/support/fakeinstance.h"
#include "tests/support/imports.h"
#include "tests/support/vlanmachine.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Variant;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tests::Outcome;
using tests::VlanClient;

constexpr wchar_t kClass[] = L"QvrnEN_VLAN";
// A handler reports its own final status before the provider does.
constexpr char kDone[] = "0x00000000, sink 0x00000000 0x00000000";
constexpr char kNotFound[] = "0x80041002, sink 0x80041002 0x80041002";
constexpr char kRefused[] = "0x80041008, sink 0x80041008";

class VlanTest : public ::testing::Test {
 protected:
  ~VlanTest() override { lab::OverrideClass(nullptr); }

  void Create(LONG number, const wchar_t* name, LONG priority = 0, const wchar_t* parent = L"7") const {
    EXPECT_EQ(m_client.Put({parent, name, number, priority}).Text(), kDone) << number;
  }

  tests::VlanMachine m_machine;
  tests::AssertionRecorder m_assertions;
  VlanClient m_client;
};

TEST_F(VlanTest, LivesFromCreationToDeletion) {
  EXPECT_EQ(m_client.provider.Enumerate(kClass).Text(), kNotFound);
  Create(10, L"Office");
  Create(20, L"Voice", 5);
  Create(300, L"Backup", 1, L"12");
  EXPECT_THAT(m_client.List(), ElementsAre(L"7/10 Office (0)", L"7/20 Voice (5)", L"12/300 Backup (1)"));

  const std::wstring key = m_client.KeyOf(20);
  tests::TestNamespace::Instance().Reset();
  const Outcome found = m_client.provider.Get(VlanClient::Path(key).c_str());
  EXPECT_EQ(found.Text(), kDone);
  ASSERT_EQ(found.sink.objects.size(), 1u);
  EXPECT_EQ(tests::PropertyText(found.sink.objects[0].Get(), L"Name"), key);
  EXPECT_EQ(tests::PropertyText(found.sink.objects[0].Get(), L"CreationClassName"), kClass);
  EXPECT_EQ(tests::PropertyText(found.sink.objects[0].Get(), L"SystemCreationClassName"), L"Win32_ComputerSystem");
  EXPECT_EQ(tests::PropertyText(found.sink.objects[0].Get(), L"SystemName"), tests::VlanMachine::kComputerName);
  EXPECT_THAT(tests::TestNamespace::Instance().calls, ElementsAre(L"GetObject(QvrnEN_VLAN, 0)"));

  EXPECT_EQ(m_client.Put({L"7", L"Telephony", 21, 6, key.c_str()}).Text(), kDone);
  EXPECT_THAT(m_client.List(), ElementsAre(L"7/10 Office (0)", L"7/21 Telephony (6)", L"12/300 Backup (1)"));
  EXPECT_EQ(m_client.KeyOf(21), key);

  // The status of a deletion is the provider's alone.
  EXPECT_EQ(m_client.provider.Delete(VlanClient::Path(key).c_str()).Text(), "0x00000000, sink 0x00000000");
  EXPECT_EQ(m_client.provider.Delete(VlanClient::Path(m_client.KeyOf(10)).c_str()).Text(),
            "0x00000000, sink 0x00000000");
  EXPECT_THAT(m_client.List(), ElementsAre(L"12/300 Backup (1)"));
  EXPECT_EQ(tests::VlanMachine::Miniports(), 1u);
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
}

TEST_F(VlanTest, ACreatedVlanIsStoredWithItsValuesAndAnUpdateWritesThemAnew) {
  Create(10, L"Office", 3);
  const std::wstring key = m_client.KeyOf(10);
  const tests::Snapshot before = m_machine.Registry();
  EXPECT_EQ(m_client.Put({L"7", L"Offices", 11, 4, key.c_str()}).Text(), kDone);
  std::vector<std::wstring> values;
  for (const std::wstring& change : tests::Changes(before, m_machine.Registry())) {
    values.push_back(change.substr(change.rfind(L':', change.find(L" = "))));
  }
  // A creation fills whole fields of 200 bytes; a change writes the text alone.
  const auto field = [](std::wstring text) { return text.resize(100), tests::RawValue(REG_SZ, text); };
  EXPECT_THAT(values, ::testing::UnorderedElementsAre(
                          L":VlanID = " + field(L"10") + L" -> " + tests::TextValue(L"11"),
                          L":VlanName = " + field(L"Office") + L" -> " + tests::TextValue(L"Offices"),
                          L":Priority = " + field(L"3") + L" -> " + tests::TextValue(L"4")));
}

TEST_F(VlanTest, RestartsAsOftenAsTheRequestSays) {
  const auto key = [this](LONG number) { return VlanClient::Path(m_client.KeyOf(number)); };
  const struct {
    const char* what;
    std::function<Outcome()> request;
    const char* outcome;
    std::size_t restarts;
  } rows[] = {
      {"create",
       [&] {
         return m_client.Put({L"7", L"A", 10});
       },
       kDone, 2},
      {"a second one",
       [&] {
         return m_client.Put({L"7", L"B", 20});
       },
       kDone, 2},
      {"refused by the checks: a taken name",
       [&] {
         return m_client.Put({L"7", L"A", 30});
       },
       kDone, 1},
      {"refused by the checks: a taken number",
       [&] {
         return m_client.Put({L"7", L"C", 10});
       },
       kDone, 1},
      {"refused by the checks: both",
       [&] {
         return m_client.Put({L"7", L"A", 10});
       },
       kDone, 1},
      {"refused by the checks: the number 0",
       [&] {
         return m_client.Put({L"7", L"C", 0});
       },
       kDone, 1},
      {"refused by the checks: 4096",
       [&] {
         return m_client.Put({L"7", L"C", 4096});
       },
       kDone, 1},
      {"refused by the checks: -1",
       [&] {
         return m_client.Put({L"7", L"C", -1});
       },
       kDone, 1},
      {"refused by the checks: no name",
       [&] {
         return m_client.Put({L"7", L"", 30});
       },
       kDone, 1},
      {"refused late: the priority",
       [&] {
         return m_client.Put({L"7", L"C", 30, 8});
       },
       kNotFound, 0},
      {"refused late: a name but for case",
       [&] {
         return m_client.Put({L"7", L"a", 30});
       },
       kNotFound, 0},
      {"an adapter that is not served",
       [&] {
         return m_client.Put({L"8", L"C", 30});
       },
       kNotFound, 0},
      {"no adapter",
       [&] {
         return m_client.Put({L"", L"C", 30});
       },
       kNotFound, 0},
      {"update",
       [&] {
         return m_client.Put({L"7", L"A2", 11, 1, m_client.KeyOf(10).c_str()});
       },
       kDone, 1},
      {"with the values that are there",
       [&] {
         return m_client.Put({L"7", L"A2", 11, 1, m_client.KeyOf(11).c_str()});
       },
       kDone, 1},
      {"update refused",
       [&] {
         return m_client.Put({L"7", L"B", 11, 1, m_client.KeyOf(11).c_str()});
       },
       kNotFound, 0},
      {"update to 4096",
       [&] {
         return m_client.Put({L"7", L"A", 4096, 1, m_client.KeyOf(11).c_str()});
       },
       kNotFound, 0},
      {"a key of another adapter",
       [&] {
         return m_client.Put({L"12", L"B", 11, 1, m_client.KeyOf(11).c_str()});
       },
       kDone, 0},
      {"no such key",
       [&] {
         return m_client.Put({L"7", L"D", 40, 1, L"{gone}"});
       },
       kDone, 0},
      {"update only, without a key",
       [&] {
         return m_client.Put({L"7", L"D", 40}, WBEM_FLAG_UPDATE_ONLY);
       },
       kDone, 0},
      {"create only, with a key",
       [&] {
         return m_client.Put({L"7", L"D", 40, 0, m_client.KeyOf(11).c_str()}, WBEM_FLAG_CREATE_ONLY);
       },
       kDone, 0},
      {"update only, with a key",
       [&] {
         return m_client.Put({L"7", L"A3", 11, 1, m_client.KeyOf(11).c_str()}, WBEM_FLAG_UPDATE_ONLY);
       },
       kDone, 1},
      {"create only, without a key",
       [&] {
         return m_client.Put({L"7", L"E", 4095, 7}, WBEM_FLAG_CREATE_ONLY);
       },
       kDone, 2},
      {"delete one of several", [&] { return m_client.provider.Delete(key(11).c_str()); },
       "0x00000000, sink 0x00000000", 1},
      {"a removal that fails",
       [&] {
         m_machine.FailCall(L"INetCfgClassSetup::DeInstall", E_FAIL);
         return m_client.provider.Delete(key(20).c_str());
       },
       "0x00000000, sink 0x00000000", 1},
      {"delete one of two", [&] { return m_client.provider.Delete(key(20).c_str()); }, "0x00000000, sink 0x00000000",
       1},
      {"delete the last", [&] { return m_client.provider.Delete(key(4095).c_str()); }, "0x00000000, sink 0x00000000",
       2},
      {"delete what is not there", [&] { return m_client.provider.Delete(L"QvrnEN_VLAN.Name=\"{gone}\""); },
       "0x80041002, sink 0x80041002", 0},
      {"delete without a key", [&] { return m_client.provider.Delete(L"QvrnEN_VLAN.Name="); },
       "0x80041001, sink 0x80041001", 0},
      {"get without a key", [&] { return m_client.provider.Get(L"QvrnEN_VLAN"); },
       "0x80041001, sink 0x80041001 0x80041001", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const std::size_t before = m_machine.Restarts().size();
    EXPECT_EQ(row.request().Text(), row.outcome);
    EXPECT_EQ(m_machine.Restarts().size() - before, row.restarts);
  }
  EXPECT_THAT(m_client.List(), IsEmpty());
}

TEST_F(VlanTest, ALateRefusalSaysSoAtTheLineThatPeopleSearchFor) {
  static unsigned s_line;
  const qvrn::AssertionReporter before =
      qvrn::SetAssertionReporter([](const char* expression, const char* file, unsigned line) {
        if (std::string(expression) + file == "0cvlanmanager") s_line = line;
      });
  s_line = 0;
  EXPECT_EQ(m_client.Put({L"7", L"A", 10, 8}).Text(), kNotFound);
  qvrn::SetAssertionReporter(before);
  EXPECT_EQ(s_line, 83u);
  EXPECT_EQ(tests::VlanMachine::Miniports(), 0u);
}

TEST_F(VlanTest, LongNamesAreRefusedOnCreateAndCutOnUpdate) {
  Create(10, std::wstring(99, L'n').c_str());
  EXPECT_EQ(m_client.Put({L"7", std::wstring(100, L'm').c_str(), 11}).Text(), kNotFound);
  EXPECT_EQ(m_client.Put({L"7", std::wstring(300, L'm').c_str(), 11}).Text(), kNotFound);
  EXPECT_THAT(m_assertions.Take(), IsEmpty());
  for (const std::size_t length : {100u, 300u}) {
    const std::wstring name(length, length == 100 ? L'o' : L'p');
    EXPECT_EQ(m_client.Put({L"7", name.c_str(), 10, 0, m_client.KeyOf(10).c_str()}).Text(), kDone);
    EXPECT_THAT(m_assertions.Take(), ElementsAre("(((HRESULT)(hr)) >= 0), cvlanlist"));
    EXPECT_THAT(m_client.List(), ElementsAre(L"7/10 " + name.substr(0, 99) + L" (0)"));
  }
}

TEST_F(VlanTest, PropertiesOfOtherTypesAreRefusedOrTakenAsNone) {
  auto lax = std::make_shared<lab::ClassDefinition>(*lab::NamespaceSchema().Find(kClass));
  lax->lax = true;
  lab::OverrideClass(lax);
  Create(10, L"Office", 3);
  const struct {
    const wchar_t* property;
    VARTYPE type;
    const char* outcome;
    const wchar_t* listed;  // the second VLAN, if one came to be
  } rows[] = {
      {L"VLANNumber", VT_NULL, kRefused, nullptr},         {L"VLANNumber", VT_BSTR, kRefused, nullptr},
      {L"ParentDeviceID", VT_NULL, kRefused, nullptr},     {L"ParentDeviceID", VT_I4, kRefused, nullptr},
      {L"VLANName", VT_NULL, kRefused, nullptr},           {L"VLANName", VT_I4, kRefused, nullptr},
      {L"VLANPriority", VT_NULL, kDone, L"7/7 seven (0)"}, {L"VLANPriority", VT_BSTR, kDone, L"7/7 seven (0)"},
      {L"Name", VT_I4, kDone, L"7/7 seven (5)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(row.property)) + " " + std::to_string(row.type));
    const ComPtr<IWbemClassObject> instance = VlanClient::Instance({L"7", L"seven", 7, 5});
    Variant value;
    value.Get()->vt = row.type;
    if (row.type == VT_BSTR) value.Get()->bstrVal = ::SysAllocString(L"7");
    if (row.type == VT_I4) value.Get()->lVal = 7;
    EXPECT_HRESULT(S_OK, instance->Put(row.property, 0, value.Get(), 0));
    EXPECT_EQ(m_client.provider.Put(instance.Get()).Text(), row.outcome);
    const std::vector<std::wstring> list = m_client.List();
    ASSERT_EQ(list.size(), row.listed == nullptr ? 1u : 2u);
    if (row.listed == nullptr) continue;
    EXPECT_EQ(list[1], row.listed);
    m_client.provider.Delete(VlanClient::Path(m_client.KeyOf(7)).c_str());
  }
  tests::ForwardingObject unreadable(VlanClient::Instance({L"7", L"seven", 7}).Get());
  for (const wchar_t* property : {L"Name", L"VLANNumber", L"VLANPriority", L"ParentDeviceID", L"VLANName"}) {
    unreadable.onGet = [property](const std::wstring& name, VARIANT*) { return name == property ? E_FAIL : S_OK; };
    EXPECT_EQ(m_client.provider.Put(&unreadable).Text(), kRefused) << property;
  }
}

TEST_F(VlanTest, AGetFindsNothingForKeysThatAreNotListed) {
  Create(10, L"Office");
  const std::wstring key = m_client.KeyOf(10);
  const struct {
    std::wstring path;
    const char* outcome;
  } rows[] = {
      // Part of a key finds the adapter, not the VLAN.
      {VlanClient::Path(key.substr(1, 8)), kDone},
      {VlanClient::Path(L"{gone}"), kDone},
      // What stands behind a dot is not read.
      {VlanClient::Path(key + L".1"), kDone},
      {VlanClient::Path(std::wstring(300, L'k')), "0x80041001, sink 0x80041001 0x80041001"},
  };
  for (const auto& row : rows) {
    const Outcome outcome = m_client.provider.Get(row.path.c_str());
    EXPECT_EQ(outcome.Text(), row.outcome) << ::testing::PrintToString(row.path);
    const bool isWhole = row.path.find(key) != std::wstring::npos;
    EXPECT_EQ(outcome.sink.objects.size(), isWhole ? 1u : 0u) << ::testing::PrintToString(row.path);
  }
  // An instance whose device is gone is known to the driver, not to the network configuration.
  m_machine.FailCall(L"INetCfgComponent::GetDeviceStatus", E_FAIL, 100);
  EXPECT_EQ(m_client.provider.Enumerate(kClass).Text(), kNotFound);
}

// The driver keeps the key of an adapter without VLANs; where that is its last one, no parent is found any more.
TEST_F(VlanTest, WithoutVlansOnTheLastAdapterNoneIsFoundByItsPath) {
  Create(10, L"Office");
  Create(20, L"Backup", 0, L"12");
  const std::wstring path = VlanClient::Path(m_client.KeyOf(10));
  EXPECT_EQ(m_client.provider.Delete(VlanClient::Path(m_client.KeyOf(20)).c_str()).result.value, S_OK);
  EXPECT_EQ(m_client.provider.Get(path.c_str()).Text(), kNotFound);
  EXPECT_EQ(m_client.provider.Delete(path.c_str()).Text(), "0x80041002, sink 0x80041002");
  EXPECT_THAT(m_client.List(), ElementsAre(L"7/10 Office (0)"));
  Create(20, L"Backup", 0, L"12");
  EXPECT_EQ(m_client.provider.Delete(path.c_str()).Text(), "0x00000000, sink 0x00000000");
}

TEST_F(VlanTest, AnInstanceThatCannotBeBuiltHasItsOwnStatus) {
  Create(10, L"Office");
  const std::wstring path = VlanClient::Path(m_client.KeyOf(10));
  tests::TestNamespace& wmi = tests::TestNamespace::Instance();
  wmi.failGetObject = WBEM_E_ACCESS_DENIED;
  EXPECT_EQ(m_client.provider.Get(path.c_str()).Text(), "0x80041001, sink 0x80041001 0x80041001");
  EXPECT_EQ(m_client.provider.Enumerate(kClass).Text(), kNotFound);
  EXPECT_EQ(m_client.provider.Method(kClass, L"SaveVlanConfiguration").Text(),
            "0x00000000, sink 0x80041003 0x00000000");
  wmi.failGetObject = S_OK;
  wmi.failQuery = WBEM_E_ACCESS_DENIED;
  EXPECT_EQ(m_client.provider.Enumerate(kClass).Text(), "0x80041008, sink 0x80041008");
  wmi.failQuery = S_OK;
  {
    const tests::FailingText text(L"Win32_ComputerSystem");
    EXPECT_EQ(m_client.provider.Get(path.c_str()).Text(), "0x80041006, sink 0x80041006 0x80041006");
  }
  {
    const tests::FailingText text(L"sFileName");
    EXPECT_EQ(m_client.provider.Method(kClass, L"SaveVlanConfiguration").Text(),
              "0x80041006, sink 0x80041006 0x80041006");
  }
  m_machine.DeleteValue(tests::VlanMachine::kNameKey, L"ComputerName");
  EXPECT_EQ(m_client.provider.Get(path.c_str()).Text(), kNotFound);
  m_machine.WriteText(tests::VlanMachine::kNameKey, L"ComputerName", tests::VlanMachine::kComputerName);
  EXPECT_EQ(m_client.provider.Get(path.c_str()).Text(), kDone);
  // The status of the last put is that of the whole.
  auto narrow = std::make_shared<lab::ClassDefinition>(*lab::NamespaceSchema().Find(kClass));
  std::erase_if(narrow->properties, [](const lab::Property& property) { return property.name == L"VLANPriority"; });
  lab::OverrideClass(narrow);
  EXPECT_EQ(m_client.provider.Get(path.c_str()).Text(), kNotFound);
}

// The second one finds the VLAN of the first, and a refused VLAN is told as success.
TEST_F(VlanTest, OneOfTwoClientsThatCreateTheSameVlanWins) {
  Outcome outcomes[2];
  std::vector<std::thread> clients;
  for (Outcome& outcome : outcomes) {
    clients.emplace_back([this, &outcome] { outcome = m_client.Put({L"7", L"Office", 10}); });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_THAT((std::vector<std::string>{outcomes[0].Text(), outcomes[1].Text()}), ElementsAre(kDone, kDone));
  EXPECT_THAT(m_client.List(), ElementsAre(L"7/10 Office (0)"));
  EXPECT_EQ(tests::VlanMachine::Miniports(), 1u);
}

}  // namespace
