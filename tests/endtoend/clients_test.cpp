// The platform's own clients, and COM's view of the registered provider.
#include <windows.h>

#include <objbase.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tests/endtoend/installedlab.h"

namespace {

using ::testing::HasSubstr;
using tests::InstalledLab;
using tests::ProgramResult;
using tests::RunProgram;

TEST_F(InstalledLab, WmicListsAValueForEachServedAdapter) {
  WriteText(InstanceKey(L"0012"), L"*JumboPacket", L"4088");
  const ProgramResult result = RunProgram(L"wmic path QvrnEN_NetworkAdapterConfiguration get MaxFrameSize");
  EXPECT_EQ(result.exitCode, 0u);
  std::istringstream words(result.output.substr(result.output.find('M')));  // behind the byte order mark
  EXPECT_THAT(std::vector<std::string>(std::istream_iterator<std::string>(words), {}),
              ::testing::ElementsAre("MaxFrameSize", "1514", "4088"));
}

TEST_F(InstalledLab, AScriptReadsTheSameValues) {
  const char script[] = R"js(
var services = new ActiveXObject("WbemScripting.SWbemLocator").ConnectServer(".", "root\\cimv2");
var set = services.ExecQuery("SELECT * FROM QvrnEN_NetworkAdapterConfiguration");
for (var i = 0; i < set.Count; ++i) {
  var properties = set.ItemIndex(i).Properties_;
  WScript.Echo(properties.Item("SettingID").Value + ": " + properties.Item("MaxFrameSize").Value);
}
var one = services.Get("QvrnEN_NetworkAdapterConfiguration.SettingID=\"7\"");
WScript.Echo("get: " + one.Properties_.Item("MaxFrameSize").Value);
WScript.Echo("done");
)js";
  std::ofstream("C:\\qvrn-test.js") << script;
  const ProgramResult result = RunProgram(L"cscript //nologo C:\\qvrn-test.js");
  ::DeleteFileW(L"C:\\qvrn-test.js");
  EXPECT_EQ(result.output, "7: 1514\n12: 9014\nget: 1514\ndone\n") << result.errors;
}

TEST_F(InstalledLab, AClientOfTooLowALevelIsDenied) {
  WriteNumber(L"SOFTWARE\\QvrnLab", L"ImpersonationLevel", 2);
  const ProgramResult result = tests::Client(L"adapters");
  EXPECT_EQ(result.exitCode, 1u);
  EXPECT_THAT(result.errors, HasSubstr("WBEM_E_ACCESS_DENIED (0x80041003)"));
  EXPECT_EQ(tests::Client(L"get 7 MaxFrameSize").exitCode, 1u);
}

TEST_F(InstalledLab, RegistrationNamesTheDll) {
  const std::wstring key = L"Software\\classes\\CLSID\\{22CB8761-914A-11CF-B705-00AA0062CBB7}";
  EXPECT_EQ(ReadText(key, nullptr), L"WMI Quorvane Ethernet Provider");
  EXPECT_EQ(ReadText(key + L"\\InprocServer32", nullptr), L"C:\\qvrn\\qvrnwmiprovider.dll");
  EXPECT_EQ(ReadText(key + L"\\InprocServer32", L"ThreadingModel"), L"Both");
}

// The module is idle until a provider has been initialised; from then on the handlers keep it in use.
TEST_F(InstalledLab, AFreshModuleCanBeUnloaded) {
  // A copy, as other tests of this program use the module itself.
  constexpr wchar_t kCopy[] = L"C:\\qvrn-fresh.dll";
  ASSERT_TRUE(::CopyFileW(L"C:\\qvrn\\qvrnwmiprovider.dll", kCopy, FALSE));
  const HMODULE module = ::LoadLibraryW(kCopy);
  ASSERT_NE(module, nullptr);
  const auto canUnload =
      reinterpret_cast<HRESULT(WINAPI*)()>(reinterpret_cast<void*>(::GetProcAddress(module, "DllCanUnloadNow")));
  ASSERT_NE(canUnload, nullptr);
  EXPECT_EQ(canUnload(), S_OK);
  ::FreeLibrary(module);
  ::DeleteFileW(kCopy);
}

TEST_F(InstalledLab, AnAdapterWithABrokenDescriptionIsLeftOut) {
  WriteText(InstanceKey(L"0012") + L"\\Ndi\\config\\Broken", L"type", L"int");
  const ProgramResult result = RunProgram(L"wmic path QvrnEN_NetworkAdapterConfiguration get SettingID");
  EXPECT_THAT(result.output, HasSubstr("7"));
  EXPECT_THAT(result.output, ::testing::Not(HasSubstr("12")));
  EXPECT_THAT(Journal(), ::testing::Contains(::testing::StartsWith("assertion\t0, file cadvanceddlg")));
  const ProgramResult client = tests::Client(L"get 12");
  EXPECT_EQ(client.exitCode, 1u);
  EXPECT_THAT(client.errors, HasSubstr("WBEM_E_FAILED (0x80041001)"));
}

}  // namespace
