// The notify core against the lab: whole flows, refusals, and a sweep of failing calls.
#include "mux/notifyob/notify.h"

#include <netcfgx.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "lab/labkey.h"
#include "lab/netcfg/netcfg.h"
#include "mux/notifyob/notifytrace.h"
#include "tests/support/hresult.h"
#include "tests/support/imports.h"
#include "tests/support/netcfgclient.h"
#include "tests/support/vlanmachine.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using tests::Machine;
using Texts = std::vector<std::wstring>;
using Lines = std::vector<std::string>;

const std::wstring kAdapters = L"System\\CurrentControlSet\\Services\\muxp\\Parameters\\Adapters";
const std::wstring kFailures = std::wstring(lab::kLabKey) + L"\\Failures";

Lines g_printed;
std::vector<DWORD> g_pauses;

// A machine with the intermediate driver, and what the engine printed and waited for.
class Bench {
 public:
  Bench() {
    g_printed.clear();
    g_pauses.clear();
    qvrn::SetPrinter([](const char* text) { g_printed.push_back(text); });
    qvrn::SetSleeper([](DWORD milliseconds) { g_pauses.push_back(milliseconds); });
    const tests::Session session(true);
    Microsoft::WRL::ComPtr<INetCfgComponent> driver;
    EXPECT_HRESULT(
        S_OK, session.Setup(tests::kTransportClass)->Install(L"qvrn_muxp", nullptr, 0, 0, nullptr, nullptr, &driver));
  }

  HRESULT Add(const wchar_t* id, const wchar_t* name, const wchar_t* priority = L"0") {
    return AddTo(adapter, id, name, priority);
  }
  HRESULT AddTo(const std::wstring& above, const wchar_t* id, const wchar_t* name, const wchar_t* priority = L"0") {
    wchar_t guid[64] = L"";
    const HRESULT hr = qvrn::ConfigureVlanMiniport(above.c_str(), guid, true, id, name, priority);
    newest = guid;
    return hr;
  }
  HRESULT Remove(std::wstring guid) {
    return qvrn::ConfigureVlanMiniport(adapter.c_str(), guid.data(), false, L"", L"", L"");
  }

  // Entries of UpperBindings.
  Texts UpperBindings() const {
    qvrn::RegistryKey bindings;
    bindings.Open(HKEY_LOCAL_MACHINE, key.c_str(), KEY_READ);
    return tests::MultiString(bindings, L"UpperBindings");
  }
  // `entries` end with a zero each.
  void StoreUpperBindings(std::wstring entries) {
    entries += L'\0';
    machine.WriteBytes(key, L"UpperBindings", REG_MULTI_SZ, entries.data(), entries.size() * sizeof(wchar_t));
  }

  // States of the paths above adapter 7.
  static Texts Paths() { return tests::PathStates(tests::Session(false).Find(Machine::kServed).Get()); }
  // Instance GUID of the intermediate driver.
  static std::wstring Driver() { return tests::BindName(tests::Session(false).Find(L"qvrn_muxp").Get()); }

  const std::wstring adapter = Machine::InstanceId(7);
  const std::wstring key = kAdapters + L"\\" + adapter;
  tests::VlanMachine machine;
  std::wstring newest;
};

