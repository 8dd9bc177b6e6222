#include "lab/journal.h"

#include <windows.h>

#include <setupapi.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "lab/classinstaller.h"
#include "lab/labkey.h"
#include "platform/handle.h"
#include "platform/registrykey.h"
#include "tests/support/machine.h"
#include "tests/support/netcfgclient.h"

namespace {

using Texts = std::vector<std::wstring>;

/// A machine with one adapter, 0007.
class LabJournal : public ::testing::Test {
 protected:
  LabJournal() { m_machine.AddAdapter(7); }

  static std::wstring Restart(const wchar_t* name) {
    qvrn::RegistryKey key;
    wchar_t text[qvrn::kPathChars] = {};
    key.Open(HKEY_LOCAL_MACHINE, (std::wstring(lab::kLabKey) + L"\\Restarts").c_str(), KEY_QUERY_VALUE);
    key.ReadText(name, text);
    return text;
  }

  tests::Machine m_machine;
};

TEST_F(LabJournal, KeepsOneLinePerEvent) {
  lab::Record(lab::kPrinted, L"tab\there");
  lab::Record(lab::kRestart, L"two\r\nlines");
  EXPECT_EQ(lab::Recorded(lab::kRestart), Texts{L"two\\nlines"});
  EXPECT_EQ(lab::Recorded(), (Texts{L"printed\ttab\\there", L"restart\ttwo\\nlines"}));
  lab::ClearJournal();
  EXPECT_EQ(lab::Recorded(), Texts{});
}

TEST_F(LabJournal, KeepsNoJournalWhenToldSo) {
  const std::wstring journal = lab::JournalPath();
  m_machine.WriteText(lab::kLabKey, L"Journal", L"");
  tests::Session().netCfg->Initialize(nullptr);
  lab::Record(lab::kRestart, L"x");
  EXPECT_EQ(lab::Recorded(), Texts{});
  m_machine.WriteText(lab::kLabKey, L"Journal", journal.c_str());
  EXPECT_EQ(lab::Recorded(), Texts{});
}

TEST_F(LabJournal, JournalLosesNothingBetweenThreads) {
  const std::wstring path = lab::JournalPath();
  const auto append = [&] {
    for (int i = 0; i < 500; ++i) lab::RecordIn(path, lab::kPrinted, L"line \u00e4");
  };
  std::thread first(append);
  std::thread second(append);
  first.join();
  second.join();
  EXPECT_EQ(lab::Recorded(lab::kPrinted), Texts(1000, L"line \u00e4"));
}

TEST_F(LabJournal, ClassInstallerCountsRestarts) {
  const std::wstring id = tests::Machine::DeviceId(7);
  const qvrn::DeviceInfoList set(::SetupDiCreateDeviceInfoListExW(nullptr, nullptr, nullptr, nullptr));
  ASSERT_TRUE(set);
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof(device);
  ASSERT_TRUE(::SetupDiOpenDeviceInfoW(set.Get(), id.c_str(), nullptr, 0, &device)) << ::GetLastError();
  EXPECT_EQ(LabClassInstaller(DIF_SELECTBESTCOMPATDRV, set.Get(), &device), DWORD{ERROR_DI_DO_DEFAULT});
  EXPECT_EQ(Restart(L"0001"), L"");

  const auto restart = [&] {
    for (int i = 0; i < 50; ++i) EXPECT_EQ(LabClassInstaller(DIF_PROPERTYCHANGE, set.Get(), &device), DWORD{NO_ERROR});
  };
  std::thread first(restart);
  std::thread second(restart);
  first.join();
  second.join();
  for (const wchar_t* name : {L"0001", L"0100"}) {
    const std::wstring entry = Restart(name);
    ASSERT_EQ(entry.size(), 21 + id.size());
    EXPECT_EQ(entry.substr(19), L"Z " + id);
  }
  EXPECT_EQ(Restart(L"0101"), L"");
  EXPECT_EQ(lab::Recorded(lab::kRestart), Texts(100, id));
}

}  // namespace
