// The notify core against the lab: whole flows, refusals, and a sweep of failing calls.
#include "mux/notifyob/notify.h"

#include <netcfgx.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "lab/labkey.h"
#include "lab/netcfg.h"
#include "mux/notifyob/notifytrace.h"
#include "tests/support/hresult.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tests/support/netcfgclient.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using tests::Machine;
using Texts = std::vector<std::wstring>;
using Lines = std::vector<std::string>;

const std::wstring kAdapters = L"System\\CurrentControlSet\\Services\\muxp\\Parameters\\Adapters";
const std::wstring kNetClassKey = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}";
const std::wstring kTransports = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E975-E325-11CE-BFC1-08002bE10318}";

Lines g_printed;
std::vector<DWORD> g_pauses;

// A machine with adapter 7, a transport and the intermediate driver, and what the engine printed and waited for.
class Bench {
 public:
  Bench() {
    g_printed.clear();
    g_pauses.clear();
    m_printer = qvrn::SetPrinter([](const char* text) { g_printed.push_back(text); });
    m_sleeper = qvrn::SetSleeper([](DWORD milliseconds) { g_pauses.push_back(milliseconds); });
    machine.AddAdapter(7);
    machine.WriteText(kTransports + L"\\0000", L"ComponentId", L"ms_tcpip");
    machine.WriteText(kTransports + L"\\0000", L"NetCfgInstanceId", Machine::InstanceId(0xA000).c_str());
    const tests::Session session(true);
    Microsoft::WRL::ComPtr<INetCfgComponent> driver;
    EXPECT_HRESULT(
        S_OK, session.Setup(tests::kTransportClass)->Install(L"qvrn_muxp", nullptr, 0, 0, nullptr, nullptr, &driver));
  }
  ~Bench() {
    qvrn::SetPrinter(m_printer);
    qvrn::SetSleeper(m_sleeper);
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  HRESULT Add(const wchar_t* id, const wchar_t* name, const wchar_t* priority = L"0", DWORD adapter = 7) {
    wchar_t guid[64] = L"";
    const HRESULT hr =
        qvrn::ConfigureVlanMiniport(Machine::InstanceId(adapter).c_str(), guid, true, id, name, priority);
    newest = guid;
    return hr;
  }
  HRESULT Remove(std::wstring guid, DWORD adapter = 7) {
    return qvrn::ConfigureVlanMiniport(Machine::InstanceId(adapter).c_str(), guid.data(), false, L"", L"", L"");
  }

  // Entries of UpperBindings.
  Texts UpperBindings() const {
    qvrn::RegistryKey key;
    std::vector<wchar_t> text;
    std::size_t chars = 0;
    Texts entries;
    if (key.Open(HKEY_LOCAL_MACHINE, (kAdapters + L"\\" + Machine::InstanceId(7)).c_str(), KEY_READ) != ERROR_SUCCESS ||
        key.ReadMultiString(L"UpperBindings", text, chars) != ERROR_SUCCESS) {
      return entries;
    }
    for (const wchar_t* entry = text.data(); *entry != L'\0'; entry += std::wcslen(entry) + 1) entries.push_back(entry);
    return entries;
  }

  // "+TOKEN" of an enabled path above adapter 7, "-TOKEN" of a disabled one.
  static Texts Paths() {
    const tests::Session session(false);
    Texts states;
    for (const auto& path : tests::Paths(session.Find(Machine::kServed).Get(), EBP_ABOVE)) {
      states.push_back((path->IsEnabled() == S_OK ? L"+" : L"-") + tests::Token(path.Get()));
    }
    return states;
  }

  // Instance keys of virtual miniports.
  static DWORD Miniports() {
    qvrn::RegistryKey classKey;
    classKey.Open(HKEY_LOCAL_MACHINE, kNetClassKey.c_str(), KEY_READ);
    DWORD miniports = 0;
    wchar_t name[qvrn::kPathChars];
    for (DWORD index = 0; classKey.SubkeyName(index, name) == ERROR_SUCCESS; ++index) {
      qvrn::RegistryKey instance;
      wchar_t id[qvrn::kPathChars] = {};
      instance.Open(classKey.Get(), name, KEY_READ);
      instance.ReadText(L"ComponentId", id);
      if (std::wstring(id) == L"qvrn_muxmp") ++miniports;
    }
    return miniports;
  }

  // Whether a client can take the write lock now.
  static bool LockIsFree() { return tests::Session().Acquire(0, L"probe") == S_OK; }

  Machine machine;
  std::wstring newest;

 private:
  qvrn::Printer m_printer;
  qvrn::Sleeper m_sleeper;
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

const Texts kFindAdapter = {
    L"-->HrFindInstance.\n",
    L"  Looking for component with InstanceGuid {7}\n",
    L"  Found component with InstanceGuid {7}\n",
    L"<--HrFindInstance(HRESULT = 0).\n",
};

Texts Joined(std::initializer_list<Texts> parts) {
  Texts all;
  for (const Texts& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

std::wstring KeyPath() { return kAdapters + L"\\{7}"; }

TEST(NotifyFlow, TheFirstVlanTakesTheBindingsOver) {
  Bench bench;
  tests::TakeDebugOutput();
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage", L"3"));
  const std::wstring driver = tests::BindName(tests::Session(false).Find(L"qvrn_muxp").Get());
  EXPECT_THAT(Traces(bench.newest),
              ElementsAreArray(Joined({kFindAdapter,
                                       {L"-->CMuxPhysicalAdapter::CMuxPhysicalAdapter(Constructor).\n",
                                        L"<--CMuxPhysicalAdapter::CMuxPhysicalAdapter(Constructor).\n",
                                        L"-->CMuxPhysicalAdapter::LoadConfiguration.\n",
                                        L"   Failed to open the registry key: " + KeyPath() + L".\n",
                                        L"-->CMuxVirtualMiniport::CMuxVirtualMiniport(Constructor).\n",
                                        L"<--CMuxVirtualMiniport::CMuxVirtualMiniport(Constructor).\n",
                                        L"-->CMuxVirtualMiniport::Install.\n",
                                        L"-->CMuxVirtualMiniport::GetMiniportGUID.\n",
                                        L"<--CMuxVirtualMiniport::GetMiniportGUID.\n",
                                        L"-->CMuxVirtualMiniport::ApplyRegistryChanges.\n",
                                        L"<--CMuxVirtualMiniport::ApplyRegistryChanges(HRESULT = 0).\n",
                                        L"-->CMuxNotify::EnableBindings.\n",
                                        L"-->CMuxNotify::IfExistMux.\n",
                                        L"<--CMuxNotify::IfExistMux(BOOL = 0).\n",
                                        L"Disabled adapter binding token ms_tcpip->{7} \n",
                                        L"-->CMuxNotify::IfExistMux.\n",
                                        L"CMuxNotify::IfExistMux - found mux " + driver + L"\n",
                                        L"<--CMuxNotify::IfExistMux(BOOL = 1).\n",
                                        L"Enable muxp path: ",
                                        L"   BindingPath: qvrn_muxp->{7}\n",
                                        L"<--CMuxNotify::EnableBindings.\n",
                                        L"-->CMuxPhysicalAdapter::~CMuxPhysicalAdapter(Destructor).\n",
                                        L"<--CMuxPhysicalAdapter::~CMuxPhysicalAdapter(Destructor).\n"}})));
  const std::wstring& guid = bench.newest;
  const std::string narrow(guid.begin(), guid.end());
  EXPECT_THAT(g_printed, ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 0\n",
                                     "Miniport created with Guid = " + narrow.substr(1, 36) + "\n"));
  EXPECT_THAT(bench.UpperBindings(), ElementsAre(L"\\Device\\" + guid));
  EXPECT_THAT(Bench::Paths(),
              ElementsAre(L"-ms_tcpip->" + Machine::InstanceId(7), L"+qvrn_muxp->" + Machine::InstanceId(7)));
  EXPECT_THAT(g_pauses, IsEmpty());
}

TEST(NotifyFlow, ANewMiniportCarriesItsWholeFields) {
  Bench bench;
  const tests::Snapshot before = bench.machine.Registry();
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage", L"3"));
  const tests::Snapshot after = bench.machine.Registry();
  for (const auto& [name, text] :
       {std::pair(L"VlanID", L"10"), std::pair(L"VlanName", L"Storage"), std::pair(L"Priority", L"3")}) {
    std::wstring field(100, L'\0');
    std::copy_n(text, std::wcslen(text), field.begin());
    EXPECT_EQ(after.at(kNetClassKey + L"\\0000:" + name), tests::RawValue(REG_SZ, field)) << name;
  }
  EXPECT_EQ(after.at(Machine::InstanceKey(7) + L":AdapterBindingBackup"),
            tests::RawValue(REG_MULTI_SZ, L"ms_tcpip->" + Machine::InstanceId(7) + std::wstring(2, L'\0')));
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
  const Texts findMiniport = {
      L"-->HrFindInstance.\n",
      L"  Looking for component with InstanceGuid {NEW}\n",
      L"  Found component with InstanceGuid {NEW}\n",  // its key is the lowest free one
      L"<--HrFindInstance(HRESULT = 0).\n",
  };
  const Texts findAdapter = {
      L"-->HrFindInstance.\n",
      L"  Looking for component with InstanceGuid {7}\n",
      L"  Found component with InstanceGuid {NEW}\n",
      L"  Found component with InstanceGuid {7}\n",
      L"<--HrFindInstance(HRESULT = 0).\n",
  };
  const std::wstring driver = tests::BindName(tests::Session(false).Find(L"qvrn_muxp").Get());
  EXPECT_THAT(
      Traces(guid),
      ElementsAreArray(
          Joined({findAdapter,
                  {L"-->CMuxPhysicalAdapter::CMuxPhysicalAdapter(Constructor).\n",
                   L"<--CMuxPhysicalAdapter::CMuxPhysicalAdapter(Constructor).\n",
                   L"-->CMuxPhysicalAdapter::LoadConfiguration.\n", L"   Loading configuration for miniport {NEW}...\n",
                   L"-->CMuxVirtualMiniport::CMuxVirtualMiniport(Constructor).\n",
                   L"<--CMuxVirtualMiniport::CMuxVirtualMiniport(Constructor).\n"},
                  findMiniport,
                  {L"<--CMuxPhysicalAdapter::LoadConfiguration(HRESULT = 80070002).\n",
                   L"-->CMuxPhysicalAdapter::RemoveMiniport.\n", L"-->CMuxVirtualMiniport::GetMiniportGUID.\n",
                   L"<--CMuxVirtualMiniport::GetMiniportGUID.\n", L"-->CMuxVirtualMiniport::DeInstall.\n"},
                  findMiniport,
                  {L"   Found the miniport instance to uninstall.\n",
                   L"<--CMuxVirtualMiniport::DeInstall(HRESULT = 0).\n",
                   L"<--CMuxPhysicalAdapter::RemoveMiniport(HRESULT = 0).\n",
                   L"-->CMuxPhysicalAdapter::ApplyRegistryChanges.\n",
                   L"   Applying registry changes when 0 miniports added.\n",
                   L"   Applying registry changes when 1 miniports removed.\n",
                   L"-->CMuxVirtualMiniport::ApplyRegistryChanges.\n",
                   L"   Deleting \\Device\\{NEW} at " + KeyPath() + L".\n",
                   L"<--CMuxVirtualMiniport::ApplyRegistryChanges(HRESULT = 0).\n",
                   L"<--CMuxPhysicalAdapter::ApplyRegistryChanges(HRESULT = 0).\n",
                   L"-->CMuxNotify::EnableBindings.\n",
                   L"-->CMuxNotify::IfExistMux.\n",
                   L"<--CMuxNotify::IfExistMux(BOOL = 0).\n",
                   L"Enabled adapter binding token ms_tcpip->{7} status 0 IsEnabled=0\n",
                   L"-->CMuxNotify::IfExistMux.\n",
                   L"CMuxNotify::IfExistMux - found mux " + driver + L"\n",
                   L"<--CMuxNotify::IfExistMux(BOOL = 1).\n",
                   L"Disable muxp path: ",
                   L"   BindingPath: qvrn_muxp->{7}\n",
                   L"<--CMuxNotify::EnableBindings.\n",
                   L"-->CMuxPhysicalAdapter::~CMuxPhysicalAdapter(Destructor).\n",
                   L"-->CMuxVirtualMiniport::~CMuxVirtualMiniport(Destructor).\n",
                   L"<--CMuxVirtualMiniport::~CMuxVirtualMiniport(Destructor).\n",
                   L"<--CMuxPhysicalAdapter::~CMuxPhysicalAdapter(Destructor).\n"}})));
  EXPECT_THAT(g_printed, ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 1\n",
                                     "pMuxPhysicalAdapter->RemoveMiniport succeeded\n"));
  EXPECT_THAT(tests::Changes(before, bench.machine.Registry()),
              ElementsAre(::testing::HasSubstr(L"+" + Replaced(kAdapters, L"System", L"SYSTEM") + L"\\" +
                                               Machine::InstanceId(7) + L":")))
      << "the adapter's key stays";
}

// The calls that open, change and close the network configuration, without those on components and paths.
Texts SessionCalls(const Bench& bench) {
  Texts calls;
  for (const std::wstring& call : bench.machine.TakeNetworkCalls()) {
    const std::wstring object = call.substr(0, call.find(L':'));
    if (object == L"INetCfg" || object == L"INetCfgLock" || object == L"INetCfgClass" ||
        object == L"INetCfgClassSetup") {
      calls.push_back(call.substr(0, call.find(L'(')));
    }
  }
  return calls;
}

TEST(NotifyFlow, OpensAndClosesTheNetworkConfigurationInOrder) {
  Bench bench;
  const Texts open = {L"INetCfg::QueryInterface", L"INetCfgLock::AcquireWriteLock", L"INetCfg::Initialize",
                      L"INetCfg::EnumComponents"};
  // Given up, probed for, and given up again.
  const Texts close = {L"INetCfg::Apply",
                       L"INetCfg::Uninitialize",
                       L"INetCfg::QueryInterface",
                       L"INetCfgLock::ReleaseWriteLock",
                       L"INetCfgLock::AcquireWriteLock",
                       L"INetCfgLock::ReleaseWriteLock"};
  bench.machine.TakeNetworkCalls();
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage"));
  EXPECT_THAT(SessionCalls(bench),
              ElementsAreArray(Joined({open,
                                       {L"INetCfg::QueryNetCfgClass", L"INetCfgClass::QueryInterface",
                                        L"INetCfgClassSetup::Install", L"INetCfg::Apply"},
                                       close})));
  ASSERT_HRESULT(S_OK, bench.Remove(bench.newest));
  EXPECT_THAT(SessionCalls(bench),
              ElementsAreArray(
                  Joined({open,
                          {L"INetCfg::EnumComponents", L"INetCfg::QueryNetCfgClass", L"INetCfgClass::QueryInterface",
                           L"INetCfg::EnumComponents", L"INetCfgClassSetup::DeInstall"},
                          close})));
}

TEST(NotifyFlow, WaitsForWhoeverTakesTheLockAtOnce) {
  Bench bench;
  bench.machine.WriteText(std::wstring(lab::kLabKey) + L"\\Failures", L"INetCfgLock::AcquireWriteLock", L"0x1 1 1");
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage"));
  EXPECT_THAT(g_pauses, ElementsAre(10000u));
}

TEST(NotifyFlow, ATeamCarriesNoVlansAndIsNotRemoved) {
  Bench bench;
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Team"));
  const std::wstring team = bench.newest;
  const std::wstring key = kAdapters + L"\\" + Machine::InstanceId(7);
  bench.machine.WriteText(key, L"TeamDeviceName", (L"\\DEVICE\\" + team).c_str());
  g_printed.clear();
  EXPECT_HRESULT(0x80070016, bench.Remove(team));
  EXPECT_HRESULT(E_FAIL, bench.Add(L"20", L"x"));
  EXPECT_THAT(g_printed,
              ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 1\n",
                          "Trying to remove team, not VLAN. Use \"remove team\" cmd line option\n",
                          "pMuxPhysicalAdapter->MiniportCount() = 1\n", "Cannot add VLAN. Error in VLAN parameters\n"));
  // The team's own miniport may carry VLANs.
  bench.machine.WriteText(kNetClassKey + L"\\0000", L"TeamName", L"Team");
  g_printed.clear();
  wchar_t guid[64] = L"";
  EXPECT_HRESULT(S_OK, qvrn::ConfigureVlanMiniport(team.c_str(), guid, true, L"20", L"x", L"0"));
  EXPECT_EQ(g_printed.front(), "pMuxPhysicalAdapter->MiniportCount() = 0\n");
}

TEST(NotifyFlow, TwentyRoundsLeaveTheRegistryAsItWas) {
  Bench bench;
  ASSERT_HRESULT(S_OK, bench.Add(L"1", L"warm up"));
  ASSERT_HRESULT(S_OK, bench.Remove(bench.newest));
  const tests::Snapshot before = bench.machine.Registry();
  const long references = lab::NetCfgReferences();
  for (int round = 1; round <= 20; ++round) {
    ASSERT_HRESULT(S_OK, bench.Add(std::to_wstring(round).c_str(), L"Name"));
    ASSERT_HRESULT(S_OK, bench.Remove(bench.newest));
  }
  EXPECT_THAT(tests::Changes(before, bench.machine.Registry()), IsEmpty());
  EXPECT_EQ(lab::NetCfgReferences(), references + 20) << "one for the miniport object of each add";
}

// The names by which the flows print and return what they refuse.
TEST(NotifyRefusals, TellWhyAndChangeNothing) {
  constexpr char kCount[] = "pMuxPhysicalAdapter->MiniportCount() = 1\n";
  constexpr char kTexts[] = "Cannot add VLAN. Error in VLAN parameters\n";
  Bench bench;
  bench.machine.AddAdapter(8, L"oth3\\another_maker");
  ASSERT_HRESULT(S_OK, bench.Add(L"10", L"Storage"));
  const std::wstring vlan = bench.newest;
  const struct {
    const wchar_t* id;
    const wchar_t* name;
    const wchar_t* priority;
    bool refused;
  } texts[] = {
      {L"0", L"x", L"0", true},        {L"4096", L"x", L"0", true},  {L"", L"x", L"0", true},
      {L"abc", L"x", L"0", true},      {L"-1", L"x", L"0", true},    {L"20", L"x", L"8", true},
      {L"20", L"x", L"-1", true},      {L"20", L"", L"0", true},     {L"20", L"x", L"", true},
      {L"20", L"STORAGE", L"0", true}, {L"10", L"x", L"0", true},    {nullptr, L"x", L"0", true},
      {L"20", nullptr, L"0", true},    {L"20", L"x", nullptr, true},
  };
  const tests::Snapshot before = bench.machine.Registry();
  for (const auto& row : texts) {
    g_printed.clear();
    EXPECT_HRESULT(E_FAIL, bench.Add(row.id, row.name, row.priority));
    EXPECT_THAT(g_printed, ElementsAre(kCount, kTexts));
  }
  struct Row {
    HRESULT result;
    HRESULT (*run)(Bench& bench, const std::wstring& vlan);
    Lines printed;
  };
  const Row rows[] = {
      {static_cast<HRESULT>(0x8004A027),
       [](Bench& b, const std::wstring&) { return b.Add(L"20", L"x", L"0", 99); },
       {"Illegal instance found\n"}},
      {static_cast<HRESULT>(0x8004A027),
       [](Bench&, const std::wstring&) {
         wchar_t guid[64] = L"";
         return qvrn::ConfigureVlanMiniport(L"no guid", guid, true, L"20", L"x", L"0");
       },
       {"Illegal instance found\n"}},
      {static_cast<HRESULT>(0x800400FF),
       [](Bench& b, const std::wstring&) { return b.Add(L"20", L"x", L"0", 8); },
       {"Non-supported adapter device ID: oth3\\another_maker\n"}},
      {static_cast<HRESULT>(0x800400FF),
       [](Bench&, const std::wstring& over) {
         wchar_t guid[64] = L"";
         return qvrn::ConfigureVlanMiniport(over.c_str(), guid, true, L"20", L"x", L"0");
       },
       {"Cannot install vlan over vlan\n"}},
      {static_cast<HRESULT>(0x80070490),
       [](Bench& b, const std::wstring&) { return b.Remove(Machine::InstanceId(77)); },
       {kCount, "pMuxPhysicalAdapter->RemoveMiniport failed. hr = 0x80070490\n"}},
  };
  for (const Row& row : rows) {
    g_printed.clear();
    EXPECT_HRESULT(row.result, row.run(bench, vlan)) << ::testing::PrintToString(row.printed);
    EXPECT_EQ(g_printed, row.printed);
  }
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
  entries += L'\0';
  bench.machine.WriteBytes(kAdapters + L"\\" + Machine::InstanceId(7), L"UpperBindings", REG_MULTI_SZ, entries.data(),
                           entries.size() * sizeof(wchar_t));
  bench.machine.WriteText(lab::kLabKey, L"Journal", L"");
  EXPECT_HRESULT(0x800705AA, bench.Add(L"20", L"x"));
  EXPECT_THAT(g_printed, ElementsAre("pMuxPhysicalAdapter->MiniportCount() = 4095\n"));
  EXPECT_THAT(tests::TakeDebugOutput(), ::testing::Contains(L"   Virtual miniport limit reached\n"));
}

TEST(NotifyRefusals, AnOrphanEntryCanBeRemoved) {
  Bench bench;
  const std::wstring orphan = L"\\Device\\" + Machine::InstanceId(77) + std::wstring(2, L'\0');
  bench.machine.WriteBytes(kAdapters + L"\\" + Machine::InstanceId(7), L"UpperBindings", REG_MULTI_SZ, orphan.data(),
                           orphan.size() * sizeof(wchar_t));
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

// Every call of a flow fails once: call 1, call 2, ... until the flow succeeds untouched.
struct SweepCase {
  const char* name;
  bool add;
};

class FailureSweep : public ::testing::TestWithParam<SweepCase> {};

bool Starts(const std::wstring& text, const wchar_t* prefix) { return text.rfind(prefix, 0) == 0; }

TEST_P(FailureSweep, LeavesNothingHalfDone) {
  const bool add = GetParam().add;
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
    bench.machine.WriteText(std::wstring(lab::kLabKey) + L"\\Failures", L"*", failure);

    const HRESULT hr = add ? bench.Add(L"20", L"y") : bench.Remove(vlan);

    const Texts calls = bench.machine.TakeNetworkCalls();
    bench.machine.DeleteValue(std::wstring(lab::kLabKey) + L"\\Failures", L"*");
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
      EXPECT_TRUE(Bench::LockIsFree());
    }
    const bool created = std::any_of(g_printed.begin(), g_printed.end(),
                                     [](const std::string& line) { return line.rfind("Miniport created", 0) == 0; });
    const bool installed = count(L"INetCfgClassSetup::Install") != 0;
    if (add) {
      EXPECT_EQ(Bench::Miniports(), created ? 1u : 0u);
      EXPECT_EQ(bench.UpperBindings().size(), created ? 1u : 0u);
      const bool constructed = installed || Starts(failedCall, L"INetCfg::QueryNetCfgClass") ||
                               Starts(failedCall, L"INetCfgClass::QueryInterface");
      EXPECT_EQ(lab::NetCfgReferences(), references + (constructed ? 1 : 0));
    } else {
      EXPECT_EQ(lab::NetCfgReferences(), references);
      EXPECT_EQ(Bench::Miniports(), bench.UpperBindings().size());
    }
    tests::TakeDebugOutput();
    if (!fired) {
      EXPECT_HRESULT(S_OK, hr);
      EXPECT_GT(call, 10);
      break;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Notify, FailureSweep, ::testing::Values(SweepCase{"Add", true}, SweepCase{"Remove", false}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