std::wstring Replaced(std::wstring text, const std::wstring& from, const std::wstring& to) {
  for (std::size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::wstring::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// Traces with the adapter's and the miniport's GUIDs as {7} and {NEW}, the transport's and the driver's left out of it.
Texts Traces(const std::wstring& miniport) {
  Texts traces;
  for (std::wstring trace : tests::TakeDebugOutput()) {
    trace = Replaced(std::move(trace), Machine::InstanceId(7), L"{7}");
    traces.push_back(Replaced(std::move(trace), miniport, L"{NEW}"));
  }
  return traces;
}

Texts Joined(std::initializer_list<Texts> parts) {
  Texts all;
  for (const Texts& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// The traces of a function that tells of its beginning and its end.
Texts Scope(const std::wstring& name, const Texts& inside = {}, const std::wstring& result = L"") {
  return Joined({{L"-->" + name + L".\n"}, inside, {L"<--" + name + result + L".\n"}});
}

const std::wstring kOk = L"(HRESULT = 0)";

// Of a search that passes `passed` before it finds `wanted`.
Texts Search(const std::wstring& wanted, const Texts& passed = {}) {
  Texts inside = {L"  Looking for component with InstanceGuid " + wanted + L"\n"};
  for (const std::wstring& guid : Joined({passed, {wanted}})) {
    inside.push_back(L"  Found component with InstanceGuid " + guid + L"\n");
  }
  return Scope(L"HrFindInstance", inside, kOk);
}

// Of the bindings of adapter 7 that change hands: first the transport's, then the driver's.
Texts Bindings(const wchar_t* transport, const wchar_t* driver) {
  return Scope(L"CMuxNotify::EnableBindings",
               Joined({Scope(L"CMuxNotify::IfExistMux", {}, L"(BOOL = 0)"),
                       {transport},
                       Scope(L"CMuxNotify::IfExistMux",
                             {L"CMuxNotify::IfExistMux - found mux " + Bench::Driver() + L"\n"}, L"(BOOL = 1)"),
                       {driver, L"   BindingPath: qvrn_muxp->{7}\n"}}));
}

std::wstring KeyPath() { return kAdapters + L"\\{7}"; }

TEST(NotifyFlow, TheFirstVlanTakesTheBindingsOver) {
  Bench bench;
  tests::TakeDebugOutput();
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage", L"3"));
  EXPECT_THAT(
      Traces(bench.newest),
      ElementsAreArray(Joined({Search(L"{7}"),
                               Scope(L"CMuxPhysicalAdapter::CMuxPhysicalAdapter(Constructor)"),
                               {L"-->CMuxPhysicalAdapter::LoadConfiguration.\n",
                                L"   Failed to open the registry key: " + KeyPath() + L".\n"},
                               Scope(L"CMuxVirtualMiniport::CMuxVirtualMiniport(Constructor)"),
                               {L"-->CMuxVirtualMiniport::Install.\n"},
                               Scope(L"CMuxVirtualMiniport::GetMiniportGUID"),
                               Scope(L"CMuxVirtualMiniport::ApplyRegistryChanges", {}, kOk),
                               Bindings(L"Disabled adapter binding token ms_tcpip->{7} \n", L"Enable muxp path: "),
                               Scope(L"CMuxPhysicalAdapter::~CMuxPhysicalAdapter(Destructor)")})));
  const std::wstring& guid = bench.newest;
  const std::string narrow(guid.begin(), guid.end());
  EXPECT_THAT(g_printed, ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 0\n",
                                     "Miniport created with Guid = " + narrow.substr(1, 36) + "\n"));
  EXPECT_THAT(bench.UpperBindings(), ElementsAre(L"\\Device\\" + guid));
  EXPECT_THAT(Bench::Paths(), ElementsAre(L"-ms_tcpip->" + bench.adapter, L"+qvrn_muxp->" + bench.adapter));
  EXPECT_THAT(g_pauses, IsEmpty());
}

TEST(NotifyFlow, ANewMiniportCarriesItsWholeFields) {
  Bench bench;
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage", L"3"));
  const tests::Snapshot after = bench.machine.Registry();
  for (const auto& [name, text] :
       {std::pair(L":VlanID", L"10"), std::pair(L":VlanName", L"Storage"), std::pair(L":Priority", L"3")}) {
    std::wstring field = text;
    field.resize(100);
    EXPECT_EQ(after.at(Machine::InstanceKey(0) + name), tests::RawValue(REG_SZ, field)) << name;
  }
  EXPECT_EQ(after.at(Machine::InstanceKey(7) + L":AdapterBindingBackup"),
            tests::RawValue(REG_MULTI_SZ, L"ms_tcpip->" + bench.adapter + std::wstring(2, L'\0')));
}

TEST(NotifyFlow, FurtherVlansLeaveTheBindingsAlone) {
  Bench bench;
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"A"));
  const std::wstring first = bench.newest;
  const Texts paths = Bench::Paths();
  ASSERT_HRESULT(S_OK, bench.Add(L"20", L"B"));
  const std::wstring second = bench.newest;
  EXPECT_THAT(bench.UpperBindings(), ElementsAre(L"\\Device\\" + second, L"\\Device\\" + first)) << "newest first";
  EXPECT_EQ(Bench::Paths(), paths);
  ASSERT_HRESULT(S_OK, bench.Remove(first));
  EXPECT_EQ(Bench::Paths(), paths);
  EXPECT_THAT(bench.UpperBindings(), ElementsAre(L"\\Device\\" + second));
}

TEST(NotifyFlow, TheLastVlanGivesTheBindingsBack) {
  Bench bench;
  const tests::Snapshot before = bench.machine.Registry();
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage"));
  const std::wstring guid = bench.newest;
  g_printed.clear();
  tests::TakeDebugOutput();
  ASSERT_HRESULT(S_OK, bench.Remove(guid));
  // The miniport's instance key is the lowest free one, so that a search meets it first.
  const Texts loading = Joined({{L"   Loading configuration for miniport {NEW}...\n"},
                                Scope(L"CMuxVirtualMiniport::CMuxVirtualMiniport(Constructor)"),
                                Search(L"{NEW}")});
  const Texts deinstalling = Joined({Search(L"{NEW}"), {L"   Found the miniport instance to uninstall.\n"}});
  const Texts removing = Joined(
      {Scope(L"CMuxVirtualMiniport::GetMiniportGUID"), Scope(L"CMuxVirtualMiniport::DeInstall", deinstalling, kOk)});
  const Texts applying = Joined({{L"   Applying registry changes when 0 miniports added.\n",
                                  L"   Applying registry changes when 1 miniports removed.\n"},
                                 Scope(L"CMuxVirtualMiniport::ApplyRegistryChanges",
                                       {L"   Deleting \\Device\\{NEW} at " + KeyPath() + L".\n"}, kOk)});
  EXPECT_THAT(
      Traces(guid),
      ElementsAreArray(Joined(
          {Search(L"{7}", {L"{NEW}"}), Scope(L"CMuxPhysicalAdapter::CMuxPhysicalAdapter(Constructor)"),
           Scope(L"CMuxPhysicalAdapter::LoadConfiguration", loading, L"(HRESULT = 80070002)"),
           Scope(L"CMuxPhysicalAdapter::RemoveMiniport", removing, kOk),
           Scope(L"CMuxPhysicalAdapter::ApplyRegistryChanges", applying, kOk),
           Bindings(L"Enabled adapter binding token ms_tcpip->{7} status 0 IsEnabled=0\n", L"Disable muxp path: "),
           Scope(L"CMuxPhysicalAdapter::~CMuxPhysicalAdapter(Destructor)",
                 Scope(L"CMuxVirtualMiniport::~CMuxVirtualMiniport(Destructor)"))})));
  EXPECT_THAT(g_printed, ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 1\n",
                                     "pMuxPhysicalAdapter->RemoveMiniport succeeded\n"));
  EXPECT_THAT(tests::Changes(before, bench.machine.Registry()),
              ElementsAre(::testing::HasSubstr(L"+" + Replaced(bench.key, L"System", L"SYSTEM") + L":")))
      << "the adapter's key stays";
}

