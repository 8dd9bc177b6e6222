// Short memory, objects that are not handed out, other clients at the wrong moment.
#include <netcfgx.h>

#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <cwchar>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "lab/wmi/wbemhost.h"
#include "mux/notifyob/cmuxphysicaladapter.h"
#include "mux/notifyob/muxinstall.h"
#include "mux/notifyob/notify.h"
#include "mux/notifyob/notifybindings.h"
#include "mux/notifyob/notifylock.h"
#include "mux/notifyob/notifysupport.h"
#include "platform/comtext.h"
#include "tests/support/imports.h"
#include "tests/support/netcfgclient.h"
#include "tests/support/vlanmachine.h"
#include "tools/winhalvextune/common.h"
#include "tools/winhalvextune/cvlandlg.h"
#include "tools/wmi/qvrnwmiprovider/clientsecurity.h"
#include "tools/wmi/qvrnwmiprovider/cvlanmanager.h"
#include "tools/wmi/qvrnwmiprovider/utils.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::CMuxPhysicalAdapter;
using ::testing::IsEmpty;
using tests::Machine;
using tests::VlanClient;
using tests::VlanMachine;

// --- What the platform may do --------------------------------------------------------------------------------------

// Called behind each successful RegQueryValueExW.
std::function<void(HKEY key, const wchar_t* name, const BYTE* data)> g_afterRead;
// What CoCreateInstance of a network configuration gives with S_OK, while `g_replaceNetCfg`.
IUnknown* g_netCfg = nullptr;
bool g_replaceNetCfg = false;
// Whether it cannot be created in this process alone, and how often that was tried.
bool g_failInProcess = false;
int g_inProcessFailures = 0;

template <typename Function>
Function Real(const wchar_t* module, const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(::LoadLibraryW(module), name)));
}

LSTATUS WINAPI QueryRegistryValue(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data,
                                  DWORD* bytes) {
  static const auto real = Real<decltype(&::RegQueryValueExW)>(L"advapi32.dll", "RegQueryValueExW");
  const LSTATUS status = real(key, name, reserved, type, data, bytes);
  if (status == ERROR_SUCCESS && g_afterRead && name != nullptr) g_afterRead(key, name, data);
  return status;
}

HRESULT WINAPI CreateComInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID riid, void** object) {
  static const auto real = Real<decltype(&::CoCreateInstance)>(L"ole32.dll", "CoCreateInstance");
  if (g_failInProcess && classId == CLSID_CNetCfg && context == CLSCTX_INPROC_SERVER) {
    ++g_inProcessFailures;
    return E_FAIL;
  }
  if (!g_replaceNetCfg || classId != CLSID_CNetCfg) return real(classId, outer, context, riid, object);
  *object = g_netCfg;
  return S_OK;
}

// What was reported, and where.
std::vector<std::string> g_reports;
std::string g_eventSource;

std::string Narrow(const wchar_t* text) { return {text, text + std::wcslen(text)}; }

HANDLE WINAPI OpenEventSource(const wchar_t*, const wchar_t* source) {
  g_eventSource = Narrow(source);
  return reinterpret_cast<HANDLE>(1);
}

BOOL WINAPI RecordEvent(HANDLE, WORD type, WORD, DWORD id, void*, WORD texts, DWORD, const wchar_t** inserts, void*) {
  std::ostringstream report;
  report << g_eventSource << ": " << type << ", 0x" << std::hex << id;
  for (WORD index = 0; index < texts; ++index) report << ", " << Narrow(inserts[index]);
  g_reports.push_back(report.str());
  return TRUE;
}

BOOL WINAPI CloseEventSource(HANDLE) {
  g_reports.emplace_back("closed");
  return TRUE;
}

void __cdecl RecordRuntimeAssertion(const char* expression, const char* file, unsigned line) {
  g_reports.push_back("_assert(" + std::string(expression) + ", " + file + ", " + std::to_string(line) + ")");
}

}  // namespace

extern "C" {
decltype(&::RegisterEventSourceW) __imp_RegisterEventSourceW = OpenEventSource;
decltype(&::ReportEventW) __imp_ReportEventW = RecordEvent;
decltype(&::DeregisterEventSource) __imp_DeregisterEventSource = CloseEventSource;
void(__cdecl* __imp__assert)(const char*, const char*, unsigned) = RecordRuntimeAssertion;
decltype(&::RegQueryValueExW) __imp_RegQueryValueExW = QueryRegistryValue;
decltype(&::CoCreateInstance) __imp_CoCreateInstance = CreateComInstance;
}

