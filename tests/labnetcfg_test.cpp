#include "lab/netcfg.h"

#include <netcfgx.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "lab/journal.h"
#include "lab/labkey.h"
#include "platform/comtext.h"
#include "platform/registrykey.h"
#include "tests/support/machine.h"
#include "tests/support/netcfgclient.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::RegistryKey;
using tests::Session;
using Texts = std::vector<std::wstring>;

constexpr const GUID& kNet = tests::kNetClass;
constexpr const GUID& kTrans = tests::kTransportClass;
constexpr GUID kNoClass = {0x4D36E97D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr wchar_t kGuidA[] = L"{00000007-0000-0000-0000-000000000000}";
constexpr wchar_t kGuidB[] = L"{0000000C-0000-0000-0000-000000000000}";
constexpr wchar_t kGuidC[] = L"{0000000E-0000-0000-0000-000000000000}";
const std::wstring kClasses = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";
const std::wstring kNetKey = kClasses + L"{4D36E972-E325-11CE-BFC1-08002bE10318}";
const std::wstring kTransKey = kClasses + L"{4D36E975-E325-11CE-BFC1-08002bE10318}";
const std::wstring kEnumKey = L"SYSTEM\\CurrentControlSet\\Enum\\";
const std::wstring kFailuresKey = std::wstring(lab::kLabKey) + L"\\Failures";

std::wstring GetText(const std::wstring& path, const wchar_t* name) {
  RegistryKey key;
  wchar_t text[qvrn::kPathChars] = {};
  key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_QUERY_VALUE);
  key.ReadText(name, text);
  return text;
}

/// A machine with one served adapter, 0007.
class LabNetCfg : public ::testing::Test {
 protected:
  LabNetCfg() { m_machine.AddAdapter(7); }
  void TearDown() override { EXPECT_EQ(lab::LiveNetCfgObjects(), m_alive); }

  void AddComponent(const std::wstring& path, const wchar_t* id, const wchar_t* guid,
                    const wchar_t* deviceId = nullptr) {
    m_machine.WriteText(path, L"ComponentId", id);
    m_machine.WriteText(path, L"NetCfgInstanceId", guid);
    m_machine.WriteText(path, L"DriverDesc", id);
    if (deviceId != nullptr) m_machine.WriteText(path, L"DeviceInstanceID", deviceId);
  }
  void Set(const wchar_t* name, const wchar_t* text) { m_machine.WriteText(lab::kLabKey, name, text); }
  void SetNumber(const wchar_t* name, DWORD number) { m_machine.WriteNumber(lab::kLabKey, name, number); }
  void SetFailure(const wchar_t* method, const wchar_t* failure) { m_machine.WriteText(kFailuresKey, method, failure); }

  tests::Machine m_machine;
  const long m_alive = lab::LiveNetCfgObjects();  ///< what tests of others keep
};

Texts InstanceGuids(IEnumNetCfgComponent* enumerator) {
  Texts guids;
  ComPtr<INetCfgComponent> component;
  ULONG fetched = 0;
  while (enumerator->Next(1, &component, &fetched) == S_OK) {
    qvrn::TaskText name;
    EXPECT_EQ(component->GetBindName(name.Put()), S_OK);
    guids.emplace_back(name.Get());
  }
  EXPECT_EQ(component.Get(), nullptr);
  EXPECT_EQ(fetched, 0u);
  return guids;
}

