// Installing, removing and binding components: what the registry says afterwards, and what other sessions see.
#include <windows.h>

#include <netcfgx.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "lab/labkey.h"
#include "lab/netcfg.h"
#include "platform/comtext.h"
#include "tests/support/hresult.h"
#include "tests/support/machine.h"
#include "tests/support/netcfgclient.h"
#include "tests/support/registrysnapshot.h"

namespace {

using Microsoft::WRL::ComPtr;
using tests::BindName;
using tests::kNetClass;
using tests::kTransportClass;
using tests::Session;
using tests::Token;
using Texts = std::vector<std::wstring>;
using ::testing::ElementsAre;

const std::wstring kControl = L"SYSTEM\\CurrentControlSet\\";
const std::wstring kClasses = kControl + L"Control\\Class\\";
const std::wstring kTransports = kClasses + L"{4D36E975-E325-11CE-BFC1-08002bE10318}";
const std::wstring kAdapter = L"{00000007-0000-0000-0000-000000000000}";

tests::Snapshot WholeRegistry() { return tests::TakeSnapshot(HKEY_LOCAL_MACHINE, {lab::kLabKey}); }

ComPtr<INetCfgComponent> Install(const Session& session, const GUID& classGuid, const wchar_t* id) {
  OBO_TOKEN user = {};
  user.Type = OBO_USER;
  ComPtr<INetCfgComponent> component;
  EXPECT_HRESULT(S_OK, session.Setup(classGuid)->Install(id, &user, 0, 0, nullptr, nullptr, &component));
  return component;
}

HRESULT Remove(const Session& session, const GUID& classGuid, INetCfgComponent* component) {
  return session.Setup(classGuid)->DeInstall(component, nullptr, nullptr);
}

tests::BindingPaths Paths(const Session& session, const wchar_t* id, DWORD flags = EBP_ABOVE) {
  return tests::Paths(session.Find(id).Get(), flags);
}

/// "+TOKEN" of an enabled path and "-TOKEN" of a disabled one.
Texts States(const Session& session, const wchar_t* id, DWORD flags = EBP_ABOVE) {
  Texts states;
  for (const auto& path : Paths(session, id, flags)) {
    states.push_back((path->IsEnabled() == S_OK ? L"+" : L"-") + Token(path.Get()));
  }
  return states;
}

/// An adapter, a transport, a client and a service.
class LabNetCfgSetup : public ::testing::Test {
 protected:
  LabNetCfgSetup() {
    m_machine.AddAdapter(7);
    m_machine.WriteText(kControl + L"Services", L"", L"");
    m_machine.WriteText(kControl + L"Enum\\ROOT", L"", L"");
    Add(kClasses + L"{4D36E973-E325-11CE-BFC1-08002bE10318}\\0000", L"ms_msclient", 3);
    Add(kClasses + L"{4D36E974-E325-11CE-BFC1-08002bE10318}\\0000", L"ms_server", 4);
    Add(kTransports + L"\\0000", L"ms_tcpip", 5);
  }
  void TearDown() override { EXPECT_EQ(lab::LiveNetCfgObjects(), m_alive); }

  void Add(const std::wstring& key, const wchar_t* id, DWORD instance) {
    m_machine.WriteText(key, L"ComponentId", id);
    m_machine.WriteText(key, L"NetCfgInstanceId", tests::Machine::InstanceId(instance).c_str());
  }

