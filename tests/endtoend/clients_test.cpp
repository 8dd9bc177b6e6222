// What only processes on an installed lab can show: that every kind of client sees the same through the registered
// DLLs, what the client's own program adds to its library, and what the installation itself is.
#include <windows.h>

#include <objbase.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "platform/assertion.h"
#include "platform/registrykey.h"
#include "tests/endtoend/programs.h"
#include "tests/support/crashexit.h"

namespace {

using endtoend::Client;
using endtoend::OutputOf;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// What people copy from examples/.
std::string Script(const std::wstring& arguments) {
  return OutputOf(L"cscript //nologo C:\\qvrn\\examples\\vlans.js " + arguments);
}
std::string BasicScript(const std::wstring& arguments) {
  return OutputOf(L"cscript //nologo C:\\qvrn\\examples\\properties.vbs " + arguments);
}
std::string Example(const std::wstring& arguments) { return OutputOf(L"C:\\qvrn\\exampleclient.exe " + arguments); }
/// Without the blanks that fill columns: one between words.
std::string Words(const std::string& text) {
  std::istringstream words(text.substr(text.find_first_of("AMSPV")));  // behind a byte order mark
  std::string joined;
  for (std::string word; words >> word;) joined += word + " ";
  return joined;
}

class InstalledLab : public ::testing::Test {
 protected:
  InstalledLab() {
    EXPECT_EQ(OutputOf(L"regedit /S C:\\qvrn\\machines\\vlans.reg"), "");
    ::DeleteFileW(L"C:\\qvrn-journal.txt");
  }
};

TEST_F(InstalledLab, EveryClientSeesTheSame) {
  EXPECT_THAT(Client(L"vlan add 12 --id 7 --name Late"), HasSubstr("created 12/7 \"Late\" {"));
  EXPECT_THAT(Client(L"vlan remove Backup*"), HasSubstr("VLAN \"Backup*\" is not there"));
  EXPECT_EQ(Words(OutputOf(L"wmic path QvrnEN_VLAN get VLANName,VLANNumber,ParentDeviceID")),
            "ParentDeviceID VLANName VLANNumber 7 Office 10 7 Voice 20 12 Backup Network 300 12 Late 7 ");
  EXPECT_THAT(Script(L"list"), AllOf(StartsWith("adapter 7, VLAN 10, priority 0: Office {"),
                                     HasSubstr("adapter 12, VLAN 7, priority 0: Late {"), EndsWith("}\ndone\n")));
  EXPECT_THAT(Script(L"get {58E4C3A0-1D97-4A6B-8C02-E7B1946D3F22}"), HasSubstr("VLAN 20, priority 5: Voice {"));
  EXPECT_EQ(Script(L"save C:\\qvrn-a.xml"), "C:\\qvrn-a.xml is written\ndone\n");
  EXPECT_THAT(Client(L"save C:\\qvrn-b.xml"), EndsWith("4 VLANs saved in C:\\qvrn-b.xml\n"));
  EXPECT_THAT(OutputOf(L"fc C:\\qvrn-a.xml C:\\qvrn-b.xml"), Not(HasSubstr("exit")));
  EXPECT_THAT(Client(L"vlan remove Voice 12/300 12/7 Office"), Not(HasSubstr("exit")));
  EXPECT_THAT(Script(L"list"), StartsWith("done"));
  EXPECT_THAT(Script(L"restore C:\\qvrn-b.xml"),
              AllOf(HasSubstr("VLAN 300, priority 1: Backup Network {"), EndsWith("done\n")));
  EXPECT_THAT(Client(L"restore C:\\qvrn-a.xml --yes"), HasSubstr("created again 12/7 \"Late\" {"));
  EXPECT_EQ(Words(OutputOf(L"wmic path QvrnEN_NetworkAdapterConfiguration get MaxFrameSize")),
            "MaxFrameSize 1514 9014 ");
  for (const wchar_t* file : {L"C:\\qvrn-a.xml", L"C:\\qvrn-b.xml"}) ::DeleteFileW(file);
}

// Wine's scripting lacks Put_, so that a change by it shows how the scripts tell a failure.
TEST_F(InstalledLab, TheExamplesReadBackWhatHasBecomeOfAChange) {
  EXPECT_EQ(BasicScript(L"list"), "adapter 7: MaxFrameSize 1514\nadapter 12: MaxFrameSize 9014\ndone\n");
  EXPECT_EQ(Example(L"set 7 MaxFrameSize 9014"), "MaxFrameSize is 9014\n");
  EXPECT_EQ(BasicScript(L"get ethernet MaxFrameSize"), "MaxFrameSize 9014\ndone\n");
  EXPECT_EQ(Example(L"set 7 MaxFrameSize 99"), "client: The property is still 9014 (status 0x80041002)\nexit 1");
  EXPECT_THAT(BasicScript(L"set 7 MaxFrameSize 1514"),
              AllOf(StartsWith("failed: MaxFrameSize is still 9014"), EndsWith("exit 1")));
  EXPECT_THAT(BasicScript(L"set 12 MaxFrameSize 1514 RssMode 1"), HasSubstr("driver has no RssMode\nexit 1"));
  EXPECT_THAT(BasicScript(L"get 8 RssMode"), AllOf(HasSubstr("missing (80041002)"), EndsWith("exit 1")));
  EXPECT_THAT(BasicScript(L"get Ether RssMode"), EndsWith("no adapter has the connection \"Ether\"\nexit 1"));

  EXPECT_THAT(Example(L"add 7 33 Late"), StartsWith("created 7/33 \"Late\" {"));
  EXPECT_EQ(Example(L"add 7 34 Late"), "client: The VLAN was not created\nexit 1");
  EXPECT_EQ(Example(L"remove {58E4C3A0-1D97-4A6B-8C02-E7B1946D3F22}"),
            "removed {58E4C3A0-1D97-4A6B-8C02-E7B1946D3F22}\n");
  EXPECT_EQ(Example(L"remove {58E4C3A0-1D97-4A6B-8C02-E7B1946D3F22}"),
            "client: Removing ended with 0x80041002\nexit 1");
  EXPECT_THAT(Example(L"list"), AllOf(HasSubstr("VLAN 7/33 \"Late\" {"), Not(HasSubstr("Voice"))));
  EXPECT_THAT(Script(L"rename {D1750B6E-8F2C-4C39-B64A-09E83F5A2711} Offices"),
              AllOf(StartsWith("failed: the VLAN was not renamed: 0x80004001"), EndsWith("exit 1")));
  EXPECT_THAT(Script(L"save C:\\no\\vlans.xml"), EndsWith("was not written\nexit 1"));
}

TEST_F(InstalledLab, TheExamplesTellAnEmptyListFromAProviderThatIsNotThere) {
  OutputOf(L"regsvr32 /s /u C:\\qvrn\\qvrnwmiprovider.dll");
  EXPECT_EQ(BasicScript(L"list"), "failed: listing the adapters: the provider could not be loaded (80041013)\nexit 1");
  EXPECT_EQ(Script(L"list"), "failed: 0x80041013\nexit 1");
  OutputOf(L"regsvr32 /s C:\\qvrn\\qvrnwmiprovider.dll");
}

TEST_F(InstalledLab, TheClientIsAProgramWithWordsOutputAndAnExitStatus) {
  EXPECT_EQ(Client(L"--version"), "qvrnctl " PRODUCT_VERSION "\n");
  EXPECT_THAT(Client(L""), AllOf(StartsWith("qvrnctl: a command is missing\n"), EndsWith("exit 2")));
  // A name may hold what a shell would expand; outside a console all is UTF-8.
  EXPECT_THAT(Client(L"get *.cpp 2>nul"), EndsWith("exit 1"));
  EXPECT_THAT(Client(L"get C:\\qvrn\\*.exe"), StartsWith("qvrnctl: adapter \"C:\\qvrn\\*.exe\" is not served"));
  EXPECT_THAT(Client(L"get \u00FC\U0001F600"), StartsWith("qvrnctl: adapter \"\xC3\xBC\xF0\x9F\x98\x80\" is not"));
  EXPECT_THAT(Client(L"restore C:\\qvrn-no.xml"),
              AllOf(HasSubstr("without a terminal it needs --yes\n"), EndsWith("exit 2")));
}

TEST_F(InstalledLab, ARequestThatGetsNoAnswerIsGivenUp) {
  OutputOf(L"reg add HKLM\\SOFTWARE\\QvrnLab /v ForeignLock /d Other /f");
  EXPECT_THAT(Client(L"vlan add 7 --id 50 --name Slow --timeout 1"),
              AllOf(HasSubstr("WBEM_E_TIMED_OUT (0x80041069); no answer within 1 seconds"), EndsWith("exit 1")));
  OutputOf(L"reg delete HKLM\\SOFTWARE\\QvrnLab /v ForeignLock /f");
}

TEST_F(InstalledLab, WhatTheProviderReportsIsInTheJournal) {
  const std::wstring key = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}\\0012";
  qvrn::RegistryKey broken;
  broken.Create(HKEY_LOCAL_MACHINE, (key + L"\\Ndi\\config\\Broken").c_str(), KEY_WRITE);
  broken.WriteText(L"type", L"int");
  EXPECT_EQ(Words(OutputOf(L"wmic path QvrnEN_NetworkAdapterConfiguration get SettingID 2>nul")), "SettingID 7 ");
  std::ifstream journal("C:\\qvrn-journal.txt");
  EXPECT_THAT(std::string(std::istreambuf_iterator<char>(journal), {}), HasSubstr("assertion\t0, file cadvanceddlg"));
  EXPECT_THAT(Client(L"get 12"), EndsWith("its driver's parameter Broken has no name (ParamDesc)\nexit 1"));
}