namespace {

// An object of any interface whose methods succeed and hand out nothing. A slot may be given a function of its own.
struct ObligingObject {
  using Slot = void*;
  static HRESULT STDMETHODCALLTYPE Succeed(void*) { return S_OK; }

  Slot slots[32];
  Slot* table = slots;

  ObligingObject() {
    for (Slot& slot : slots) slot = reinterpret_cast<void*>(&Succeed);
  }
  template <typename Interface>
  Interface* As() {
    return reinterpret_cast<Interface*>(&table);
  }
};

class NetCfgReplacement {
 public:
  explicit NetCfgReplacement(IUnknown* netCfg) {
    g_netCfg = netCfg;
    g_replaceNetCfg = true;
  }
  ~NetCfgReplacement() { g_replaceNetCfg = false; }
};

class AfterRead {
 public:
  explicit AfterRead(decltype(g_afterRead) action) { g_afterRead = std::move(action); }
  ~AfterRead() { g_afterRead = nullptr; }
};

std::wstring AdapterKey() { return VlanMachine::kDriverKey + (L"\\" + Machine::InstanceId(7)); }

// The stored UpperBindings of adapter 7.
std::vector<std::wstring> Bindings() {
  qvrn::RegistryKey key;
  key.Open(HKEY_LOCAL_MACHINE, AdapterKey().c_str(), KEY_READ);
  return tests::MultiString(key, L"UpperBindings");
}

void StoreBindings(VlanMachine& machine, const std::vector<std::wstring>& entries) {
  std::wstring data;
  for (const std::wstring& entry : entries) data += entry + L'\0';
  data += L'\0';
  machine.WriteBytes(AdapterKey(), L"UpperBindings", REG_MULTI_SZ, data.data(), data.size() * sizeof(wchar_t));
}

class RobustnessTest : public ::testing::Test {
 protected:
  void AddVlans(std::initializer_list<LONG> numbers) {
    for (const LONG number : numbers) {
      const std::wstring name = L"VLAN " + std::to_wstring(number);
      ASSERT_EQ(client.Put({.name = name.c_str(), .number = number}).Text(), "0x00000000, sink 0x00000000 0x00000000");
    }
  }
  LONG RemoveAll() const {
    LONG result = -1;
    lab::RunAsClient(3, [&] { result = qvrn::RemoveAllVlans(lab::Namespace()); });
    return result;
  }

