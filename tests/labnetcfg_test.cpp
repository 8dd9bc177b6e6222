// The lab's network configuration in what scenarios do not show: who holds the lock, and what stays in the registry.
#include "lab/netcfg/netcfg.h"

#include <windows.h>

#include <devguid.h>
#include <netcfgx.h>

#include "platform/comtext.h"
#include "tests/support/functiontest.h"

namespace {

using Microsoft::WRL::ComPtr;
using ::testing::ElementsAre;
using Texts = std::vector<std::wstring>;

const std::wstring kAdapter = L"{00000007-0000-0000-0000-000000000000}";

/// The binding paths that end in a component.
std::vector<ComPtr<INetCfgBindingPath>> Paths(INetCfgComponent* component) {
  std::vector<ComPtr<INetCfgBindingPath>> found;
  ComPtr<INetCfgComponentBindings> bindings;
  ComPtr<IEnumNetCfgBindingPath> paths;
  ComPtr<INetCfgBindingPath> path;
  EXPECT_EQ(component->QueryInterface(IID_PPV_ARGS(&bindings)), S_OK);
  EXPECT_EQ(bindings->EnumBindingPaths(EBP_ABOVE, &paths), S_OK);
  while (paths->Next(1, &path, nullptr) == S_OK) found.push_back(path);
  return found;
}

/// "+TOKEN" of each enabled path that ends in a component, "-TOKEN" of each disabled one.
std::vector<std::wstring> PathStates(INetCfgComponent* component) {
  std::vector<std::wstring> states;
  for (const auto& path : Paths(component)) {
    qvrn::TaskText token;
    EXPECT_EQ(path->GetPathToken(token.Put()), S_OK);
    states.push_back((path->IsEnabled() == S_OK ? L"+" : L"-") + std::wstring(token.Get()));
  }
  return states;
}

/// A client's session.
struct Session {
  ComPtr<INetCfg> netCfg;
  ComPtr<INetCfgLock> lock;

  Session() {
    EXPECT_EQ(lab::NetCfgClassFactory()->CreateInstance(nullptr, IID_PPV_ARGS(&netCfg)), S_OK);
    EXPECT_EQ(netCfg.As(&lock), S_OK);
  }
  /// One that is ready for changes, or for questions only.
  explicit Session(bool withLock) : Session() {
    EXPECT_EQ(withLock ? Acquire(0, L"test") : S_OK, S_OK);
    EXPECT_EQ(netCfg->Initialize(nullptr), S_OK);
  }

  HRESULT Acquire(DWORD timeout, const wchar_t* client, std::wstring* holder = nullptr) const {
    qvrn::TaskText name;
    const HRESULT hr = lock->AcquireWriteLock(timeout, client, name.Put());
    if (holder != nullptr) *holder = name.Get() == nullptr ? L"(null)" : name.Get();
    return hr;
  }
  ComPtr<INetCfgComponent> Find(const wchar_t* id) const {
    ComPtr<INetCfgComponent> component;
    netCfg->FindComponent(id, &component);
    return component;
  }
  ComPtr<INetCfgClassSetup> Setup(const GUID& classGuid) const {
    ComPtr<INetCfgClassSetup> setup;
    EXPECT_EQ(netCfg->QueryNetCfgClass(&classGuid, IID_PPV_ARGS(&setup)), S_OK);
    return setup;
  }
};

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
  const auto states = [](const Session& s) { return PathStates(s.Find(L"qvx4\\halvex_eth").Get()); };
  const auto switchAll = [&] {
    for (const auto& path : Paths(session.Find(L"qvx4\\halvex_eth").Get())) {
      EXPECT_EQ(path->Enable(path->IsEnabled() == S_OK ? FALSE : TRUE), S_OK);
    }
  };
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(Install(session, GUID_DEVCLASS_NETTRANS, L"qvrn_muxp"), S_OK) << "there is one";
    EXPECT_EQ(Install(session, GUID_DEVCLASS_NET, L"qvrn_muxmp"), S_OK) << "a new one each time";
  }
  EXPECT_EQ(earlier.Find(L"qvrn_muxp"), nullptr) << "components are loaded once per Initialize";
  const Texts atFirst = {L"+ms_tcpip->" + kAdapter, L"+ms_msclient->ms_tcpip->" + kAdapter, L"-qvrn_muxp->" + kAdapter};
  EXPECT_EQ(states(session), atFirst);
  switchAll();
  EXPECT_THAT(states(Session(false)),
              ElementsAre(L"-" + atFirst[0].substr(1), L"-" + atFirst[1].substr(1), L"+" + atFirst[2].substr(1)));
  switchAll();
  EXPECT_THAT(PathStates(session.Find(L"qvrn_muxmp").Get()), ::testing::SizeIs(2)) << "not through the driver";
  EXPECT_EQ(Remove(session, GUID_DEVCLASS_NETTRANS, L"qvrn_muxp"), S_OK);
  EXPECT_EQ(Remove(session, GUID_DEVCLASS_NET, L"qvrn_muxmp"), S_OK);
  EXPECT_EQ(Remove(session, GUID_DEVCLASS_NET, L"qvrn_muxmp"), S_OK);
  EXPECT_THAT(scenario::Changes(before, scenario::TakeSnapshot(HKEY_LOCAL_MACHINE)), ::testing::IsEmpty());
}

}  // namespace
