// A team of adapters, and the model of one adapter, in what no request reaches.
#include "mux/notifyob/cmuxteamminiport.h"

#include <gmock/gmock.h>

#include <string>

#include "mux/notifyob/cmuxphysicaladapter.h"
#include "tests/support/hresult.h"
#include "tests/support/imports.h"
#include "tests/support/netcfgclient.h"
#include "tests/support/vlanmachine.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tests::Machine;

constexpr GUID kTeam = {0x20, 0, 0, {}};
constexpr GUID kAdapter = {7, 0, 0, {}};

struct TeamMachine : tests::VlanMachine {
  TeamMachine() { AddAdapter(0x20, L"qvrn_muxmp"); }
};

class Team : public ::testing::Test {
 protected:
  std::vector<std::wstring> Changes() {
    return tests::Changes(std::exchange(m_before, m_machine.Registry()), m_before);
  }

  TeamMachine m_machine;
  const std::wstring m_adapter = std::wstring(tests::VlanMachine::kDriverKey) + L"\\" + Machine::InstanceId(7);
  const std::wstring m_key = std::wstring(tests::VlanMachine::kDriverKey) + L"\\" + Machine::InstanceId(0x20);
  tests::Snapshot m_before = m_machine.Registry();
  const tests::Session m_session{true};
  INetCfg* const m_netCfg = m_session.netCfg.Get();
};

TEST_F(Team, LivesFromItsParametersToItsRemoval) {
  qvrn::CMuxTeamMiniport team(m_netCfg, &kTeam, L"Both", 3);
  const auto component = m_session.Find(L"qvrn_muxmp");
  m_machine.TakeNetworkCalls();
  EXPECT_HRESULT(S_OK, team.InsertRegistryParams(component.Get()));
  EXPECT_THAT(m_machine.TakeNetworkCalls(),
              ::testing::Contains(::testing::HasSubstr(L", Quorvane Virtual Miniport Driver - Team Both)")));
  const std::wstring name = L":TeamName = " + tests::TextValue(L"Both");
  const std::wstring type = L":TeamType = 4: 03 00 00 00";
  const std::wstring guid = L":TeamGuid = " + tests::TextValue(Machine::InstanceId(0x20).c_str());
  std::vector<std::wstring> changes = Changes();
  std::erase_if(changes, [](const std::wstring& change) { return change.find(L":Team") == std::wstring::npos; });
  const std::wstring instance = L"+" + Machine::InstanceKey(0x20);
  EXPECT_THAT(changes, ::testing::UnorderedElementsAre(instance + name, instance + type, L"+" + m_key + name,
                                                       L"+" + m_key + type, L"+" + m_key + guid));
  // A key that is there keeps its values.
  m_machine.WriteText(m_key, L"TeamName", L"other");
  m_before = m_machine.Registry();
  EXPECT_HRESULT(S_OK, team.InsertRegistryParams(component.Get()));
  EXPECT_THAT(Changes(), IsEmpty());
  tests::TakeDebugOutput();
  EXPECT_HRESULT(S_OK, team.DeInstall());
  EXPECT_EQ(tests::TakeDebugOutput().back(), L"   Deleting the registry key: " + Machine::InstanceId(0x20) + L".\n");
  EXPECT_EQ(m_machine.Registry().count(m_key + L":TeamName"), 0u);
  // A miniport that has gone already leaves its key.
  m_machine.WriteText(m_key, L"TeamName", L"Both");
  EXPECT_HRESULT(S_FALSE, team.DeInstall());
  EXPECT_EQ(m_machine.Registry().count(m_key + L":TeamName"), 1u);
}

TEST_F(Team, IsWrittenIntoItsMembersKeys) {
  m_machine.WriteText(m_adapter, L"TeamDeviceName", (L"x\\" + Machine::InstanceId(0x20)).c_str());
  m_machine.WriteText(m_adapter, L"PrimaryAdapterGuid", Machine::InstanceId(7).c_str());
  qvrn::CMuxTeamMiniport team(m_netCfg, &kTeam, nullptr, 0);
  EXPECT_FALSE(team.IsPrimaryAdapter(kAdapter));
  EXPECT_HRESULT(S_OK, team.LoadConfiguration());
  EXPECT_TRUE(team.IsPrimaryAdapter(kAdapter));
  EXPECT_FALSE(team.IsPrimaryAdapter(kTeam));
  m_before = m_machine.Registry();
  EXPECT_HRESULT(S_OK, team.ApplyRegistryChanges(qvrn::ActionRemove, &kAdapter));
  EXPECT_THAT(Changes(), ElementsAre(L"-" + m_adapter + L":PrimaryAdapterGuid", L"-" + m_adapter + L":TeamDeviceName"));
  EXPECT_HRESULT(0x80070002, team.ApplyRegistryChanges(qvrn::ActionRemove, &kAdapter));
  EXPECT_HRESULT(S_OK, team.ApplyRegistryChanges(qvrn::ActionAdd, &kAdapter));
  const auto text = [](const std::wstring& value) { return tests::TextValue(value.c_str()); };
  EXPECT_THAT(Changes(),
              ElementsAre(L"+" + m_adapter + L":PrimaryAdapterGuid = " + text(Machine::InstanceId(7)),
                          L"+" + m_adapter + L":TeamDeviceName = " + text(L"\\Device\\" + Machine::InstanceId(0x20))));
}

TEST_F(Team, IsFoundByItsNameWhereItsMiniportIsUnknown) {
  qvrn::CMuxTeamMiniport team(m_netCfg, nullptr, L"Both", 0);
  EXPECT_HRESULT(0x80070034, team.LoadConfiguration());
  m_machine.WriteText(Machine::InstanceKey(0x20), L"TeamName", L"Both");
  EXPECT_HRESULT(0x80070002, team.LoadConfiguration()) << "no driver";
  m_machine.WriteText(m_adapter, L"TeamDeviceName", Machine::InstanceId(0x20).c_str());
  EXPECT_HRESULT(E_FAIL, team.LoadConfiguration()) << "nobody's";
  GUID guid = {};
  team.GetMiniportGUID(&guid);
  EXPECT_TRUE(guid == kTeam);
}

TEST_F(Team, AnAdaptersKeyGoesWithIt) {
  m_machine.WriteText(m_adapter, L"x", L"");
  qvrn::CMuxPhysicalAdapter adapter(m_netCfg, kAdapter);
  EXPECT_HRESULT(0x80070490, adapter.RemoveMiniport(nullptr));
  EXPECT_HRESULT(S_OK, adapter.ApplyRegistryChanges(qvrn::ActionNone));
  m_before = m_machine.Registry();
  EXPECT_HRESULT(S_OK, adapter.ApplyRegistryChanges(qvrn::ActionRemove));
  EXPECT_THAT(Changes(), ElementsAre(L"-" + m_adapter + L":", L"-" + m_adapter + L":x"));
}

}  // namespace
