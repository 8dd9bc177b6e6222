// The life of a VLAN as every kind of client sees it: one written on IWbemServices, scripts, wmic and qvrnctl.
#include <wrl/client.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "platform/comtext.h"
#include "platform/wmi.h"
#include "tests/endtoend/installedlab.h"
#include "tests/support/hresult.h"

namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;
using qvrn::Variant;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using tests::InstalledLab;
using tests::RunProgram;
using Lines = std::vector<std::string>;
using Object = ComPtr<IWbemClassObject>;

std::string Narrow(const wchar_t* text) {
  const std::wstring wide = text;
  return {wide.begin(), wide.end()};  // every text here is plain ASCII
}

// A client on the platform's interfaces alone.
class WmiScript {
 public:
  WmiScript() {
    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ComPtr<IWbemLocator> locator;
    EXPECT_HRESULT(S_OK, ::CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&locator)));
    EXPECT_HRESULT(S_OK, locator->ConnectServer(Bstr(L"root\\cimv2").Get(), nullptr, nullptr, nullptr, 0, nullptr,
                                                nullptr, &m_services));
  }

  Object Fetch(const wchar_t* path) const {
    Object object;
    m_services->GetObject(Bstr(path).Get(), 0, nullptr, &object, nullptr);
    return object;
  }
  HRESULT Create(const wchar_t* parent, LONG number, const wchar_t* name) const {
    Object instance;
    EXPECT_HRESULT(S_OK, Fetch(L"QvrnEN_VLAN")->SpawnInstance(0, &instance));
    Variant texts[] = {Variant(parent), Variant(name)};
    Variant numbers[] = {Variant(number), Variant(LONG{0})};
    instance->Put(L"ParentDeviceID", 0, texts[0].Get(), 0);
    instance->Put(L"VLANName", 0, texts[1].Get(), 0);
    instance->Put(L"VLANNumber", 0, numbers[0].Get(), 0);
    instance->Put(L"VLANPriority", 0, numbers[1].Get(), 0);
    return Put(instance.Get());
  }
  HRESULT Put(IWbemClassObject* instance) const { return m_services->PutInstance(instance, 0, nullptr, nullptr); }
  HRESULT Delete(const std::string& path) const {
    return m_services->DeleteInstance(Bstr(std::wstring(path.begin(), path.end()).c_str()).Get(), 0, nullptr, nullptr);
  }
  HRESULT Call(const wchar_t* method, const wchar_t* file) const {
    Object signature;
    Object in;
    Object out;
    EXPECT_HRESULT(S_OK, Fetch(L"QvrnEN_VLAN")->GetMethod(method, 0, &signature, nullptr));
    EXPECT_HRESULT(S_OK, signature->SpawnInstance(0, &in));
    Variant name(file);
    in->Put(L"sFileName", 0, name.Get(), 0);
    const HRESULT hr =
        m_services->ExecMethod(Bstr(L"QvrnEN_VLAN").Get(), Bstr(method).Get(), 0, nullptr, in.Get(), &out, nullptr);
    EXPECT_EQ(out, nullptr) << "a return value came";
    return hr;
  }
  std::vector<Object> Query(const wchar_t* query) const {
    ComPtr<IEnumWbemClassObject> found;
    m_services->ExecQuery(Bstr(L"WQL").Get(), Bstr(query).Get(), WBEM_FLAG_FORWARD_ONLY, nullptr, &found);
    std::vector<Object> objects;
    for (ULONG count = 1; found != nullptr;) {
      Object object;
      found->Next(static_cast<LONG>(WBEM_INFINITE), 1, &object, &count);
      if (count == 0) break;
      objects.push_back(object);
    }
    return objects;
  }
  // "PARENT NUMBER NAME" of each.
  static Lines Describe(const std::vector<Object>& vlans) {
    Lines lines;
    for (const Object& vlan : vlans) {
      Variant number;
      vlan->Get(L"VLANNumber", 0, number.Put(), nullptr, nullptr);
      lines.push_back(Text(vlan, L"ParentDeviceID") + " " + std::to_string(number.Integer()) + " " +
                      Text(vlan, L"VLANName"));
    }
    return lines;
  }
  Lines List() const { return Describe(Query(L"SELECT * FROM QvrnEN_VLAN")); }
  static std::string Text(const Object& object, const wchar_t* property) {
    Variant value;
    object->Get(property, 0, value.Put(), nullptr, nullptr);
    return value.IsText() ? Narrow(value.Text()) : "";
  }

 private:
  ComPtr<IWbemServices> m_services;
};

