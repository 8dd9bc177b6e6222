// What the files of lab/machines promise, loaded below a key of this test by the platform's own registry editor.
#include <windows.h>

#include <gtest/gtest.h>

#include <cwchar>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/handle.h"
#include "platform/registrykey.h"
#include "tests/support/netcfgclient.h"
#include "tests/support/registrysnapshot.h"

#ifndef LAB_MACHINES
#define LAB_MACHINES "lab/machines"
#endif

namespace {

using qvrn::RegistryKey;

const std::wstring kControl = L"SYSTEM\\CurrentControlSet\\";
const std::wstring kNetKey = kControl + L"Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}";
const std::wstring kMuxAdapters = kControl + L"Services\\muxp\\Parameters\\Adapters";

std::wstring Below(std::wstring path, std::wstring_view name) {
  if (!path.empty()) path += L'\\';
  return path.append(name);
}

/// A key's subkeys and the texts of its values but long ones, below HKEY_LOCAL_MACHINE.
struct Key {
  std::set<std::wstring> subkeys;
  std::map<std::wstring, std::wstring> values;

  explicit Key(const std::wstring& path) {
    RegistryKey key;
    wchar_t subkey[qvrn::kPathChars];
    wchar_t name[qvrn::kTextChars];
    wchar_t text[qvrn::kTextChars];
    if (key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_READ) != ERROR_SUCCESS) return;
    for (DWORD i = 0; key.SubkeyName(i, subkey) == ERROR_SUCCESS; ++i) subkeys.insert(subkey);
    LSTATUS status = ERROR_SUCCESS;
    for (DWORD i = 0; (status = key.EnumerateText(i, name, text)) != ERROR_NO_MORE_ITEMS; ++i) {
      if (status == ERROR_SUCCESS) values.emplace(name, text);
    }
  }
  std::wstring operator[](const wchar_t* name) const {
    const auto found = values.find(name);
    return found == values.end() ? L"(absent)" : found->second;
  }
};

/// The entries of a multi-string; none when it is absent.
std::vector<std::wstring> Entries(const RegistryKey& key, const wchar_t* name) {
  std::vector<wchar_t> text;
  std::size_t chars = 0;
  std::vector<std::wstring> entries;
  if (key.ReadMultiString(name, text, chars) != ERROR_SUCCESS) return entries;
  for (const wchar_t* at = text.data(); *at != L'\0'; at += entries.back().size() + 1) entries.emplace_back(at);
  return entries;
}

class LabMachines : public ::testing::Test {
 protected:
  void SetUp() override {
    RegistryKey root;
    ASSERT_EQ(root.Create(HKEY_CURRENT_USER, m_root.c_str(), KEY_ALL_ACCESS), ERROR_SUCCESS);
    ASSERT_EQ(::RegOverridePredefKey(HKEY_LOCAL_MACHINE, root.Get()), ERROR_SUCCESS);
    for (const wchar_t* name : {L"Enum\\ROOT", L"Services"}) {  // as every machine has them
      RegistryKey key;
      ASSERT_EQ(key.Create(HKEY_LOCAL_MACHINE, (kControl + name).c_str(), KEY_WRITE), ERROR_SUCCESS);
    }
  }
  void TearDown() override {
    ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    ::RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
  }

  void Load(const std::string& machine) {
    std::ifstream file(LAB_MACHINES "/" + machine + ".reg");
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_FALSE(text.empty()) << machine;
    const std::string real = "HKEY_LOCAL_MACHINE";
    const std::string own = "HKEY_CURRENT_USER\\" + std::string(m_root.begin(), m_root.end());
    for (std::size_t at = 0; (at = text.find(real, at)) != std::string::npos; at += own.size()) {
      text.replace(at, real.size(), own);
    }
    wchar_t folder[MAX_PATH];
    ::GetTempPathW(MAX_PATH, folder);
    const std::wstring copy = folder + m_name + L".reg";
    std::ofstream(std::string(copy.begin(), copy.end())) << text;
    RunRegistryEditor(copy);
    ::DeleteFileW(copy.c_str());
  }

  static void RunRegistryEditor(const std::wstring& file) {
    std::wstring command = L"regedit.exe /S \"" + file + L"\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    ASSERT_TRUE(
        ::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process));
    const qvrn::KernelHandle thread(process.hThread);
    const qvrn::KernelHandle editor(process.hProcess);
    ASSERT_EQ(::WaitForSingleObject(editor.Get(), 60000), WAIT_OBJECT_0);
  }

  const std::wstring m_name = L"qvrn-machines-test-" + std::to_wstring(::GetCurrentProcessId());
  const std::wstring m_root = L"Software\\" + m_name;
};