TEST_F(LabNetCfg, RefusesCallsOutOfOrder) {
  const auto enumerate = [](Session& s) {
    ComPtr<IEnumNetCfgComponent> components;
    return s.netCfg->EnumComponents(&kNet, &components);
  };
  const auto rename = [](Session& s) {
    const auto component = s.Find(L"qvx4\\halvex_eth");
    return component ? component->SetDisplayName(L"x") : E_FAIL;
  };
  const auto apply = [](Session& s) { return s.netCfg->Apply(); };
  const auto initialize = [](Session& s) { return s.netCfg->Initialize(nullptr); };
  const auto uninitialize = [](Session& s) { return s.netCfg->Uninitialize(); };
  const auto acquire = [](Session& s) { return s.Acquire(0, L"c"); };
  const auto release = [](Session& s) { return s.lock->ReleaseWriteLock(); };
  const struct {
    const char* name;
    std::function<HRESULT(Session&)> call;
    HRESULT expected;
    bool lock;
    bool initialized;
  } rows[] = {
      {"enumerate before", enumerate, NETCFG_E_NOT_INITIALIZED, false, false},
      {"enumerate", enumerate, S_OK, false, true},
      {"uninitialize before", uninitialize, NETCFG_E_NOT_INITIALIZED, false, false},
      {"initialize twice", initialize, NETCFG_E_ALREADY_INITIALIZED, false, true},
      {"apply before", apply, NETCFG_E_NOT_INITIALIZED, true, false},
      {"apply without lock", apply, NETCFG_E_NO_WRITE_LOCK, false, true},
      {"apply", apply, S_OK, true, true},
      {"rename without lock", rename, NETCFG_E_NO_WRITE_LOCK, false, true},
      {"rename", rename, S_OK, true, true},
      {"acquire late", acquire, NETCFG_E_ALREADY_INITIALIZED, false, true},
      {"acquire again", acquire, S_OK, true, false},
      {"release nothing", release, NETCFG_E_NO_WRITE_LOCK, false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Session session;
    ASSERT_EQ(row.lock ? session.Acquire(0, L"c") : S_OK, S_OK);
    ASSERT_EQ(row.initialized ? session.netCfg->Initialize(nullptr) : S_OK, S_OK);
    EXPECT_EQ(row.call(session), row.expected);
  }
}

TEST_F(LabNetCfg, LockBelongsToOneObject) {
  Session second;
  std::wstring holder;
  {
    Session first;
    ASSERT_EQ(first.Acquire(0, L"FIRST"), S_OK);
    EXPECT_EQ(second.Acquire(20, L"SECOND", &holder), S_FALSE);
    EXPECT_EQ(holder, L"FIRST");
    qvrn::TaskText seen;
    EXPECT_EQ(second.lock->IsWriteLocked(seen.Put()), S_OK);
    EXPECT_STREQ(seen.Get(), L"FIRST");
    EXPECT_EQ(first.lock->ReleaseWriteLock(), S_OK);
    EXPECT_EQ(second.lock->IsWriteLocked(seen.Put()), S_FALSE);
    EXPECT_EQ(second.Acquire(0, L"SECOND", &holder), S_OK);
    EXPECT_EQ(holder, L"(null)");
    EXPECT_EQ(first.lock->ReleaseWriteLock(), NETCFG_E_NO_WRITE_LOCK);
    EXPECT_EQ(second.lock->ReleaseWriteLock(), S_OK);
    EXPECT_EQ(first.Acquire(0, L"FIRST AGAIN"), S_OK);
  }
  EXPECT_EQ(second.Acquire(0, L"SECOND"), S_OK) << "the lock of an object that is gone is free";
}

TEST_F(LabNetCfg, WaitsForTheLock) {
  SetNumber(L"LockWait", 20000);
  Session first;
  Session second;
  ASSERT_EQ(first.Acquire(0, L"FIRST"), S_OK);
  std::thread release([&] {
    ::Sleep(60);
    first.lock->ReleaseWriteLock();
  });
  EXPECT_EQ(second.Acquire(20000, L"SECOND"), S_OK);
  release.join();
}

TEST_F(LabNetCfg, ForeignHolderKeepsTheLock) {
  Set(L"ForeignLock", L"Some tool");
  SetNumber(L"LockWait", 30);
  Session session;
  std::wstring holder;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(session.Acquire(60000, L"c", &holder), S_FALSE);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(holder, L"Some tool");
  Set(L"ForeignLock", L"");
  EXPECT_EQ(session.Acquire(0, L"c", &holder), S_OK);
}

TEST_F(LabNetCfg, FailsByCount) {
  const struct {
    const wchar_t* setting;
    std::vector<HRESULT> results;  ///< of four calls, two each on two objects
    const wchar_t* left;
  } rows[] = {
      {L"0x80004005 3", {E_FAIL, E_FAIL, E_FAIL, S_OK}, L"0x80004005 0 0"},
      {L"0x80004005 1 2", {S_OK, S_OK, E_FAIL, S_OK}, L"0x80004005 0 0"},
      {L"0x8000FFFF", {E_UNEXPECTED, S_OK, S_OK, S_OK}, L"0x8000FFFF 0 0"},
      {L"0x1 9", {S_FALSE, S_FALSE, S_FALSE, S_FALSE}, L"0x00000001 5 0"},
      {L"0x80004005 0", {S_OK, S_OK, S_OK, S_OK}, L"0x80004005 0"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.setting);
    SetFailure(L"INetCfg::EnumComponents", row.setting);
    std::vector<HRESULT> results;
    for (int object = 0; object < 2; ++object) {
      Session session;
      ASSERT_EQ(session.netCfg->Initialize(nullptr), S_OK);
      for (int call = 0; call < 2; ++call) {
        ComPtr<IEnumNetCfgComponent> components;
        *components.GetAddressOf() = reinterpret_cast<IEnumNetCfgComponent*>(0xDEAD);
        results.push_back(session.netCfg->EnumComponents(&kNet, components.GetAddressOf()));
        EXPECT_EQ(components != nullptr, results.back() == S_OK);
      }
    }
    EXPECT_EQ(results, row.results);
    EXPECT_EQ(GetText(kFailuresKey, L"INetCfg::EnumComponents"), row.left);
  }
}

TEST_F(LabNetCfg, ListsWhatTheNetworkConfigurationKnows) {
  AddComponent(kNetKey + L"\\0012", L"other", kGuidB, L"PCI\\GONE\\0");
  AddComponent(kNetKey + L"\\0013", L"no device id", L"{0000000F-0000-0000-0000-000000000000}");
  AddComponent(kNetKey + L"\\0014", L"no guid", L"qvrn", L"ROOT\\X\\0000");
  AddComponent(kNetKey + L"\\Properties", L"no instance key", L"{0000000D-0000-0000-0000-000000000000}",
               L"ROOT\\X\\0001");
  AddComponent(kTransKey + L"\\0000", L"qvrn_muxp", kGuidC);
  Session session;
  ASSERT_EQ(session.netCfg->Initialize(nullptr), S_OK);
  const struct {
    const GUID* classGuid;
    HRESULT result;
    Texts guids;
  } rows[] = {
      {&kNet, S_OK, {kGuidA, kGuidB}},
      {&kTrans, S_OK, {kGuidC}},
      {&kNoClass, E_INVALIDARG, {}},
  };
  for (const auto& row : rows) {
    ComPtr<IEnumNetCfgComponent> components;
    ComPtr<INetCfgClass> networkClass;
    EXPECT_EQ(session.netCfg->EnumComponents(row.classGuid, &components), row.result);
    EXPECT_EQ(session.netCfg->QueryNetCfgClass(row.classGuid, IID_PPV_ARGS(&networkClass)), row.result);
    if (row.result != S_OK) continue;
    EXPECT_EQ(InstanceGuids(components.Get()), row.guids);
    EXPECT_EQ(components->Reset(), S_OK);
    EXPECT_EQ(InstanceGuids(components.Get()), row.guids);
    ASSERT_EQ(networkClass->EnumComponents(components.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(InstanceGuids(components.Get()), row.guids);
  }
}

TEST_F(LabNetCfg, FindsById) {
  AddComponent(kTransKey + L"\\0000", L"qvrn_muxp", kGuidB);
  Session session;
  ASSERT_EQ(session.netCfg->Initialize(nullptr), S_OK);
  const struct {
    const wchar_t* id;
    HRESULT result;
    HRESULT resultInNet;
  } rows[] = {
      {L"QVX4\\Halvex_Eth", S_OK, S_OK},
      {L"qvrn_muxp", S_OK, S_FALSE},
      {L"qvx4\\halvex", S_FALSE, S_FALSE},
      {nullptr, E_INVALIDARG, E_INVALIDARG},
  };
  ComPtr<INetCfgClass> net;
  ASSERT_EQ(session.netCfg->QueryNetCfgClass(&kNet, IID_PPV_ARGS(&net)), S_OK);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.id == nullptr ? L"null" : row.id);
    ComPtr<INetCfgComponent> component;
    EXPECT_EQ(session.netCfg->FindComponent(row.id, &component), row.result);
    EXPECT_EQ(component != nullptr, row.result == S_OK);
    EXPECT_EQ(net->FindComponent(row.id, component.ReleaseAndGetAddressOf()), row.resultInNet);
    EXPECT_EQ(component != nullptr, row.resultInNet == S_OK);
  }
}

TEST_F(LabNetCfg, DescribesPresentAndAbsentDevices) {
  const std::wstring device = tests::Machine::DeviceId(7);
  AddComponent(kNetKey + L"\\0012", L"absent", kGuidB, L"PCI\\GONE\\0");
  AddComponent(kTransKey + L"\\0000", L"software", kGuidC);
  const struct {
    const wchar_t* id;
    const wchar_t* nameBefore;
    HRESULT deviceResult;
    const wchar_t* deviceId;
    HRESULT status;
    ULONG problem;
    std::wstring nameKey;
    const wchar_t* nameValue;
  } rows[] = {
      {L"qvx4\\halvex_eth", L"Adapter 7", S_OK, device.c_str(), S_OK, 0, kEnumKey + device, L"FriendlyName"},
      {L"absent", L"absent", S_OK, L"PCI\\GONE\\0", SPAPI_E_NO_SUCH_DEVINST, 24, kNetKey + L"\\0012", L"DriverDesc"},
      {L"software", L"software", E_FAIL, nullptr, SPAPI_E_NO_SUCH_DEVINST, 24, kTransKey + L"\\0000", L"DriverDesc"},
  };
  Session session;
  ASSERT_EQ(session.Acquire(0, L"c"), S_OK);
  ASSERT_EQ(session.netCfg->Initialize(nullptr), S_OK);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.id);
    const auto component = session.Find(row.id);
    ASSERT_NE(component, nullptr);
    qvrn::TaskText text;
    ULONG problem = 99;
    EXPECT_EQ(component->GetPnpDevNodeId(text.Put()), row.deviceResult);
    EXPECT_STREQ(text.Get(), row.deviceId);
    EXPECT_EQ(component->GetDeviceStatus(&problem), row.status);
    EXPECT_EQ(problem, row.problem);
    EXPECT_EQ(component->GetDisplayName(text.Put()), S_OK);
    EXPECT_STREQ(text.Get(), row.nameBefore);
    EXPECT_EQ(component->SetDisplayName(L"New name"), S_OK);
    EXPECT_EQ(GetText(row.nameKey, row.nameValue), L"New name");
    EXPECT_EQ(component->GetDisplayName(text.Put()), S_OK);
    EXPECT_STREQ(text.Get(), L"New name");
  }
}

}  // namespace