// The calls that open, change and close the network configuration, without those on components and paths.
std::wstring SessionCalls(const Bench& bench) {
  std::wstring calls;
  for (const std::wstring& call : bench.machine.TakeNetworkCalls()) {
    const std::wstring object = call.substr(0, call.find(L':'));
    if (object == L"INetCfg" || object == L"INetCfgLock" || object == L"INetCfgClass" ||
        object == L"INetCfgClassSetup") {
      calls += call.substr(0, call.find(L'(')) + L" ";
    }
  }
  return calls;
}

TEST(NotifyFlow, OpensAndClosesTheNetworkConfigurationInOrder) {
  Bench bench;
  const std::wstring open =
      L"INetCfg::QueryInterface INetCfgLock::AcquireWriteLock INetCfg::Initialize INetCfg::EnumComponents ";
  // Given up, probed for, and given up again.
  const std::wstring close =
      L"INetCfg::Apply INetCfg::Uninitialize INetCfg::QueryInterface INetCfgLock::ReleaseWriteLock "
      L"INetCfgLock::AcquireWriteLock INetCfgLock::ReleaseWriteLock ";
  bench.machine.TakeNetworkCalls();
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage"));
  EXPECT_EQ(SessionCalls(bench), open +
                                     L"INetCfg::QueryNetCfgClass INetCfgClass::QueryInterface "
                                     L"INetCfgClassSetup::Install INetCfg::Apply " +
                                     close);
  ASSERT_HRESULT(S_OK, bench.Remove(bench.newest));
  EXPECT_EQ(SessionCalls(bench), open +
                                     L"INetCfg::EnumComponents INetCfg::QueryNetCfgClass INetCfgClass::QueryInterface "
                                     L"INetCfg::EnumComponents INetCfgClassSetup::DeInstall " +
                                     close);
}

