#include "tests/support/machine.h"

#include <atomic>
#include <cwchar>
#include <iterator>
#include <mutex>

#include "lab/journal.h"
#include "lab/labkey.h"
#include "tests/support/imports.h"

namespace tests {
namespace {

using qvrn::RegistryKey;

constexpr wchar_t kSandboxes[] = L"Software\\QvrnTests";
constexpr wchar_t kClassKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}";
constexpr wchar_t kNetworkClass[] = L"{4D36E972-E325-11CE-BFC1-08002bE10318}";
constexpr wchar_t kEnumKey[] = L"SYSTEM\\CurrentControlSet\\Enum\\";

std::atomic<int> g_machines{0};
std::mutex g_assertionLock;
std::vector<std::string> g_assertions;

std::wstring Formatted(const wchar_t* format, DWORD number) {
  wchar_t text[64];
  qvrn::FormatText(text, format, number);
  return text;
}

std::wstring FolderOfThisProgram() {
  wchar_t path[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, path, MAX_PATH);
  const std::wstring text = path;
  return text.substr(0, text.rfind(L'\\'));
}

void RecordAssertion(const char* expression, const char* file, unsigned) {
  const std::lock_guard<std::mutex> guard(g_assertionLock);
  g_assertions.push_back(std::string(expression) + ", " + file);
}

}  // namespace

Machine::Machine() {
  const std::wstring name = Formatted(L"%u-", ::GetCurrentProcessId()) + std::to_wstring(g_machines++);
  m_path = kSandboxes + (L"\\" + name);
  m_root.Create(HKEY_CURRENT_USER, m_path.c_str(), KEY_ALL_ACCESS);
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_root.Get());

  WriteText(lab::kLabKey, L"Machine", (L"test-" + name).c_str());
  WriteText(lab::kLabKey, L"Journal", (L"C:\\windows\\temp\\qvrn-test-" + name + L".txt").c_str());
  WriteNumber(lab::kLabKey, L"LockWait", 0);
  WriteText(kClassKey, L"Installer32", (FolderOfThisProgram() + L"\\qvrnlab.dll,LabClassInstaller").c_str());
  lab::ClearJournal();
  SetWindowStationVisible(false);
  TakeDebugOutput();
  TakeMessageBoxes();
}

Machine::~Machine() {
  const std::wstring journal = lab::LabText(L"Journal", L"");
  lab::ClearJournal();
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  m_root.Close();
  ::RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str());
  ::DeleteFileW(journal.c_str());
}

std::wstring Machine::InstanceId(DWORD index) { return Formatted(L"{%08X-0000-0000-0000-000000000000}", index); }
std::wstring Machine::DeviceId(DWORD index) { return Formatted(L"PCI\\VEN_51A0&DEV_4801\\4&%X", index); }
std::wstring Machine::InstanceKey(DWORD index) { return kClassKey + Formatted(L"\\%04u", index); }

void Machine::AddAdapter(DWORD index, const wchar_t* componentId, bool present) {
  const std::wstring key = InstanceKey(index);
  WriteText(key, L"NetCfgInstanceId", InstanceId(index).c_str());
  WriteText(key, L"ComponentId", componentId);
  WriteText(key, L"DriverDesc", Formatted(L"Adapter %u", index).c_str());
  if (!present) return;
  WriteText(key, L"DeviceInstanceID", DeviceId(index).c_str());
  WriteText(kEnumKey + DeviceId(index), L"ClassGUID", kNetworkClass);
}

void Machine::AddUsualAdapter(DWORD index) {
  AddAdapter(index);
  AddInteger(index, L"*JumboPacket", L"1514", L"9014", L"1514");
  AddEnumeration(index, L"*FlowControl", {L"0", L"1", L"2", L"3"}, L"3");
}