  tests::Machine m_machine;
  const long m_alive = lab::LiveNetCfgObjects();  ///< what tests of others keep
};

TEST_F(LabNetCfgSetup, RemovingTakesBackWhatInstallingMade) {
  const struct {
    const GUID& classGuid;
    const wchar_t* id;
    const wchar_t* description;
    Texts keys;  ///< new ones
  } rows[] = {
      {kTransportClass,
       L"qvrn_muxp",
       L"Quorvane Intermediate VLAN Driver",
       {kTransports + L"\\0001:", kControl + L"Services\\muxp:", kControl + L"Services\\muxp\\Parameters:",
        kControl + L"Services\\muxp\\Parameters\\Adapters:"}},
      {kNetClass,
       L"qvrn_muxmp",
       L"Quorvane Virtual Miniport Driver",
       {kClasses + L"{4D36E972-E325-11CE-BFC1-08002bE10318}\\0000:", kControl + L"Enum\\ROOT\\QVRN_MUXMP:",
        kControl + L"Enum\\ROOT\\QVRN_MUXMP\\0000:"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.id);
    const Session session(true);
    const tests::Snapshot before = WholeRegistry();
    const auto component = Install(session, row.classGuid, row.id);
    ASSERT_NE(component, nullptr);
    EXPECT_EQ(BindName(session.Find(row.id).Get()), BindName(component.Get())) << "there at once";
    EXPECT_EQ(BindName(Session(false).Find(row.id).Get()), BindName(component.Get())) << "there for others";
    qvrn::TaskText name;
    EXPECT_EQ(component->GetDisplayName(name.Put()), S_OK);
    EXPECT_STREQ(name.Get(), row.description);
    Texts keys;
    for (const auto& [key, value] : WholeRegistry()) {
      if (key.ends_with(L':') && before.count(key) == 0) keys.push_back(key);
    }
    EXPECT_THAT(keys, ::testing::UnorderedElementsAreArray(row.keys));
    EXPECT_HRESULT(S_OK, Remove(session, row.classGuid, component.Get()));
    EXPECT_EQ(tests::Changes(before, WholeRegistry()), Texts{});
    EXPECT_EQ(session.Find(row.id), nullptr);
    EXPECT_HRESULT(SPAPI_E_NO_SUCH_DEVINST, Remove(session, row.classGuid, component.Get()));
  }
}

TEST_F(LabNetCfgSetup, EveryMiniportIsADeviceAndTheProtocolExistsOnce) {
  m_machine.AddAdapter(1);
  const Session session(true);
  const auto protocol = Install(session, kTransportClass, L"qvrn_muxp");
  EXPECT_EQ(BindName(Install(session, kTransportClass, L"QVRN_MUXP").Get()), BindName(protocol.Get()));
  ComPtr<INetCfgComponent> miniports[3];
  Texts devices;
  for (auto& miniport : miniports) {
    miniport = Install(session, kNetClass, L"qvrn_muxmp");
    ASSERT_NE(miniport, nullptr);
    qvrn::TaskText device;
    ULONG problem = 99;
    EXPECT_EQ(miniport->GetPnpDevNodeId(device.Put()), S_OK);
    EXPECT_EQ(miniport->GetDeviceStatus(&problem), S_OK);
    devices.emplace_back(device.Get());
  }
  EXPECT_THAT(devices, ElementsAre(L"ROOT\\QVRN_MUXMP\\0000", L"ROOT\\QVRN_MUXMP\\0001", L"ROOT\\QVRN_MUXMP\\0002"));
  for (const DWORD index : {0, 2, 3}) EXPECT_EQ(m_machine.Stored(index, L"ComponentId"), L"qvrn_muxmp") << index;
  EXPECT_HRESULT(S_OK, Remove(session, kNetClass, miniports[1].Get()));
  EXPECT_EQ(m_machine.Stored(2, L"ComponentId"), std::nullopt);
  EXPECT_EQ(m_machine.Stored(3, L"NetCfgInstanceId"), BindName(miniports[2].Get())) << "the others stay";
}

TEST_F(LabNetCfgSetup, RefusesWhatThePlatformRefuses) {
  const auto install = [](const GUID& classGuid, const wchar_t* id) {
    return [=](const Session& session) {
      ComPtr<INetCfgComponent> component;
      const HRESULT hr = session.Setup(classGuid)->Install(id, nullptr, 0, 0, nullptr, nullptr, &component);
      EXPECT_EQ(component, nullptr);
      return hr;
    };
  };
  const auto remove = [](const GUID& classGuid) {
    return [=](const Session& session) { return Remove(session, classGuid, session.Find(L"ms_tcpip").Get()); };
  };
  const auto enable = [](const Session& session) { return Paths(session, L"ms_tcpip")[0]->Enable(FALSE); };
  const struct {
    const char* name;
    std::function<HRESULT(const Session&)> call;
    HRESULT expected;
    bool lock;
  } rows[] = {
      {"install without lock", install(kNetClass, L"qvrn_muxmp"), NETCFG_E_NO_WRITE_LOCK, false},
      {"unknown component", install(kNetClass, L"qvrn_other"), SPAPI_E_NO_DRIVER_SELECTED, true},
      {"component of another class", install(kNetClass, L"qvrn_muxp"), SPAPI_E_NO_DRIVER_SELECTED, true},
      {"no id", install(kNetClass, nullptr), E_INVALIDARG, true},
      {"remove without lock", remove(kTransportClass), NETCFG_E_NO_WRITE_LOCK, false},
      {"remove from another class", remove(kNetClass), E_INVALIDARG, true},
      {"enable without lock", enable, NETCFG_E_NO_WRITE_LOCK, false},
  };
  const tests::Snapshot before = WholeRegistry();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_HRESULT(row.expected, row.call(Session(row.lock)));
  }
  EXPECT_EQ(tests::Changes(before, WholeRegistry()), Texts{});
}

TEST_F(LabNetCfgSetup, PathsLeadFromProtocolsToAdapters) {
  const Session session(true);
  Install(session, kTransportClass, L"qvrn_muxp");
  const std::wstring miniport = BindName(Install(session, kNetClass, L"qvrn_muxmp").Get());
  const struct {
    const wchar_t* id;
    DWORD flags;
    Texts states;
  } rows[] = {
      {tests::Machine::kServed,
       EBP_ABOVE,
       {L"+ms_tcpip->" + kAdapter, L"+ms_msclient->ms_tcpip->" + kAdapter, L"+ms_server->ms_tcpip->" + kAdapter,
        L"-qvrn_muxp->" + kAdapter}},
      {L"qvrn_muxmp",
       EBP_ABOVE,
       {L"+ms_tcpip->" + miniport, L"+ms_msclient->ms_tcpip->" + miniport, L"+ms_server->ms_tcpip->" + miniport}},
      {L"ms_tcpip", EBP_ABOVE, {L"+ms_msclient->ms_tcpip", L"+ms_server->ms_tcpip"}},
      {L"ms_tcpip", EBP_BELOW, {L"+ms_tcpip->" + miniport, L"+ms_tcpip->" + kAdapter}},
      {L"qvrn_muxp", EBP_ABOVE, {}},
      {L"qvrn_muxp", EBP_BELOW, {L"-qvrn_muxp->" + kAdapter}},
  };
  const Session other(false);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.flags);
    EXPECT_EQ(States(session, row.id, row.flags), row.states);
    EXPECT_EQ(States(other, row.id, row.flags), row.states) << "the same names for every session";
  }
}

