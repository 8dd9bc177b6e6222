// Installing, removing and binding components: what the registry says afterwards, and what other sessions see.
#include <windows.h>

#include <netcfgx.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "lab/labkey.h"
#include "lab/netcfg/netcfg.h"
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
using Texts = std::vector<std::wstring>;

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

Texts States(const Session& session, const wchar_t* id, DWORD flags = EBP_ABOVE) {
  return tests::PathStates(session.Find(id).Get(), flags);
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
    Texts keys;  ///< new ones
  } rows[] = {
      {kTransportClass,
       L"qvrn_muxp",
       {kTransports + L"\\0001:", kControl + L"Services\\muxp:", kControl + L"Services\\muxp\\Parameters:",
        kControl + L"Services\\muxp\\Parameters\\Adapters:"}},
      {kNetClass,
       L"qvrn_muxmp",
       {kClasses + L"{4D36E972-E325-11CE-BFC1-08002bE10318}\\0000:", kControl + L"Enum\\ROOT\\QVRN_MUXMP:",
        kControl + L"Enum\\ROOT\\QVRN_MUXMP\\0000:"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.id);
    const Session session(true);
    const tests::Snapshot before = WholeRegistry();
    const auto component = Install(session, row.classGuid, row.id);
    ASSERT_NE(component, nullptr);
    EXPECT_EQ(BindName(Session(false).Find(row.id).Get()), BindName(component.Get())) << "there for others";
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
  const auto enable = [](const Session& session) {
    return tests::Paths(session.Find(L"ms_tcpip").Get())[0]->Enable(FALSE);
  };
  const struct {
    const char* name;
    std::function<HRESULT(const Session&)> call;
    HRESULT expected;
    bool lock;
  } rows[] = {
      {"install without lock", install(kNetClass, L"qvrn_muxmp"), NETCFG_E_NO_WRITE_LOCK, false},
      {"unknown component", install(kNetClass, L"qvrn_other"), SPAPI_E_NO_DRIVER_SELECTED, true},
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
      {L"qvrn_muxp", EBP_BELOW, {L"-qvrn_muxp->" + kAdapter}},
  };
  const Session other(false);
  for (const auto& row : rows) {
    EXPECT_EQ(States(session, row.id, row.flags), row.states);
    EXPECT_EQ(States(other, row.id, row.flags), row.states) << "the same names for every session";
  }
}

}  // namespace