  VlanMachine machine;
  tests::AssertionRecorder assertions;
  VlanClient client;
};

// --- Reports -------------------------------------------------------------------------------------------------------

// The machine chooses when the first report is due.
TEST_F(RobustnessTest, AFailedCheckGoesWhereTheMachineSays) {
  const std::vector<std::string> log = {"QvrnWmiProvider: 1, 0xc0000001, bRet == true, common, 7", "closed"};
  const std::vector<std::string> runtime = {"_assert(bRet == true, common, 7)"};
  for (const wchar_t* value : {L"log", L"", L"runtime"}) {
    const bool isLog = std::wcscmp(value, L"log") == 0;
    machine.WriteText(VlanMachine::kProductKey, L"Assertions", value);
    const qvrn::AssertionReporter before = qvrn::SetAssertionReporter(nullptr);
    tests::TakeDebugOutput();
    lab::RunAsClient(2, [&] {
      EXPECT_HRESULT(S_OK, ::CoImpersonateClient());
      qvrn::ReportAssertion("bRet == true", "common", 7);
      EXPECT_EQ(qvrn::GetImpersonationLevel(), qvrn::ImpersonationLevel::Identify) << "still the client";
    });
    EXPECT_EQ(std::exchange(g_reports, {}), isLog ? log : runtime);
    EXPECT_EQ(tests::TakeDebugOutput(),
              isLog ? std::vector<std::wstring>{L"Assertion failed: bRet == true, file common, line 7\n"}
                    : std::vector<std::wstring>{});
    machine.DeleteValue(VlanMachine::kProductKey, L"Assertions");
    qvrn::ReportAssertion("bRet == true", "common", 7);
    EXPECT_EQ(std::exchange(g_reports, {}), isLog ? log : runtime);
    qvrn::SetAssertionReporter(before);
  }
}

// --- Crashes -------------------------------------------------------------------------------------------------------

TEST_F(RobustnessTest, AnEngineThatCannotBeMadeIsShortMemory) {
  const tests::FailingAllocation failing(64);  // what an empty list of VLANs takes
  EXPECT_THROW(qvrn::CVlanDlg(L"somewhere"), std::bad_alloc);
}

TEST_F(RobustnessTest, SuccessWithoutAnObjectIsSurvived) {
  ObligingObject object;
  const GUID guid = {7, 0, 0, {}};
  wchar_t text[qvrn::kPathChars] = L"{00000007-0000-0000-0000-000000000000}";
  for (IUnknown* netCfg : {static_cast<IUnknown*>(nullptr), object.As<IUnknown>()}) {
    const NetCfgReplacement replacement(netCfg);
    EXPECT_NE(qvrn::ConfigureVlanMiniport(text, text, true, L"10", L"Office", L"0"), S_OK);
    EXPECT_NE(qvrn::ConfigureVlanMiniport(text, text, false, L"", L"", L""), S_OK);
    EXPECT_FALSE(qvrn::IsAdapterPresent(text));
    EXPECT_TRUE(qvrn::RenameVlanComponent(text, L"Office"));
    wchar_t path[MAX_PATH] = {};
    qvrn::RegistryKey product;
    product.Open(HKEY_LOCAL_MACHINE, VlanMachine::kProductKey, KEY_READ);
    product.ReadText(L"InstalledPath", path);
    lab::RunAsClient(3,
                     [&] { EXPECT_NE(qvrn::InstallMuxDriver((std::wstring(path) + L"Vlan_lbfo").c_str(), 2), S_OK); });
  }
  qvrn::EnableBindings(object.As<INetCfgComponent>(), TRUE);
  qvrn::IfExistMux(object.As<INetCfgBindingPath>());
  EXPECT_HRESULT(E_FAIL, qvrn::CMuxVirtualMiniport(object.As<INetCfg>(), &guid).Install());
  // The class of network adapters is handed out, but not its way to install.
  using Giver = HRESULT(STDMETHODCALLTYPE*)(void*, const GUID*, REFIID, void**);
  const Giver giveItself = [](void* self, const GUID*, REFIID, void** out) -> HRESULT {
    *out = self;
    return S_OK;
  };
  object.slots[9] = reinterpret_cast<void*>(giveItself);
  ComPtr<INetCfgClass> networkClass;
  ASSERT_HRESULT(S_OK, object.As<INetCfg>()->QueryNetCfgClass(&guid, IID_PPV_ARGS(&networkClass)));
  ASSERT_NE(networkClass, nullptr) << "the slot is that of another method";
  EXPECT_HRESULT(E_FAIL, qvrn::CMuxVirtualMiniport(object.As<INetCfg>(), &guid).Install());
  EXPECT_HRESULT(E_FAIL, qvrn::CMuxVirtualMiniport(object.As<INetCfg>(), &guid).DeInstall());
}

// --- Hangs ---------------------------------------------------------------------------------------------------------

TEST_F(RobustnessTest, RemovalOfAllEndsWhereAnotherClientHasRemovedOne) {
  AddVlans({10, 20});
  const std::vector<std::wstring> before = Bindings();
  static std::function<void()> onPrint;
  onPrint = [&, done = false]() mutable {
    if (!std::exchange(done, true)) StoreBindings(machine, {before[1]});  // newest first: what is left is VLAN 10
  };
  const auto printer = qvrn::SetPrinter([](const char* text) {
    if (std::strstr(text, "RemoveMiniport succeeded") != nullptr) onPrint();
  });
  EXPECT_EQ(RemoveAll(), 0);
  qvrn::SetPrinter(printer);
  EXPECT_THAT(client.List(), IsEmpty());
}

TEST_F(RobustnessTest, RemovalOfAllEndsWhereABindingIsListedTwice) {
  AddVlans({10, 20});
  const std::vector<std::wstring> before = Bindings();
  StoreBindings(machine, {before[0], before[1], before[1]});
  EXPECT_EQ(RemoveAll(), 0);
  EXPECT_THAT(client.List(), IsEmpty());
  EXPECT_EQ(VlanMachine::Miniports(), 0u);
}

TEST_F(RobustnessTest, RemovalOfAllGivesUpAnAdapterAfterAThousandFailures) {
  AddVlans({10});
  // The notify core's network configuration cannot be had; the locator's can.
  g_inProcessFailures = 0;
  g_failInProcess = true;
  EXPECT_EQ(RemoveAll(), 1);
  g_failInProcess = false;
  EXPECT_EQ(g_inProcessFailures, 1000);
  EXPECT_EQ(Bindings().size(), 1u);
}

// Its GUID is that of no miniport, and nothing but the last failure ends its removal.
TEST_F(RobustnessTest, ABindingThatIsNoGuidIsRemovedByNobody) {
  StoreBindings(machine, {L"\\Device\\no GUID"});
  machine.WriteText(Machine::InstanceKey(30), L"NetCfgInstanceId", L"no GUID");
  machine.WriteText(Machine::InstanceKey(30), L"VlanID", L"30");
  qvrn::CVlanDlg engine(Machine::InstanceKey(7).c_str());
  ASSERT_TRUE(engine.Prepare());
  ASSERT_EQ(engine.List().Count(), 1u);
  engine.RemoveVlan(engine.List().InstanceIdAt(0));
  EXPECT_EQ(engine.List().Count(), 1u);
}

// --- Races ---------------------------------------------------------------------------------------------------------

// Another client creates VLANs between the question for the size of UpperBindings and its reading.
TEST_F(RobustnessTest, BindingsThatGrowWhileTheyAreReadAreReadWhole) {
  AddVlans({10, 20});
  const std::vector<std::wstring> before = Bindings();
  std::vector<std::wstring> grown = before;
  for (int number = 0; number < 9; ++number) grown.push_back(L"\\Device\\" + Machine::InstanceId(0xB0));
  const auto growing = [&] {
    StoreBindings(machine, before);
    assertions.Take();
    return [&, left = 1](HKEY, const wchar_t* name, const BYTE* data) mutable {
      if (std::wcscmp(name, L"UpperBindings") == 0 && data == nullptr && left-- > 0) StoreBindings(machine, grown);
    };
  };
  const std::wstring vlan = before[1].substr(8);
  {
    const AfterRead race(growing());
    wchar_t index[16] = {};
    EXPECT_HRESULT(S_OK, qvrn::FindParentAdapterIndex(vlan.c_str(), index, 16));
    EXPECT_STREQ(index, L"7");
  }
  {
    const AfterRead race(growing());
    qvrn::CVlanDlg engine(Machine::InstanceKey(7).c_str());
    EXPECT_TRUE(engine.Prepare());
    EXPECT_EQ(engine.List().Count(), 2u);
  }
  {
    const AfterRead race(growing());
    const tests::Session session(true);
    CMuxPhysicalAdapter adapter(session.netCfg.Get(), {7, 0, 0, {}});
    EXPECT_HRESULT(qvrn::HrFromWin32(ERROR_FILE_NOT_FOUND), adapter.LoadConfiguration());
    EXPECT_EQ(adapter.MiniportCount(), grown.size());
  }
  qvrn::RegistryKey key;
  ASSERT_EQ(key.Open(HKEY_LOCAL_MACHINE, AdapterKey().c_str(), KEY_ALL_ACCESS), ERROR_SUCCESS);
  {
    const AfterRead race(growing());
    EXPECT_EQ(qvrn::AddToUpperBindings(key.Get(), L"new"), ERROR_SUCCESS);
  }
  EXPECT_EQ(Bindings().size(), grown.size() + 1);
  {
    const AfterRead race(growing());
    EXPECT_EQ(qvrn::RemoveFromUpperBindings(key.Get(), before[0].c_str()), ERROR_SUCCESS);
  }
  EXPECT_EQ(Bindings().size(), grown.size() - 1);
}

// Each update comes to where it has read the VLANs before it goes on, unless the other one cannot come.
TEST_F(RobustnessTest, TwoUpdatesAtOnceDoNotGiveTwoVlansOneNumber) {
  AddVlans({10, 20});
  const std::wstring keys[] = {client.KeyOf(10), client.KeyOf(20)};
  std::mutex lock;
  std::condition_variable arrived;
  int readers = 0;
  {
    const AfterRead rendezvous([&](HKEY, const wchar_t* name, const BYTE*) {
      if (std::wcscmp(name, L"InstalledPath") != 0) return;
      std::unique_lock<std::mutex> guard(lock);
      ++readers;
      arrived.notify_all();
      arrived.wait_for(guard, std::chrono::milliseconds(500), [&] { return readers == 2; });
    });
    std::thread clients[2];
    for (int index = 0; index < 2; ++index) {
      clients[index] = std::thread([&, index] {
        client.Put({.name = index == 0 ? L"One" : L"Other", .number = 30, .key = keys[index].c_str()});
      });
    }
    for (std::thread& thread : clients) thread.join();
  }
  EXPECT_EQ(readers, 2);
  int with30 = 0;
  for (const std::wstring& line : client.List()) with30 += line.find(L"7/30 ") == 0 ? 1 : 0;
  EXPECT_EQ(with30, 1);
}

// --- Short memory --------------------------------------------------------------------------------------------------

TEST_F(RobustnessTest, AMiniportWhoseRemovalCannotBeRecordedStays) {
  AddVlans({10});
  const std::vector<std::wstring> before = Bindings();
  GUID guid = {};
  ::CLSIDFromString(before[0].c_str() + 8, &guid);
  const tests::Session session(true);
  const long references = lab::NetCfgReferences();
  {
    CMuxPhysicalAdapter adapter(session.netCfg.Get(), {7, 0, 0, {}});
    adapter.LoadConfiguration();
    HRESULT hr = S_OK;
    {
      const tests::FailingAllocation failing(sizeof(void*) * 2 + sizeof(GUID));  // an entry of a list of miniports
      hr = adapter.RemoveMiniport(&guid);
    }
    EXPECT_HRESULT(qvrn::HrFromWin32(ERROR_NOT_ENOUGH_MEMORY), hr);
    adapter.ApplyRegistryChanges(qvrn::ActionNone);
  }
  EXPECT_EQ(lab::NetCfgReferences(), references) << "the miniport has gone";
  EXPECT_EQ(Bindings(), before);
  EXPECT_EQ(VlanMachine::Miniports(), 1u);
}

TEST_F(RobustnessTest, ShortMemoryIsToldAlike) {
  AddVlans({10});
  const std::wstring path = VlanClient::Path(client.KeyOf(10));
  const tests::FailingAllocation failing(sizeof(qvrn::CVlanDlg));
  EXPECT_EQ(client.provider.Get(path.c_str()).Text(), "0x80041006, sink 0x80041006 0x80041006");
  EXPECT_EQ(client.Put({.name = L"Voice", .number = 20}).Text(), "0x80041006, sink 0x80041006 0x80041006");
  EXPECT_EQ(client.provider.Delete(path.c_str()).Text(), "0x80041006, sink 0x80041006");
}

// The identity is the client's until the end of a request, but for names that cannot be had.
TEST_F(RobustnessTest, MethodsGoBackToTheProcessWhereTheirNamesCannotBeHad) {
  struct Row {
    const wchar_t* text;
    qvrn::ImpersonationLevel level;
  };
  const qvrn::Bstr path(L"QvrnEN_VLAN");
  const qvrn::Bstr method(L"SaveVlanConfiguration");
  for (const Row& row : {Row{L"sFileName", qvrn::ImpersonationLevel::Delegate},
                         Row{L"SaveVlanConfiguration", qvrn::ImpersonationLevel::Impersonate}}) {
    const tests::FailingText failing(row.text);
    const tests::Outcome outcome = client.provider.Run([&](IWbemServices* services, IWbemObjectSink* sink) {
      const HRESULT hr = services->ExecMethodAsync(path.Get(), method.Get(), 0, nullptr, nullptr, sink);
      EXPECT_EQ(qvrn::GetImpersonationLevel(), row.level) << row.text;
      return hr;
    });
    EXPECT_EQ(outcome.Text(), "0x80041006, sink 0x80041006 0x80041006") << row.text;
  }
}

}  // namespace
