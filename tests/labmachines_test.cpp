// What the files of lab/machines promise, each loaded below a key of this test by the platform's own registry editor.
#include <windows.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "platform/registrykey.h"
#include "tests/scenario/events.h"
#include "tests/scenario/sandbox.h"
#include "tests/support/netcfgclient.h"

#ifndef LAB_MACHINES
#define LAB_MACHINES "lab/machines"
#endif

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::RegistryKey;
using Path = std::filesystem::path;

std::vector<Path> Machines() {
  std::vector<Path> files;
  for (const auto& entry : std::filesystem::directory_iterator(LAB_MACHINES)) {
    if (entry.path().extension() == ".reg") files.push_back(entry.path());
  }
  return files;
}

class LabMachines : public ::testing::TestWithParam<Path> {
 protected:
  LabMachines() {
    // Two keys that every Windows has.
    for (const wchar_t* key : {L"SYSTEM\\CurrentControlSet\\Services", L"SYSTEM\\CurrentControlSet\\Enum\\ROOT"})
      m_machine.Write(key, L"", {});
    Load(GetParam());
  }

  void Load(const Path& machine) const {
    std::ifstream file(machine);
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_FALSE(text.empty());
    const std::string real = "HKEY_LOCAL_MACHINE";
    const std::string own = "HKEY_CURRENT_USER\\" + scenario::Utf8(m_machine.Path());
    for (std::size_t at = 0; (at = text.find(real, at)) != std::string::npos; at += own.size())
      text.replace(at, real.size(), own);
    const Path copy = scenario::Sandbox::Folder() + L"machine.reg";
    std::ofstream(copy) << text;
    EXPECT_EQ(::_wsystem((L"regedit /S \"" + copy.wstring() + L"\"").c_str()), 0);
  }

  scenario::Sandbox m_machine;
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
    std::vector<wchar_t> text;
    std::size_t chars = 0;
    std::vector<std::wstring> backup;
    if (parameters.ReadMultiString(L"AdapterBindingBackup", text, chars) == ERROR_SUCCESS)
      for (const wchar_t* at = text.data(); *at != L'\0'; at += backup.back().size() + 1) backup.emplace_back(at);
    EXPECT_EQ(disabled, backup);
  }
  EXPECT_GE(count, 1u);
  RegistryKey driver;
  std::set<std::wstring> withVlans;
  wchar_t name[qvrn::kPathChars];
  driver.Open(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Services\\muxp\\Parameters\\Adapters", KEY_READ);
  for (DWORD i = 0; driver.SubkeyName(i, name) == ERROR_SUCCESS; ++i) withVlans.insert(name);
  EXPECT_EQ(throughDriver, withVlans);
}

TEST_P(LabMachines, LeaveNothingOfAnotherMachine) {
  const scenario::Snapshot fresh = scenario::TakeSnapshot(HKEY_LOCAL_MACHINE);
  for (const Path& other : Machines()) Load(other);
  Load(GetParam());
  EXPECT_THAT(scenario::Changes(fresh, scenario::TakeSnapshot(HKEY_LOCAL_MACHINE)), ::testing::IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Lab, LabMachines, ::testing::ValuesIn(Machines()),
                         [](const auto& machine) { return machine.param.stem().string(); });

}  // namespace
