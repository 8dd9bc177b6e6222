#include "lab/netcfg/netcfg.h"

#include <netcfgx.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "lab/labkey.h"
#include "platform/comtext.h"
#include "tests/support/machine.h"
#include "tests/support/netcfgclient.h"

namespace {

using Microsoft::WRL::ComPtr;
using tests::Session;
using Texts = std::vector<std::wstring>;

constexpr GUID kNoClass = {0x4D36E97D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr wchar_t kGuidA[] = L"{00000007-0000-0000-0000-000000000000}";
constexpr wchar_t kGuidB[] = L"{0000000C-0000-0000-0000-000000000000}";
constexpr wchar_t kGuidC[] = L"{0000000E-0000-0000-0000-000000000000}";
const std::wstring kClasses = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";
const std::wstring kNetKey = kClasses + L"{4D36E972-E325-11CE-BFC1-08002bE10318}";
const std::wstring kTransKey = kClasses + L"{4D36E975-E325-11CE-BFC1-08002bE10318}";

/// A machine with one served adapter, 0007.
class LabNetCfg : public ::testing::Test {
 protected:
  LabNetCfg() { m_machine.AddAdapter(7); }
  void TearDown() override { EXPECT_EQ(lab::LiveNetCfgObjects(), m_alive); }

  void AddComponent(const std::wstring& path, const wchar_t* id, const wchar_t* guid,
                    const wchar_t* deviceId = nullptr) {
    m_machine.WriteText(path, L"ComponentId", id);
    m_machine.WriteText(path, L"NetCfgInstanceId", guid);
    if (deviceId != nullptr) m_machine.WriteText(path, L"DeviceInstanceID", deviceId);
  }

  tests::Machine m_machine;
  const long m_alive = lab::LiveNetCfgObjects();  ///< what tests of others keep
};

Texts InstanceGuids(IEnumNetCfgComponent* enumerator) {
  Texts guids;
  ComPtr<INetCfgComponent> component;
  while (enumerator->Next(1, &component, nullptr) == S_OK) guids.push_back(tests::BindName(component.Get()));
  return guids;
}

TEST_F(LabNetCfg, RefusesCallsOutOfOrder) {
  const auto enumerate = [](Session& s) {
    ComPtr<IEnumNetCfgComponent> components;
    return s.netCfg->EnumComponents(&tests::kNetClass, &components);
  };
  const struct {
    const char* name;
    std::function<HRESULT(Session&)> call;
    HRESULT expected;
    bool initialized;
  } rows[] = {
      {"enumerate before", enumerate, NETCFG_E_NOT_INITIALIZED, false},
      {"uninitialize before", [](Session& s) { return s.netCfg->Uninitialize(); }, NETCFG_E_NOT_INITIALIZED, false},
      {"initialize twice", [](Session& s) { return s.netCfg->Initialize(nullptr); }, NETCFG_E_ALREADY_INITIALIZED,
       true},
      {"apply without lock", [](Session& s) { return s.netCfg->Apply(); }, NETCFG_E_NO_WRITE_LOCK, true},
      {"acquire late", [](Session& s) { return s.Acquire(0, L"c"); }, NETCFG_E_ALREADY_INITIALIZED, true},
      {"release nothing", [](Session& s) { return s.lock->ReleaseWriteLock(); }, NETCFG_E_NO_WRITE_LOCK, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Session session;
    if (row.initialized) session.netCfg->Initialize(nullptr);
    EXPECT_EQ(row.call(session), row.expected);
  }
}

TEST_F(LabNetCfg, LockBelongsToOneObject) {
  m_machine.WriteNumber(lab::kLabKey, L"LockWait", 60);
  Session second;
  std::wstring holder;
  {
    Session first;
    ASSERT_EQ(first.Acquire(0, L"FIRST"), S_OK);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(second.Acquire(60000, L"SECOND", &holder), S_FALSE);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(holder, L"FIRST");
    EXPECT_EQ(second.lock->ReleaseWriteLock(), NETCFG_E_NO_WRITE_LOCK);
    EXPECT_EQ(first.lock->ReleaseWriteLock(), S_OK);
    EXPECT_EQ(second.Acquire(0, L"SECOND", &holder), S_OK);
    EXPECT_EQ(holder, L"(null)");
    EXPECT_EQ(second.lock->ReleaseWriteLock(), S_OK);
    EXPECT_EQ(first.Acquire(0, L"FIRST AGAIN"), S_OK);
  }
  EXPECT_EQ(second.Acquire(0, L"SECOND"), S_OK) << "the lock of an object that is gone is free";
  EXPECT_EQ(second.lock->ReleaseWriteLock(), S_OK);
  m_machine.WriteText(lab::kLabKey, L"ForeignLock", L"Some tool");
  EXPECT_EQ(Session().Acquire(0, L"c", &holder), S_FALSE);
  EXPECT_EQ(holder, L"Some tool");
}

TEST_F(LabNetCfg, WaitsForTheLock) {
  m_machine.WriteNumber(lab::kLabKey, L"LockWait", 20000);
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

TEST_F(LabNetCfg, FailsByCount) {
  const struct {
    const wchar_t* setting;
    std::vector<HRESULT> results;  ///< of four calls, two each on two objects
  } rows[] = {
      {L"0x80004005 3", {E_FAIL, E_FAIL, E_FAIL, S_OK}}, {L"0x80004005 1 2", {S_OK, S_OK, E_FAIL, S_OK}},
      {L"0x8000FFFF", {E_UNEXPECTED, S_OK, S_OK, S_OK}}, {L"0x1 9", {S_FALSE, S_FALSE, S_FALSE, S_FALSE}},
      {L"0x80004005 0", {S_OK, S_OK, S_OK, S_OK}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.setting);
    m_machine.WriteText(std::wstring(lab::kLabKey) + L"\\Failures", L"INetCfg::EnumComponents", row.setting);
    std::vector<HRESULT> results;
    for (int object = 0; object < 2; ++object) {
      const Session session(false);
      for (int call = 0; call < 2; ++call) {
        ComPtr<IEnumNetCfgComponent> components;
        results.push_back(session.netCfg->EnumComponents(&tests::kNetClass, components.GetAddressOf()));
        EXPECT_EQ(components != nullptr, results.back() == S_OK);
      }
    }
    EXPECT_EQ(results, row.results);
  }
}

TEST_F(LabNetCfg, ListsAndFindsWhatTheNetworkConfigurationKnows) {
  AddComponent(kNetKey + L"\\0012", L"other", kGuidB, L"PCI\\GONE\\0");
  AddComponent(kNetKey + L"\\0013", L"no device id", L"{0000000F-0000-0000-0000-000000000000}");
  AddComponent(kNetKey + L"\\0014", L"no guid", L"qvrn", L"ROOT\\X\\0000");
  AddComponent(kNetKey + L"\\Properties", L"no key", L"{0000000D-0000-0000-0000-000000000000}", L"ROOT\\X\\0001");
  AddComponent(kTransKey + L"\\0000", L"qvrn_muxp", kGuidC);
  const Session session(false);
  const struct {
    const GUID* classGuid;
    HRESULT result;
    Texts guids;
  } classes[] = {{&tests::kNetClass, S_OK, {kGuidA, kGuidB}},
                 {&tests::kTransportClass, S_OK, {kGuidC}},
                 {&kNoClass, E_INVALIDARG, {}}};
  for (const auto& row : classes) {
    ComPtr<IEnumNetCfgComponent> components;
    ComPtr<INetCfgClass> networkClass;
    EXPECT_EQ(session.netCfg->EnumComponents(row.classGuid, &components), row.result);
    EXPECT_EQ(session.netCfg->QueryNetCfgClass(row.classGuid, IID_PPV_ARGS(&networkClass)), row.result);
    if (row.result != S_OK) continue;
    EXPECT_EQ(InstanceGuids(components.Get()), row.guids);
    ASSERT_EQ(networkClass->EnumComponents(components.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(InstanceGuids(components.Get()), row.guids);
  }
  const std::pair<const wchar_t*, HRESULT> ids[] = {
      {L"QVX4\\Halvex_Eth", S_OK}, {L"qvrn_muxp", S_OK}, {L"qvx4\\halvex", S_FALSE}, {nullptr, E_INVALIDARG}};
  for (const auto& [id, result] : ids) {
    ComPtr<INetCfgComponent> component;
    EXPECT_EQ(session.netCfg->FindComponent(id, &component), result);
    EXPECT_EQ(component != nullptr, result == S_OK);
  }
}

TEST_F(LabNetCfg, DescribesPresentAndAbsentDevices) {
  const std::wstring device = tests::Machine::DeviceId(7);
  AddComponent(kNetKey + L"\\0012", L"absent", kGuidB, L"PCI\\GONE\\0");
  AddComponent(kTransKey + L"\\0000", L"software", kGuidC);
  const struct {
    const wchar_t* id;
    HRESULT deviceResult;
    const wchar_t* deviceId;
    HRESULT status;
  } rows[] = {
      {L"qvx4\\halvex_eth", S_OK, device.c_str(), S_OK},
      {L"absent", S_OK, L"PCI\\GONE\\0", SPAPI_E_NO_SUCH_DEVINST},
      {L"software", E_FAIL, nullptr, SPAPI_E_NO_SUCH_DEVINST},
  };
  const Session session(true);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.id);
    const auto component = session.Find(row.id);
    ASSERT_NE(component, nullptr);
    qvrn::TaskText text;
    ULONG problem = 99;
    EXPECT_EQ(component->GetPnpDevNodeId(text.Put()), row.deviceResult);
    EXPECT_STREQ(text.Get(), row.deviceId);
    EXPECT_EQ(component->GetDeviceStatus(&problem), row.status);
    EXPECT_EQ(component->SetDisplayName(L"New name"), S_OK);
    EXPECT_EQ(component->GetDisplayName(text.Put()), S_OK);
    EXPECT_STREQ(text.Get(), L"New name");
  }
}

}  // namespace
