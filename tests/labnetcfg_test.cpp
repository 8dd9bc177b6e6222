// The lab's network configuration where tests of the product would lie if it were wrong: who holds the lock, which call
// fails, what stays in the registry.
#include "lab/netcfg/netcfg.h"

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "lab/labkey.h"
#include "tests/support/hresult.h"
#include "tests/support/machine.h"
#include "tests/support/netcfgclient.h"
#include "tests/support/registrysnapshot.h"

namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using tests::kNetClass;
using tests::kTransportClass;
using tests::Session;
using Texts = std::vector<std::wstring>;

const std::wstring kControl = L"SYSTEM\\CurrentControlSet\\";
const std::wstring kAdapter = L"{00000007-0000-0000-0000-000000000000}";

HRESULT Enumerate(const Session& session) {
  ComPtr<IEnumNetCfgComponent> components;
  return session.netCfg->EnumComponents(&tests::kNetClass, &components);
}

HRESULT Install(const Session& session, const GUID& classGuid, const wchar_t* id) {
  return session.Setup(classGuid)->Install(id, nullptr, 0, 0, nullptr, nullptr, nullptr);
}

HRESULT Remove(const Session& session, const GUID& classGuid, const wchar_t* id) {
  return session.Setup(classGuid)->DeInstall(session.Find(id).Get(), nullptr, nullptr);
}

/// An adapter, a transport and a client.
class LabNetCfg : public ::testing::Test {
 protected:
  LabNetCfg() {
    m_machine.AddAdapter(7);
    m_machine.WriteText(kControl + L"Services", L"", L"");
    m_machine.WriteText(kControl + L"Enum\\ROOT", L"", L"");
    Add(L"{4D36E973-E325-11CE-BFC1-08002bE10318}", L"ms_msclient", 3);
    Add(L"{4D36E975-E325-11CE-BFC1-08002bE10318}", L"ms_tcpip", 5);
  }
  void TearDown() override { EXPECT_EQ(lab::LiveNetCfgObjects(), m_alive); }

  void Add(const std::wstring& classGuid, const wchar_t* id, DWORD instance) {
    const std::wstring key = kControl + L"Control\\Class\\" + classGuid + L"\\0000";
    m_machine.WriteText(key, L"ComponentId", id);
    m_machine.WriteText(key, L"NetCfgInstanceId", tests::Machine::InstanceId(instance).c_str());
  }

  tests::Machine m_machine;
  const long m_alive = lab::LiveNetCfgObjects();  ///< what tests of others keep
};

TEST_F(LabNetCfg, RefusesWhatThenChangesNothing) {
  const struct {
    bool hasLock;
    std::function<HRESULT(const Session&)> call;
    HRESULT expected;
  } rows[] = {
      {false, [](const Session& s) { return s.Acquire(0, L"late"); }, NETCFG_E_ALREADY_INITIALIZED},
      {false, [](const Session& s) { return s.netCfg->Apply(); }, NETCFG_E_NO_WRITE_LOCK},
      {false, [](const Session& s) { return Install(s, kNetClass, L"qvrn_muxmp"); }, NETCFG_E_NO_WRITE_LOCK},
      {false, [](const Session& s) { return Remove(s, kTransportClass, L"ms_tcpip"); }, NETCFG_E_NO_WRITE_LOCK},
      {false, [](const Session& s) { return s.Find(L"ms_tcpip")->SetDisplayName(L"New"); }, NETCFG_E_NO_WRITE_LOCK},
      {false, [](const Session& s) { return tests::Paths(s.Find(L"ms_tcpip").Get())[0]->Enable(FALSE); },
       NETCFG_E_NO_WRITE_LOCK},
      {true, [](const Session& s) { return Remove(s, kNetClass, L"ms_tcpip"); }, E_INVALIDARG},
      {true, [](const Session& s) { return Install(s, kNetClass, L"qvrn_muxp"); }, SPAPI_E_NO_DRIVER_SELECTED},
      {true, [](const Session& s) { return s.netCfg->Uninitialize() + Enumerate(s); }, NETCFG_E_NOT_INITIALIZED},
  };
  const tests::Snapshot before = tests::TakeSnapshot(HKEY_LOCAL_MACHINE);
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    EXPECT_HRESULT(row.expected, row.call(Session(row.hasLock)));
  }
  EXPECT_EQ(tests::Changes(before, tests::TakeSnapshot(HKEY_LOCAL_MACHINE)), Texts{});
}