TEST(NotifyFlow, WaitsForWhoeverTakesTheLockAtOnce) {
  Bench bench;
  bench.machine.WriteText(kFailures, L"INetCfgLock::AcquireWriteLock", L"0x1 1 1");
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage"));
  EXPECT_THAT(g_pauses, ElementsAre(10000u));
}

TEST(NotifyFlow, ATeamCarriesNoVlansAndIsNotRemoved) {
  Bench bench;
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Team"));
  const std::wstring team = bench.newest;
  bench.machine.WriteText(bench.key, L"TeamDeviceName", (L"\\DEVICE\\" + team).c_str());
  g_printed.clear();
  EXPECT_HRESULT(0x80070016, bench.Remove(team));
  EXPECT_HRESULT(E_FAIL, bench.Add(L"20", L"x"));
  EXPECT_THAT(g_printed,
              ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 1\n",
                          "Trying to remove team, not VLAN. Use \"remove team\" cmd line option\n",
                          "pMuxPhysicalAdapter->MiniportCount() = 1\n", "Cannot add VLAN. Error in VLAN parameters\n"));
  // The team's own miniport may carry VLANs.
  bench.machine.Store(0, L"TeamName", L"Team");
  g_printed.clear();
  EXPECT_HRESULT(S_OK, bench.AddTo(team, L"20", L"x"));
  EXPECT_EQ(g_printed.front(), "pMuxPhysicalAdapter->MiniportCount() = 0\n");
}