Lines LinesOf(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// What the example script prints: "adapter 7, VLAN 10, priority 0: NAME GUID" becomes "7 10 NAME".
Lines ScriptList() {
  Lines lines = LinesOf(RunProgram(L"cscript //nologo C:\\qvrn\\examples\\vlans.js list").output);
  EXPECT_FALSE(lines.empty());
  if (lines.empty() || lines.back() != "done") return {"the script failed"};
  lines.pop_back();
  for (std::string& line : lines) {
    std::istringstream words(line);
    std::string skipped, adapter, number, name;
    words >> skipped >> adapter >> skipped >> number >> skipped >> skipped >> name;
    line = adapter.substr(0, adapter.size() - 1) + " " + number.substr(0, number.size() - 1) + " " + name;
  }
  return lines;
}

// wmic's rows: name, number and adapter, one word each, under a line of headings.
Lines WmicList() {
  const Lines rows = LinesOf(RunProgram(L"wmic path QvrnEN_VLAN get VLANName,VLANNumber,ParentDeviceID").output);
  Lines lines;
  for (std::size_t row = 1; row < rows.size(); ++row) {
    std::istringstream words(rows[row]);
    std::string adapter, name, number;
    if (words >> adapter >> name >> number) lines.push_back(adapter + " " + number + " " + name);
  }
  return lines;
}

// qvrnctl's table has the columns ADAPTER, VLAN and NAME first.
Lines ClientList() {
  Lines lines;
  const Lines rows = LinesOf(tests::Client(L"vlans").output);
  for (std::size_t row = 1; row < rows.size(); ++row) {
    std::istringstream words(rows[row]);
    std::string adapter, number, name;
    words >> adapter >> number >> name;
    lines.push_back(adapter + " " + number + " " + name);
  }
  return lines;
}

TEST_F(InstalledLab, AVlanLivesTheSameForEveryClient) {
  const WmiScript wmi;
  const auto everyoneLists = [&wmi](const Lines& expected) {
    EXPECT_EQ(wmi.List(), expected);
    EXPECT_EQ(ScriptList(), expected);
    EXPECT_EQ(WmicList(), expected);
    EXPECT_EQ(ClientList(), expected);
  };
  EXPECT_THAT(wmi.List(), IsEmpty());
  EXPECT_HRESULT(S_OK, wmi.Create(L"7", 10, L"Office"));
  EXPECT_HRESULT(S_OK, wmi.Create(L"12", 300, L"Backup"));
  EXPECT_HRESULT(S_OK, wmi.Create(L"7", 20, L"Voice"));
  EXPECT_HRESULT(S_OK, wmi.Create(L"7", 20, L"Again"));
  everyoneLists({"7 10 Office", "7 20 Voice", "12 300 Backup"});

  const std::vector<Object> found = wmi.Query(L"SELECT * FROM QvrnEN_VLAN WHERE VLANNumber = 20");
  EXPECT_THAT(WmiScript::Describe(found), ElementsAre("7 20 Voice"));
  ASSERT_EQ(found.size(), 1u);
  const std::string path = WmiScript::Text(found[0], L"__RELPATH");
  const Object vlan = wmi.Fetch(std::wstring(path.begin(), path.end()).c_str());
  ASSERT_NE(vlan, nullptr);
  const std::string keyText = WmiScript::Text(vlan, L"Name");
  EXPECT_EQ(keyText, WmiScript::Text(found[0], L"Name"));
  const std::wstring key(keyText.begin(), keyText.end());
  EXPECT_THAT(RunProgram(L"cscript //nologo C:\\qvrn\\examples\\vlans.js get " + key).output,
              HasSubstr("adapter 7, VLAN 20, priority 0: Voice {"));

  Variant name(L"Telephony");
  Variant taken(LONG{10});
  vlan->Put(L"VLANName", 0, name.Get(), 0);
  EXPECT_HRESULT(S_OK, wmi.Put(vlan.Get()));
  vlan->Put(L"VLANNumber", 0, taken.Get(), 0);
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, wmi.Put(vlan.Get()));
  const Lines changed = {"7 10 Office", "7 20 Telephony", "12 300 Backup"};
  everyoneLists(changed);

  // What one client saves another restores.
  EXPECT_HRESULT(S_OK, wmi.Call(L"SaveVlanConfiguration", L"C:\\qvrn-vlans.xml"));
  for (const Object& one : wmi.Query(L"SELECT * FROM QvrnEN_VLAN")) {
    EXPECT_HRESULT(S_OK, wmi.Delete(WmiScript::Text(one, L"__RELPATH")));
  }
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, wmi.Delete(path));
  everyoneLists({});
  EXPECT_THAT(LinesOf(RunProgram(L"cscript //nologo C:\\qvrn\\examples\\vlans.js restore C:\\qvrn-vlans.xml").output),
              ::testing::Contains("done"));
  everyoneLists(changed);
  EXPECT_THAT(RunProgram(L"cscript //nologo C:\\qvrn\\examples\\vlans.js save C:\\qvrn-again.xml").output,
              HasSubstr("C:\\qvrn-again.xml is written\ndone"));
  std::stringstream files[2];
  files[0] << std::ifstream("C:\\qvrn-vlans.xml").rdbuf();
  files[1] << std::ifstream("C:\\qvrn-again.xml").rdbuf();
  EXPECT_EQ(files[0].str(), files[1].str());
  EXPECT_HRESULT(S_OK, wmi.Call(L"RestoreVlanConfiguration", L"C:\\qvrn-again.xml"));
  everyoneLists(changed);
  for (const wchar_t* file : {L"C:\\qvrn-vlans.xml", L"C:\\qvrn-again.xml"}) ::DeleteFileW(file);
}

}  // namespace
