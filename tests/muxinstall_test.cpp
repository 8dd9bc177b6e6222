// Installing the intermediate driver from INF files through the platform's setup API.
#include "mux/notifyob/muxinstall.h"

#include <gmock/gmock.h>

#include <fstream>
#include <string>
#include <vector>

#include "lab/labkey.h"
#include "lab/wmi/wbemhost.h"
#include "mux/notifyob/inffile.h"
#include "mux/notifyob/notifytrace.h"
#include "tests/support/hresult.h"
#include "tests/support/imports.h"
#include "tests/support/machine.h"
#include "tests/support/netcfgclient.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using tests::Machine;
using Lines = std::vector<std::string>;

constexpr char kVersion[] = "[Version]\nSignature=\"$Windows NT$\"\nClass=NetTrans\n";
constexpr char kModels[] = "[Manufacturer]\nQuorvane=Models\n[Models]\nDriver=Install,qvrn_muxp\n[Install]\n";

Lines g_printed;

class DriverInstallation : public ::testing::Test {
 protected:
  DriverInstallation() {
    wchar_t folder[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, folder);
    m_folder = folder + (L"qvrn-inf-" + std::to_wstring(::GetCurrentProcessId()));
    ::CreateDirectoryW(m_folder.c_str(), nullptr);
    m_machine.AddAdapter(7);
    g_printed.clear();
    m_printer = qvrn::SetPrinter([](const char* text) { g_printed.push_back(text); });
  }
  ~DriverInstallation() override {
    qvrn::SetPrinter(m_printer);
    wchar_t windows[MAX_PATH] = {};
    ::GetWindowsDirectoryW(windows, MAX_PATH);
    for (const std::wstring& folder : {m_folder, windows + std::wstring(L"\\inf")}) {
      for (const wchar_t* name : {L"\\muxp.inf", L"\\mux_mp.inf"}) ::DeleteFileW((folder + name).c_str());
    }
    ::RemoveDirectoryW(m_folder.c_str());
    tests::TakeDebugOutput();
  }

  void Write(const wchar_t* name, const std::string& text) const {
    const std::wstring path = m_folder + L"\\" + name;
    std::ofstream(std::string(path.begin(), path.end())) << text;
  }
  void WriteDriver() const {
    Write(L"muxp.inf", std::string(kVersion) + kModels);
    Write(L"mux_mp.inf",
          std::string(kVersion) + "[Manufacturer]\nQuorvane=Models\n[Models]\nDriver=Install,qvrn_muxmp\n");
  }

  // On a thread of its own: the installation leaves the apartment of its thread.
  HRESULT Install(DWORD classIndex = 2) const {
    HRESULT hr = E_UNEXPECTED;
    lab::RunAsClient(3, [&] { hr = qvrn::InstallMuxDriver(m_folder.c_str(), classIndex); });
    return hr;
  }

  Machine m_machine;
  std::wstring m_folder;
  qvrn::Printer m_printer;
};

Lines WithoutComponents(Lines lines) {
  std::erase_if(lines, [](const std::string& line) {
    for (const char* start : {"Display Name", "Guid", "ID =", "PNP ID", "Bind Name"}) {
      if (line.rfind(start, 0) == 0) return true;
    }
    return false;
  });
  return lines;
}

TEST_F(DriverInstallation, InstallsTheProtocolOnce) {
  WriteDriver();
  ASSERT_HRESULT(S_OK, Install());
  EXPECT_THAT(g_printed, ElementsAre("Display Name = Adapter 7\n", "Guid = 00000007-0000-0000-0000000000000000\n",
                                     "ID = qvx4\\halvex_eth\n", "PNP ID = PCI\\VEN_51A0&DEV_4801\\4&7\n",
                                     "Bind Name= {00000007-0000-0000-0000-000000000000}\n"));
  EXPECT_NE(tests::Session(false).Find(L"qvrn_muxp"), nullptr);
  const tests::Snapshot installed = m_machine.Registry();
  g_printed.clear();
  ASSERT_HRESULT(S_OK, Install());
  EXPECT_THAT(WithoutComponents(g_printed),
              ElementsAre("Component qvrn_muxp is already installed. nothing to do....\n"));
  EXPECT_THAT(tests::Changes(installed, m_machine.Registry()), IsEmpty());
}