// The names by which the flows print and return what they refuse.
TEST(NotifyRefusals, TellWhyAndChangeNothing) {
  constexpr char kCount[] = "pMuxPhysicalAdapter->MiniportCount() = 1\n";
  constexpr char kTexts[] = "Cannot add VLAN. Error in VLAN parameters\n";
  Bench bench;
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage"));
  const std::wstring vlan = bench.newest;
  const struct {
    const wchar_t* id;
    const wchar_t* name;
    const wchar_t* priority;
  } texts[] = {
      {L"0", L"x", L"0"},     {L"4096", L"x", L"0"},     {L"", L"x", L"0"},    {L"abc", L"x", L"0"},
      {L"-1", L"x", L"0"},    {L"20", L"x", L"8"},       {L"20", L"x", L"-1"}, {L"20", L"", L"0"},
      {L"20", L"x", L""},     {L"20", L"STORAGE", L"0"}, {L"10", L"x", L"0"},  {nullptr, L"x", L"0"},
      {L"20", nullptr, L"0"}, {L"20", L"x", nullptr},
  };
  const tests::Snapshot before = bench.machine.Registry();
  for (const auto& row : texts) {
    g_printed.clear();
    EXPECT_HRESULT(E_FAIL, bench.Add(row.id, row.name, row.priority));
    EXPECT_THAT(g_printed, ElementsAre(kCount, kTexts));
  }
  constexpr char kNoInstance[] = "Illegal instance found\n";
  const struct {
    HRESULT result;
    std::wstring adapter;
    Lines printed;
  } adapters[] = {
      {static_cast<HRESULT>(0x8004A027), Machine::InstanceId(99), {kNoInstance}},
      {static_cast<HRESULT>(0x8004A027), L"no guid", {kNoInstance}},
      {static_cast<HRESULT>(0x800400FF),
       Machine::InstanceId(8),
       {"Non-supported adapter device ID: oth3\\another_maker\n"}},
      {static_cast<HRESULT>(0x800400FF), vlan, {"Cannot install vlan over vlan\n"}},
  };
  for (const auto& row : adapters) {
    g_printed.clear();
    EXPECT_HRESULT(row.result, bench.AddTo(row.adapter, L"20", L"x")) << ::testing::PrintToString(row.printed);
    EXPECT_EQ(g_printed, row.printed);
  }
  g_printed.clear();
  EXPECT_HRESULT(0x80070490, bench.Remove(Machine::InstanceId(77)));
  EXPECT_THAT(g_printed, ElementsAre(kCount, "pMuxPhysicalAdapter->RemoveMiniport failed. hr = 0x80070490\n"));
  EXPECT_THAT(tests::Changes(before, bench.machine.Registry()), IsEmpty());
  EXPECT_HRESULT(S_OK, bench.Add(L"010", L"Other")) << "numbers are compared as text";
  EXPECT_HRESULT(S_OK, bench.Add(L"4095", L"Last", L"7"));
}