TEST_F(LabNetCfgSetup, StatesOfPathsOutliveTheSession) {
  const tests::Snapshot clean = WholeRegistry();
  ComPtr<INetCfgComponent> protocol;
  tests::Snapshot installed;
  {
    const Session first(true);
    protocol = Install(first, kTransportClass, L"qvrn_muxp");
    installed = WholeRegistry();
    for (const auto& path : Paths(first, tests::Machine::kServed)) {
      EXPECT_HRESULT(S_OK, path->Enable(Token(path.Get()) == L"qvrn_muxp->" + kAdapter));
    }
    first.netCfg->Uninitialize();
    first.lock->ReleaseWriteLock();
  }
  const Session second(true);
  EXPECT_THAT(States(second, tests::Machine::kServed),
              ElementsAre(L"-ms_tcpip->" + kAdapter, L"-ms_msclient->ms_tcpip->" + kAdapter,
                          L"-ms_server->ms_tcpip->" + kAdapter, L"+qvrn_muxp->" + kAdapter));
  const auto paths = Paths(second, tests::Machine::kServed);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_HRESULT(S_OK, paths[i]->Enable(TRUE));
  EXPECT_HRESULT(S_OK, paths[3]->Enable(FALSE));
  EXPECT_EQ(tests::Changes(installed, WholeRegistry()), Texts{}) << "back to where it began";
  EXPECT_HRESULT(S_OK, paths[3]->Enable(TRUE));
  EXPECT_HRESULT(S_OK, Remove(second, kTransportClass, protocol.Get())) << "a component of an earlier session";
  EXPECT_EQ(tests::Changes(clean, WholeRegistry()), Texts{}) << "a removed component leaves no state";
}

}  // namespace
