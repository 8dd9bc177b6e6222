// What the files of lab/machines promise, loaded below a key of this test by the platform's own registry editor.
#include <windows.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "platform/registrykey.h"
#include "tests/support/netcfgclient.h"
#include "tests/support/registrysnapshot.h"

#ifndef LAB_MACHINES
#define LAB_MACHINES "lab/machines"
#endif

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::RegistryKey;

class LabMachines : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    RegistryKey root;
    ASSERT_EQ(root.Create(HKEY_CURRENT_USER, m_root.c_str(), KEY_ALL_ACCESS), ERROR_SUCCESS);
    ASSERT_EQ(::RegOverridePredefKey(HKEY_LOCAL_MACHINE, root.Get()), ERROR_SUCCESS);
    std::ifstream file(LAB_MACHINES "/" + std::string(GetParam()) + ".reg");
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_FALSE(text.empty());
    const std::string real = "HKEY_LOCAL_MACHINE";
    const std::string own = "HKEY_CURRENT_USER\\" + std::string(m_root.begin(), m_root.end());
    for (std::size_t at = 0; (at = text.find(real, at)) != std::string::npos; at += own.size()) {
      text.replace(at, real.size(), own);
    }
    wchar_t folder[MAX_PATH];
    ::GetTempPathW(MAX_PATH, folder);
    const std::wstring copy = folder + m_name + L".reg";
    std::ofstream(std::string(copy.begin(), copy.end())) << text;
    EXPECT_EQ(::_wsystem((L"regedit /S \"" + copy + L"\"").c_str()), 0);
    ::DeleteFileW(copy.c_str());
  }
  void TearDown() override {
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
  }

  const std::wstring m_name = L"qvrn-machines-test-" + std::to_wstring(::GetCurrentProcessId());
  const std::wstring m_root = L"Software\\" + m_name;
};

TEST_P(LabMachines, AdaptersWithVlansAndNoOthersAreBoundThroughTheDriver) {
  const tests::Session session(false);
  ComPtr<IEnumNetCfgComponent> components;
  ASSERT_EQ(session.netCfg->EnumComponents(&tests::kNetClass, &components), S_OK);
  std::set<std::wstring> throughDriver;
  std::size_t count = 0;
  for (ComPtr<INetCfgComponent> component; components->Next(1, &component, nullptr) == S_OK; ++count) {
    const std::wstring adapter = tests::BindName(component.Get());
    std::vector<std::wstring> disabled;
    for (const auto& path : tests::Paths(component.Get())) {
      const std::wstring token = tests::Token(path.Get());
      const bool isDirect = token != L"qvrn_muxp->" + adapter;
      const bool isEnabled = path->IsEnabled() == S_OK;
      if (isDirect && !isEnabled) disabled.push_back(token);
      if (!isDirect && isEnabled) throughDriver.insert(adapter);
    }
    EXPECT_EQ(disabled.size(), throughDriver.contains(adapter) ? 3u : 0u);
    RegistryKey parameters;
    ASSERT_EQ(component->OpenParamKey(parameters.Put()), S_OK);
    EXPECT_EQ(disabled, tests::MultiString(parameters, L"AdapterBindingBackup"));
  }
  EXPECT_GE(count, 3u);
  RegistryKey driver;
  std::set<std::wstring> withVlans;
  wchar_t name[qvrn::kPathChars];
  driver.Open(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Services\\muxp\\Parameters\\Adapters", KEY_READ);
  for (DWORD i = 0; driver.SubkeyName(i, name) == ERROR_SUCCESS; ++i) withVlans.insert(name);
  EXPECT_EQ(throughDriver, withVlans);
  EXPECT_EQ(withVlans.size(), GetParam() == std::string("vlans") ? 2u : 0u);
}

INSTANTIATE_TEST_SUITE_P(Lab, LabMachines, ::testing::Values("server", "vlans"));

}  // namespace
