// The lab's network configuration in what scenarios do not show: who holds the lock, and what stays in the registry.
#include "lab/netcfg/netcfg.h"

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/functiontest.h"
#include "tests/support/netcfgclient.h"

namespace {

using ::testing::ElementsAre;
using tests::kNetClass;
using tests::kTransportClass;
using tests::Session;
using Texts = std::vector<std::wstring>;

const std::wstring kAdapter = L"{00000007-0000-0000-0000-000000000000}";

HRESULT Install(const Session& session, const GUID& classGuid, const wchar_t* id) {
  return session.Setup(classGuid)->Install(id, nullptr, 0, 0, nullptr, nullptr, nullptr);
}

HRESULT Remove(const Session& session, const GUID& classGuid, const wchar_t* id) {
  return session.Setup(classGuid)->DeInstall(session.Find(id).Get(), nullptr, nullptr);
}

/// An adapter, a transport and a client.
class LabNetCfg : public tests::FunctionTest {
 protected:
  LabNetCfg() {
    Tell(
        "machine one; registry-set SYSTEM\\CurrentControlSet\\Services; "
        "registry-set SYSTEM\\CurrentControlSet\\Enum\\ROOT");
    const std::string clients =
        "SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E973-E325-11CE-BFC1-08002bE10318}\\0000";
    Tell("registry-set " + clients + ":ComponentId \"ms_msclient\"; registry-set " + clients +
         ":NetCfgInstanceId \"{3}\"");
  }
  void TearDown() override { EXPECT_EQ(lab::LiveNetCfgObjects(), m_alive); }

  const long m_alive = lab::LiveNetCfgObjects();  ///< what tests of others keep
};

TEST_F(LabNetCfg, LockBelongsToOneObjectUntilItIsReleasedOrGone) {
  const Session second;
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
}

TEST_F(LabNetCfg, RemovingTakesBackWhatInstallingAndBindingMade) {
  const scenario::Snapshot before = scenario::TakeSnapshot(HKEY_LOCAL_MACHINE);
  const Session session(true);
  const Session earlier(false);
  const auto states = [](const Session& s) { return tests::PathStates(s.Find(L"qvx4\\halvex_eth").Get()); };
  const auto switchAll = [&] {
    for (const auto& path : tests::Paths(session.Find(L"qvx4\\halvex_eth").Get())) {
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
  EXPECT_THAT(scenario::Changes(before, scenario::TakeSnapshot(HKEY_LOCAL_MACHINE)), ::testing::IsEmpty());
}

}  // namespace