/// Setting and default are ones that the descriptor allows, in canonical decimal.
void ExpectAllowed(const std::wstring& path, const Key& descriptor, const std::wstring& value) {
  EXPECT_EQ(std::to_wstring(::_wtoi(value.c_str())), value);
  if (descriptor[L"type"] == L"enum") {
    EXPECT_TRUE(Key(path + L"\\Enum").values.contains(value)) << "no such setting: " << ::_wtoi(value.c_str());
  } else if (descriptor[L"type"] == L"int") {
    EXPECT_LE(::_wtoi(descriptor[L"min"].c_str()), ::_wtoi(value.c_str()));
    EXPECT_GE(::_wtoi(descriptor[L"max"].c_str()), ::_wtoi(value.c_str()));
  } else {
    EXPECT_EQ(descriptor[L"ParamDesc"], L"Number of Receive Rings");
  }
}

TEST_F(LabMachines, DescriptorsAndSettingsAgree) {
  Load("server");
  const struct {
    const wchar_t* index;
    std::size_t descriptors;
    std::size_t hidden;
    std::size_t absent;
  } rows[] = {{L"0007", 21, 2, 3}, {L"0009", 2, 0, 0}, {L"0012", 8, 1, 1}};
  for (const auto& row : rows) {
    const std::wstring instanceKey = Below(kNetKey, row.index);
    const std::wstring config = instanceKey + L"\\Ndi\\config\\";
    const Key instance(instanceKey);
    const Key parameters(config);
    std::size_t hidden = 0;
    std::size_t absent = 0;
    for (const std::wstring& parameter : parameters.subkeys) {
      SCOPED_TRACE(row.index + (L" " + parameter));
      const Key descriptor(config + parameter);
      const std::wstring value = instance[parameter.c_str()];
      hidden += descriptor[L"Group"] == L"None" ? 1 : 0;
      absent += value == L"(absent)" ? 1 : 0;
      ExpectAllowed(config + parameter, descriptor, descriptor[L"default"]);
      if (value != L"(absent)") ExpectAllowed(config + parameter, descriptor, value);
    }
    EXPECT_EQ(parameters.subkeys.size(), row.descriptors);
    EXPECT_EQ(hidden, row.hidden);
    EXPECT_EQ(absent, row.absent);
  }
}

TEST_F(LabMachines, EveryDeviceIsThereAndEveryVlanHasAMiniport) {
  Load("vlans");
  std::map<std::wstring, std::wstring> vlans;
  for (const std::wstring& index : Key(kNetKey).subkeys) {
    const Key instance(Below(kNetKey, index));
    const Key device(kControl + L"Enum\\" + instance[L"DeviceInstanceID"]);
    EXPECT_EQ(device[L"Driver"], L"{4D36E972-E325-11CE-BFC1-08002bE10318}\\" + index);
    if (instance[L"ComponentId"] == L"qvrn_muxmp") vlans[instance[L"NetCfgInstanceId"]] = instance[L"VlanID"];
  }
  std::wstring found;
  for (const std::wstring& adapter : Key(kMuxAdapters).subkeys) {
    RegistryKey key;
    ASSERT_EQ(key.Open(HKEY_LOCAL_MACHINE, Below(kMuxAdapters, adapter).c_str(), KEY_READ), ERROR_SUCCESS);
    for (const std::wstring& name : Entries(key, L"UpperBindings")) {
      found += vlans[name.substr(std::wcslen(L"\\Device\\"))] + L" ";
    }
  }
  EXPECT_EQ(found, L"20 10 300 ");
}

TEST_F(LabMachines, AdaptersWithVlansAreBoundThroughTheDriver) {
  Load("vlans");
  const tests::Session session(false);
  Microsoft::WRL::ComPtr<IEnumNetCfgComponent> components;
  ASSERT_EQ(session.netCfg->EnumComponents(&tests::kNetClass, &components), S_OK);
  std::set<std::wstring> throughDriver;
  for (Microsoft::WRL::ComPtr<INetCfgComponent> component; components->Next(1, &component, nullptr) == S_OK;) {
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
    EXPECT_EQ(disabled, Entries(parameters, L"AdapterBindingBackup"));
  }
  EXPECT_EQ(throughDriver, Key(kMuxAdapters).subkeys);
}

TEST_F(LabMachines, LoadingReplacesTheMachineBefore) {
  Load("server");
  const tests::Snapshot server = tests::TakeSnapshot(HKEY_LOCAL_MACHINE);
  Load("vlans");
  ASSERT_NE(tests::TakeSnapshot(HKEY_LOCAL_MACHINE), server);
  Load("server");
  EXPECT_EQ(tests::Changes(server, tests::TakeSnapshot(HKEY_LOCAL_MACHINE)), std::vector<std::wstring>{});
}

}  // namespace