TEST_F(InstalledLab, RegistrationNamesTheDll) {
  EXPECT_THAT(
      Words(OutputOf(L"reg query HKLM\\Software\\Classes\\CLSID\\{22CB8761-914A-11CF-B705-00AA0062CBB7} /s")),
      AllOf(HasSubstr("(Default) REG_SZ WMI Quorvane Ethernet Provider "),
            HasSubstr("InprocServer32 (Default) REG_SZ C:\\qvrn\\qvrnwmiprovider.dll ThreadingModel REG_SZ Both ")));
}

TEST_F(InstalledLab, TheDllHoldsTheTextOfTheEventOfAFailedCheck) {
  const HMODULE module = ::LoadLibraryExW(L"C:\\qvrn\\qvrnwmiprovider.dll", nullptr, LOAD_LIBRARY_AS_DATAFILE);
  DWORD_PTR inserts[] = {reinterpret_cast<DWORD_PTR>(L"bRet == true"), reinterpret_cast<DWORD_PTR>(L"common"),
                         reinterpret_cast<DWORD_PTR>(L"7")};
  wchar_t text[256] = {};
  ::FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, module, qvrn::kAssertionEvent, 0, text,
                   256, reinterpret_cast<va_list*>(inserts));
  EXPECT_STREQ(text,
               L"A check of the WMI Quorvane Ethernet Provider has failed; the request went on. Expression: bRet == "
               L"true. Source: common, line 7.\r\n");
  ::FreeLibrary(module);
}

