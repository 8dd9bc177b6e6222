// What the files of lab/machines promise, each loaded below a key of this test by the platform's own registry editor.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/functiontest.h"

#ifndef LAB_MACHINES
#define LAB_MACHINES "lab/machines"
#endif

namespace {

using Path = std::filesystem::path;

std::vector<Path> Machines() {
  std::vector<Path> files;
  for (const auto& entry : std::filesystem::directory_iterator(LAB_MACHINES)) {
    if (entry.path().extension() == ".reg") files.push_back(entry.path());
  }
  return files;
}

class LabMachines : public tests::FunctionTest, public ::testing::WithParamInterface<Path> {
 protected:
  LabMachines() {
    // Two keys that every Windows has.
    Tell(
        "machine; registry-set SYSTEM\\CurrentControlSet\\Services; "
        "registry-set SYSTEM\\CurrentControlSet\\Enum\\ROOT");
    Load(GetParam());
  }

  void Load(const Path& machine) {
    std::ifstream file(machine);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_FALSE(text.empty());
    const std::string own = "HKEY_CURRENT_USER\\" + scenario::Utf8(m_interpreter.Machine().Path());
    const Path copy = scenario::Sandbox::Folder() + L"machine.reg";
    std::ofstream(copy) << scenario::Replaced(text, "HKEY_LOCAL_MACHINE", own);
    EXPECT_EQ(::_wsystem((L"regedit /S \"" + copy.wstring() + L"\"").c_str()), 0);
  }
};

// The removal of all VLANs enables what they have disabled, and what their adapters have written down.
TEST_P(LabMachines, AdaptersWithVlansAndNoOthersAreBoundThroughTheDriver) {
  Tell("file <temp>none.xml <none/>; method QvrnEN_VLAN RestoreVlanConfiguration sFileName=\"<temp>none.xml\"");
  for (const std::string part : {"Linkage:", "AdapterBindingBackup", "UpperBindings", "VlanID"})
    EXPECT_EQ(Tell("registry " + part), "");
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