TEST(NotifyRefusals, NothingToRemove) {
  Bench bench;
  EXPECT_HRESULT(0x80070057, bench.Remove(Machine::InstanceId(77)));
  EXPECT_THAT(g_printed, ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 0\n", "There is no adapter to remove\n"));
}

TEST(NotifyRefusals, AFullAdapter) {
  Bench bench;
  std::wstring entries;
  for (int number = 0; number < 4095; ++number) entries += L"x\\{1}" + std::wstring(1, L'\0');
  bench.StoreUpperBindings(entries);
  bench.machine.WriteText(lab::kLabKey, L"Journal", L"");
  EXPECT_HRESULT(0x800705AA, bench.Add(L"20", L"x"));
  EXPECT_THAT(g_printed, ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 4095\n"));
  EXPECT_THAT(tests::TakeDebugOutput(), ::testing::Contains(L"   Virtual miniport limit reached\n"));
}

TEST(NotifyRefusals, AnOrphanEntryCanBeRemoved) {
  Bench bench;
  bench.StoreUpperBindings(L"\\Device\\" + Machine::InstanceId(77) + std::wstring(1, L'\0'));
  EXPECT_HRESULT(S_OK, bench.Remove(Machine::InstanceId(77)));
  EXPECT_THAT(g_printed, ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 1\n",
                                     "pMuxPhysicalAdapter->RemoveMiniport failed. hr = 0x1\n"));
  EXPECT_THAT(bench.UpperBindings(), IsEmpty());
}

TEST(NotifyLock, AForeignHolderIsNamedAfterThreeTries) {
  Bench bench;
  bench.machine.WriteText(lab::kLabKey, L"ForeignLock", L"Other Tool");
  EXPECT_HRESULT(0x8004A024, bench.Add(L"10", L"x"));
  EXPECT_THAT(g_printed, ElementsAre("AcquireWriteLock failed. Lock is held by Other Tool\n"));
  EXPECT_THAT(g_pauses, ElementsAre(1000u, 1000u, 1000u));
}

bool Starts(const std::wstring& text, const wchar_t* prefix) { return text.rfind(prefix, 0) == 0; }

class FailureSweep : public ::testing::TestWithParam<bool> {};

// Every call of a flow fails once: call 1, call 2, ... until the flow succeeds untouched.
TEST_P(FailureSweep, LeavesNothingHalfDone) {
  const bool add = GetParam();
  for (int call = 0;; ++call) {
    ASSERT_LT(call, 500);
    SCOPED_TRACE(call);
    Bench bench;
    if (!add) {
      ASSERT_HRESULT(S_OK, bench.Add(L"10", L"x"));
    }
    const std::wstring vlan = bench.newest;
    const long references = lab::NetCfgReferences();
    g_printed.clear();
    bench.machine.TakeNetworkCalls();
    wchar_t failure[64];
    qvrn::FormatText(failure, L"0x8000FFFF 1 %d", call);
    bench.machine.WriteText(kFailures, L"*", failure);

    const HRESULT hr = add ? bench.Add(L"20", L"y") : bench.Remove(vlan);

    const Texts calls = bench.machine.TakeNetworkCalls();
    bench.machine.DeleteValue(kFailures, L"*");
    const auto failed = std::find_if(calls.begin(), calls.end(),
                                     [](const std::wstring& line) { return line.ends_with(L"= 0x8000FFFF"); });
    const bool fired = failed != calls.end();
    const std::wstring failedCall = fired ? *failed : L"none";
    SCOPED_TRACE(::testing::PrintToString(failedCall));
    const auto count = [&](const wchar_t* prefix) {
      return std::count_if(calls.begin(), calls.end(), [=](const std::wstring& line) { return Starts(line, prefix); });
    };
    const bool opened = std::any_of(calls.begin(), calls.end(), [](const std::wstring& line) {
      return Starts(line, L"INetCfg::Initialize") && line.ends_with(L"= 0x0");
    });
    if (opened) {
      EXPECT_GE(count(L"INetCfg::Apply"), 1);
      EXPECT_EQ(count(L"INetCfg::Uninitialize"), 1);
    }
    // A failing release is the one thing that may keep the lock.
    const bool releaseFailed = Starts(failedCall, L"INetCfg::Uninitialize") ||
                               Starts(failedCall, L"INetCfgLock::ReleaseWriteLock") ||
                               (Starts(failedCall, L"INetCfg::QueryInterface(INetCfgLock)") && opened);
    if (!releaseFailed) {
      EXPECT_EQ(tests::Session().Acquire(0, L"probe"), S_OK) << "the lock is free";
    }
    const bool created = std::any_of(g_printed.begin(), g_printed.end(),
                                     [](const std::string& line) { return line.rfind("Miniport created", 0) == 0; });
    const bool installed = count(L"INetCfgClassSetup::Install") != 0;
    if (add) {
      EXPECT_EQ(tests::VlanMachine::Miniports(), created ? 1u : 0u);
      EXPECT_EQ(bench.UpperBindings().size(), created ? 1u : 0u);
      const bool constructed = installed || Starts(failedCall, L"INetCfg::QueryNetCfgClass") ||
                               Starts(failedCall, L"INetCfgClass::QueryInterface");
      EXPECT_EQ(lab::NetCfgReferences(), references + (constructed ? 1 : 0));
    } else {
      EXPECT_EQ(lab::NetCfgReferences(), references);
      EXPECT_EQ(tests::VlanMachine::Miniports(), bench.UpperBindings().size());
    }
    tests::TakeDebugOutput();
    if (!fired) {
      EXPECT_HRESULT(S_OK, hr);
      EXPECT_GT(call, 10);
      break;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Notify, FailureSweep, ::testing::Bool(),
                         [](const auto& info) { return std::string(info.param ? "Add" : "Remove"); });

}  // namespace