void Machine::AddDescriptor(DWORD index, const wchar_t* keyword, const Values& values) {
  const std::wstring path = InstanceKey(index) + L"\\Ndi\\config\\" + keyword;
  WriteText(path, L"", L"");
  for (const auto& [name, text] : values) WriteText(path, name, text);
}

void Machine::AddInteger(DWORD index, const wchar_t* keyword, const wchar_t* minimum, const wchar_t* maximum,
                         const wchar_t* defaultText) {
  AddDescriptor(
      index, keyword,
      {{L"ParamDesc", keyword}, {L"type", L"int"}, {L"min", minimum}, {L"max", maximum}, {L"default", defaultText}});
}

void Machine::AddEnumeration(DWORD index, const wchar_t* keyword, const std::vector<const wchar_t*>& settings,
                             const wchar_t* defaultText) {
  AddDescriptor(index, keyword, {{L"ParamDesc", keyword}, {L"type", L"enum"}, {L"default", defaultText}});
  const std::wstring path = InstanceKey(index) + L"\\Ndi\\config\\" + keyword + L"\\Enum";
  WriteText(path, L"", L"");
  for (const wchar_t* setting : settings) WriteText(path, setting, setting);
}

void Machine::Store(DWORD index, const wchar_t* name, const wchar_t* text) {
  WriteText(InstanceKey(index), name, text);
}

std::optional<std::wstring> Machine::Stored(DWORD index, const wchar_t* name) const {
  RegistryKey key;
  wchar_t text[qvrn::kPathChars];
  if (key.Open(m_root.Get(), InstanceKey(index).c_str(), KEY_READ) != ERROR_SUCCESS) return std::nullopt;
  if (key.ReadText(name, text) != ERROR_SUCCESS) return std::nullopt;
  return text;
}

void Machine::WriteText(const std::wstring& path, const wchar_t* name, const wchar_t* text) {
  RegistryKey key;
  key.Create(m_root.Get(), path.c_str(), KEY_WRITE);
  if (*name != L'\0') key.WriteText(name, text);
}

void Machine::WriteBytes(const std::wstring& path, const wchar_t* name, DWORD type, const void* data,
                         std::size_t bytes) {
  RegistryKey key;
  key.Create(m_root.Get(), path.c_str(), KEY_WRITE);
  key.WriteBytes(name, type, data, static_cast<DWORD>(bytes));
}

void Machine::WriteNumber(const std::wstring& path, const wchar_t* name, DWORD number) {
  WriteBytes(path, name, REG_DWORD, &number, sizeof number);
}

void Machine::DeleteValue(const std::wstring& path, const wchar_t* name) {
  RegistryKey key;
  if (key.Open(m_root.Get(), path.c_str(), KEY_WRITE) == ERROR_SUCCESS) key.DeleteValue(name);
}

void Machine::FailCall(const wchar_t* call, HRESULT hr, int times) {
  wchar_t text[64];
  qvrn::FormatText(text, L"0x%08X %d", static_cast<unsigned>(hr), times);
  WriteText(std::wstring(lab::kLabKey) + L"\\Failures", call, text);
}

std::vector<std::wstring> Machine::Restarts() const { return lab::Recorded(lab::kRestart); }

std::vector<std::wstring> Machine::TakeNetworkCalls() const {
  std::vector<std::wstring> calls = lab::Recorded(lab::kNetworkCall);
  lab::ClearJournal();
  return calls;
}

Snapshot Machine::Registry() const {
  return TakeSnapshot(m_root.Get(), {lab::kLabKey, L"SYSTEM\\CurrentControlSet\\Enum"});
}

AssertionRecorder::AssertionRecorder() : m_before(qvrn::SetAssertionReporter(RecordAssertion)) { Take(); }
AssertionRecorder::~AssertionRecorder() { qvrn::SetAssertionReporter(m_before); }

std::vector<std::string> AssertionRecorder::Take() {
  const std::lock_guard<std::mutex> guard(g_assertionLock);
  return std::exchange(g_assertions, {});
}

}  // namespace tests
