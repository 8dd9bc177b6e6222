// Runs the function tests and every scenario of tests/scenarios in the multithreaded apartment, as the WMI service runs a provider, with the
// lab's network configuration and WMI as COM's. With QVRN_REWRITE set, scenarios that do not hold are rewritten.
#include <netcfgx.h>
#include <objbase.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "lab/host/importpatch.h"
#include "lab/netcfg/netcfg.h"
#include "lab/wmi/wbemhost.h"
#include "tests/scenario/interpreter.h"
#include "tests/scenario/platformcalls.h"
#include "tests/support/crashexit.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

namespace {

class Scenario : public ::testing::Test {
 public:
  explicit Scenario(std::filesystem::path file) : m_file(std::move(file)) {}

  void TestBody() override {
    std::ifstream stream(m_file, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(stream), {});
    const std::string seen = scenario::Interpreter().Replay(text);
    if (seen != text && std::getenv("QVRN_REWRITE") != nullptr) {
      std::ofstream(m_file, std::ios::binary) << seen;
    } else {
      EXPECT_EQ(seen, text) << m_file.string();
    }
  }

 private:
  std::filesystem::path m_file;
};

void Register(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.path().extension() == ".txt" && entry.path().parent_path().filename() != "machines")
      files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    const std::string name = file.stem().string();
    const std::string group = file.parent_path().filename().string();
    ::testing::RegisterTest(group.c_str(), name.c_str(), nullptr, nullptr, __FILE__, __LINE__,
                            [file]() -> ::testing::Test* { return new Scenario(file); });
  }
}

void RegisterClass(REFCLSID id, IUnknown* factory) {
  DWORD registration = 0;
  ::CoRegisterClassObject(id, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &registration);
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  tests::EndOnCrash();
  ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  for (const scenario::Replacement& replacement : scenario::Replacements()) {
    // This program has memory of its own.
    if (std::string_view(replacement.function) != "malloc")
      lab::PatchImport(::GetModuleHandleW(nullptr), replacement.function, replacement.with);
  }
  RegisterClass(CLSID_CNetCfg, lab::NetCfgClassFactory());
  RegisterClass(CLSID_WbemLocator, lab::LocatorClassFactory());
  IClassFactory* provider = nullptr;
  scenario::Service::getClassObject = ::DllGetClassObject;
  ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&provider));
  RegisterClass(qvrn::kProviderClassId, provider);
  Register(SCENARIOS);
  return RUN_ALL_TESTS();
}