TEST_F(LabNetCfg, LockBelongsToOneObjectUntilItIsReleasedOrGone) {
  m_machine.WriteNumber(lab::kLabKey, L"LockWait", 60);
  Session second;
  std::wstring holder;
  {
    const Session first;
    ASSERT_EQ(first.Acquire(0, L"FIRST"), S_OK);
    EXPECT_EQ(first.Acquire(0, L"FIRST"), S_OK);
    EXPECT_EQ(second.Acquire(60000, L"SECOND", &holder), S_FALSE) << "the same thread, another object";
    EXPECT_EQ(holder, L"FIRST");
    EXPECT_EQ(second.lock->ReleaseWriteLock(), NETCFG_E_NO_WRITE_LOCK);
    EXPECT_EQ(first.lock->ReleaseWriteLock(), S_OK);
    EXPECT_EQ(Session().Acquire(0, L"OTHER", &holder), S_OK);
    EXPECT_EQ(holder, L"(null)");
    EXPECT_EQ(first.Acquire(0, L"FIRST AGAIN"), S_OK);
  }
  EXPECT_EQ(second.Acquire(0, L"SECOND"), S_OK);
  m_machine.WriteNumber(lab::kLabKey, L"LockWait", 20000);
  std::thread release([&] {
    ::Sleep(60);
    second.lock->ReleaseWriteLock();
  });
  EXPECT_EQ(Session().Acquire(20000, L"WAITING"), S_OK);
  release.join();
  m_machine.WriteText(lab::kLabKey, L"ForeignLock", L"Some tool");
  EXPECT_EQ(Session().Acquire(0, L"c", &holder), S_FALSE);
  EXPECT_EQ(holder, L"Some tool");
}

TEST_F(LabNetCfg, FailsByCountOverAllObjects) {
  const struct {
    const wchar_t* call;
    const wchar_t* setting;
    std::vector<HRESULT> results;  ///< of four calls, two each on two objects
  } rows[] = {
      {L"INetCfg::EnumComponents", L"0x80004005 3", {E_FAIL, E_FAIL, E_FAIL, S_OK}},
      {L"INetCfg::EnumComponents", L"0x80004005 1 2", {S_OK, S_OK, E_FAIL, S_OK}},
      {L"INetCfg::EnumComponents", L"0x8000FFFF", {E_UNEXPECTED, S_OK, S_OK, S_OK}},
      {L"*", L"0x80004005 1 6", {S_OK, S_OK, E_FAIL, S_OK}},
  };
  const std::wstring failures = std::wstring(lab::kLabKey) + L"\\Failures";
  for (const auto& row : rows) {
    SCOPED_TRACE(row.setting);
    m_machine.WriteText(failures, row.call, row.setting);
    std::vector<HRESULT> results;
    for (int object = 0; object < 2; ++object) {
      const Session session(false);
      for (int call = 0; call < 2; ++call) results.push_back(Enumerate(session));
    }
    EXPECT_EQ(results, row.results);
    m_machine.DeleteValue(failures, row.call);
  }
}

TEST_F(LabNetCfg, RemovingTakesBackWhatInstallingAndBindingMade) {
  const tests::Snapshot before = tests::TakeSnapshot(HKEY_LOCAL_MACHINE);
  const Session session(true);
  const Session earlier(false);
  const auto states = [](const Session& s) { return tests::PathStates(s.Find(tests::Machine::kServed).Get()); };
  const auto switchAll = [&] {
    for (const auto& path : tests::Paths(session.Find(tests::Machine::kServed).Get())) {
      EXPECT_EQ(path->Enable(path->IsEnabled() == S_OK ? FALSE : TRUE), S_OK);
    }
  };
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(Install(session, kTransportClass, L"qvrn_muxp"), S_OK) << "there is one";
    EXPECT_EQ(Install(session, kNetClass, L"qvrn_muxmp"), S_OK) << "a new one each time";
  }
  EXPECT_EQ(earlier.Find(L"qvrn_muxp"), nullptr) << "components are loaded once per Initialize";
  const Texts atFirst = {L"+ms_tcpip->" + kAdapter, L"+ms_msclient->ms_tcpip->" + kAdapter, L"-qvrn_muxp->" + kAdapter};
  EXPECT_EQ(states(session), atFirst);
  switchAll();
  EXPECT_THAT(states(Session(false)),
              ElementsAre(L"-" + atFirst[0].substr(1), L"-" + atFirst[1].substr(1), L"+" + atFirst[2].substr(1)));
  switchAll();
  EXPECT_THAT(tests::PathStates(session.Find(L"qvrn_muxmp").Get()), ::testing::SizeIs(2)) << "not through the driver";
  EXPECT_EQ(Remove(session, kTransportClass, L"qvrn_muxp"), S_OK);
  EXPECT_EQ(Remove(session, kNetClass, L"qvrn_muxmp"), S_OK);
  EXPECT_EQ(Remove(session, kNetClass, L"qvrn_muxmp"), S_OK);
  EXPECT_EQ(tests::Changes(before, tests::TakeSnapshot(HKEY_LOCAL_MACHINE)), Texts{});
}

}  // namespace