// The lab's own driver package lies beside this program.
TEST_F(DriverInstallation, TheLabsPackageNamesItsComponents) {
  wchar_t program[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  const std::wstring path = program;
  const std::wstring package = path.substr(0, path.rfind(L'\\')) + L"\\driver\\Vlan_lbfo\\";
  for (const auto& [file, id] : {std::pair(L"muxp.inf", L"qvrn_muxp"), std::pair(L"mux_mp.inf", L"qvrn_muxmp")}) {
    qvrn::TaskText componentId;
    ASSERT_HRESULT(S_OK, qvrn::ReadInfComponentId((package + file).c_str(), componentId)) << file;
    EXPECT_STREQ(componentId.Get(), id);
  }
}

TEST_F(DriverInstallation, CallsTheNetworkConfigurationInOrder) {
  WriteDriver();
  m_machine.TakeNetworkCalls();
  ASSERT_HRESULT(S_OK, Install());
  std::vector<std::wstring> calls;
  for (const std::wstring& call : m_machine.TakeNetworkCalls()) {
    const std::wstring name = call.substr(0, call.find(L'('));
    if (name.rfind(L"INetCfgComponent", 0) != 0 && name.rfind(L"IEnum", 0) != 0) calls.push_back(name);
  }
  EXPECT_THAT(calls, ElementsAre(L"INetCfg::QueryInterface", L"INetCfgLock::AcquireWriteLock", L"INetCfg::Initialize",
                                 L"INetCfg::QueryNetCfgClass", L"INetCfgClass::EnumComponents",
                                 L"INetCfg::FindComponent", L"INetCfg::QueryNetCfgClass", L"INetCfgClassSetup::Install",
                                 L"INetCfg::Apply", L"INetCfg::Apply", L"INetCfg::Uninitialize",
                                 L"INetCfg::QueryInterface", L"INetCfgLock::ReleaseWriteLock"));
}

TEST_F(DriverInstallation, ReportsWhatItStumblesOver) {
  const std::string path(m_folder.begin(), m_folder.end());
  const auto unreadable = [](const char* code) {
    // The path is wide text read as narrow: its first character.
    return "Error reading the INF file C. Error=0x" + std::string(code);
  };
  const struct {
    std::string inf;  ///< empty: no file
    HRESULT result;
    std::string printed;
  } rows[] = {
      {"", static_cast<HRESULT>(0x80070002), unreadable("80070002")},
      {"[Version]\nSignature=\"$Nobody$\"\n", static_cast<HRESULT>(0xE0000100), unreadable("e0000100")},
      {kVersion, static_cast<HRESULT>(0xE0000102), unreadable("e0000102")},
      {std::string(kVersion) + "[Manufacturer]\nQuorvane=Models\n", static_cast<HRESULT>(0xE0000102),
       unreadable("e0000102")},
      {std::string(kVersion) + "[Manufacturer]\nQuorvane=Models\n[Models]\nDriver=Install\n", E_FAIL,
       unreadable("80004005")},
  };
  const tests::Snapshot before = m_machine.Registry();
  for (const auto& row : rows) {
    if (!row.inf.empty()) Write(L"muxp.inf", row.inf);
    g_printed.clear();
    EXPECT_HRESULT(row.result, Install()) << row.inf;
    EXPECT_THAT(g_printed, ElementsAre(row.printed)) << row.inf;
  }
  EXPECT_THAT(tests::Changes(before, m_machine.Registry()), IsEmpty());
}

TEST_F(DriverInstallation, RefusesWhatItCannotUse) {
  EXPECT_HRESULT(0x80070057, qvrn::InstallMuxDriver(nullptr, 2));
  EXPECT_THAT(g_printed, ElementsAre("Missing INF file....\n"));
  EXPECT_HRESULT(0x80070057, Install(4));
  m_folder += L"\\no-such-folder";
  EXPECT_HRESULT(0x80070003, Install());
  m_folder.resize(m_folder.rfind(L'\\'));
}

TEST_F(DriverInstallation, NamesTheHolderOfTheLock) {
  WriteDriver();
  m_machine.WriteText(lab::kLabKey, L"ForeignLock", L"Other Tool");
  EXPECT_HRESULT(0x8004A024, Install());
  EXPECT_THAT(g_printed, ElementsAre("O currently holds the lock, try later.\n"));
  m_machine.DeleteValue(lab::kLabKey, L"ForeignLock");
  g_printed.clear();
  m_machine.FailCall(L"INetCfg::Initialize", E_ACCESSDENIED);
  EXPECT_HRESULT(E_ACCESSDENIED, Install());
  EXPECT_THAT(g_printed, ElementsAre("Couldn't the get notify object interface.\n"));
  EXPECT_EQ(tests::Session().Acquire(0, L"probe"), S_OK) << "the lock is free";
}

TEST_F(DriverInstallation, PassesOnWhatTheNetworkConfigurationSays) {
  const struct {
    const wchar_t* call;
    HRESULT hr;
    Lines printed;
  } rows[] = {
      {L"INetCfgClass::EnumComponents",
       E_FAIL,
       {"Failed to get network component enumerator reference. Error=0x80004005\n",
        "GetOurGuid failed hr =0x80004005\n"}},
      {L"INetCfgClassSetup::Install",
       E_FAIL,
       {"Couldn't install the network component. Error=0x80004005\n",
        "InstallSpecifiedComponent failed hr =0x80004005\n"}},
      {L"INetCfgClassSetup::Install",
       static_cast<HRESULT>(0x800704C7),  // the person said no
       {"InstallSpecifiedComponent failed hr =0x800704c7\n"}},
      {L"INetCfg::Apply",
       E_FAIL,
       {"Couldn't install the network component. Error=0x80004005\n",
        "InstallSpecifiedComponent failed hr =0x80004005\n"}},
  };
  WriteDriver();
  for (const auto& row : rows) {
    g_printed.clear();
    m_machine.FailCall(row.call, row.hr);
    EXPECT_HRESULT(row.hr, Install()) << ::testing::PrintToString(row.printed);
    EXPECT_EQ(WithoutComponents(g_printed), row.printed);
  }
}

TEST_F(DriverInstallation, AFailingSearchIsNoObstacle) {
  WriteDriver();
  m_machine.FailCall(L"INetCfg::FindComponent", E_FAIL);
  EXPECT_HRESULT(S_OK, Install());
  EXPECT_THAT(WithoutComponents(g_printed),
              ElementsAre("Failed to retrieves the network component that matches the specified component identifier "
                          "qvrn_muxp. Error=0x80004005\n"));
}

TEST_F(DriverInstallation, KeepsTheProtocolWhenTheMiniportPackageIsMissing) {
  Write(L"muxp.inf", std::string(kVersion) + kModels);
  EXPECT_HRESULT(0x80070002, Install());
  EXPECT_THAT(WithoutComponents(g_printed), ElementsAre("SetupCopyOEMInfW returned hr = 0x80070002\n"));
  EXPECT_NE(tests::Session(false).Find(L"qvrn_muxp"), nullptr);
}

}  // namespace