// The module is idle until a provider has been initialised; from then on the handlers keep it in use.
TEST_F(InstalledLab, AFreshModuleCanBeUnloaded) {
  const HMODULE module = ::LoadLibraryW(L"C:\\qvrn\\qvrnwmiprovider.dll");
  ASSERT_NE(module, nullptr);
  const auto canUnload =
      reinterpret_cast<HRESULT(WINAPI*)()>(reinterpret_cast<void*>(::GetProcAddress(module, "DllCanUnloadNow")));
  const auto getClassObject = reinterpret_cast<HRESULT(WINAPI*)(REFCLSID, REFIID, void**)>(
      reinterpret_cast<void*>(::GetProcAddress(module, "DllGetClassObject")));
  ASSERT_TRUE(canUnload != nullptr && getClassObject != nullptr);
  EXPECT_EQ(canUnload(), S_OK);
  CLSID provider = {};
  ::CLSIDFromString(L"{22CB8761-914A-11CF-B705-00AA0062CBB7}", &provider);
  IClassFactory* factory = nullptr;
  ASSERT_EQ(getClassObject(provider, IID_IClassFactory, reinterpret_cast<void**>(&factory)), S_OK);
  // Locks and objects add up.
  IUnknown* object = nullptr;
  EXPECT_EQ(factory->LockServer(TRUE), S_OK);
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(&object)), S_OK);
  EXPECT_EQ(canUnload(), S_FALSE);
  object->Release();
  EXPECT_EQ(canUnload(), S_FALSE);
  EXPECT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(canUnload(), S_OK);
  factory->Release();
  ::FreeLibrary(module);
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  tests::EndOnCrash();
  return RUN_ALL_TESTS();
}
