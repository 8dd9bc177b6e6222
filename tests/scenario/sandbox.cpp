#include "tests/scenario/sandbox.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <set>

#include "lab/labkey.h"
#include "lab/modulepath.h"
#include "tests/scenario/events.h"

namespace scenario {
namespace {

using qvrn::RegistryKey;

constexpr wchar_t kSandboxes[] = L"Software\\QvrnScenarios";
constexpr wchar_t kClassKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}";
constexpr wchar_t kDevices[] = L"SYSTEM\\CurrentControlSet\\Enum";

void Collect(HKEY key, const std::wstring& path, const std::set<std::wstring>& skipped, Snapshot& snapshot) {
  if (skipped.contains(path)) return;
  snapshot[path + L":"] = {};
  // Large, so once for all keys.
  static std::vector<wchar_t> name(16384);
  static std::vector<BYTE> data(65536);
  for (DWORD index = 0;; ++index) {
    auto chars = static_cast<DWORD>(name.size());
    auto bytes = static_cast<DWORD>(data.size());
    DWORD type = 0;
    if (::RegEnumValueW(key, index, name.data(), &chars, nullptr, &type, data.data(), &bytes) != ERROR_SUCCESS) break;
    snapshot[path + L":" + name.data()] = {type, {data.begin(), data.begin() + bytes}};
  }
  wchar_t subkey[qvrn::kPathChars];
  for (DWORD index = 0;; ++index) {
    DWORD chars = qvrn::kPathChars;
    if (::RegEnumKeyExW(key, index, subkey, &chars, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    RegistryKey child;
    if (child.Open(key, subkey, KEY_READ) != ERROR_SUCCESS) continue;
    Collect(child.Get(), path.empty() ? subkey : path + L"\\" + subkey, skipped, snapshot);
  }
}

// The text of a value, or all of a list; behind it what a proper one would not have.
std::string TextsOf(const StoredValue& value) {
  const bool isList = value.type == REG_MULTI_SZ;
  std::wstring rest(value.data.size() / sizeof(wchar_t), L'\0');
  std::memcpy(rest.data(), value.data.data(), rest.size() * sizeof(wchar_t));
  std::string texts;
  while (isList ? !rest.empty() && rest.front() != L'\0' : texts.empty()) {
    const std::size_t end = rest.find(L'\0');
    texts += " " + Quoted(rest.substr(0, end).c_str());
    if (end == std::wstring::npos) return texts + " unterminated";
    rest.erase(0, end + 1);
  }
  if (isList && rest.empty()) return texts + " unterminated";
  return texts + (rest.find_first_not_of(L'\0') == std::wstring::npos ? "" : " then more");
}

std::string BytesOf(const StoredValue& value) {
  std::string text;
  for (const BYTE byte : value.data) text += (text.empty() ? "" : " ") + Hex(byte).substr(2);
  return text;
}

}  // namespace

Sandbox::Sandbox() {
  static int number = 0;
  const std::wstring name = std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(number++);
  m_path = kSandboxes + (L"\\" + name);
  m_root.Create(HKEY_CURRENT_USER, m_path.c_str(), KEY_ALL_ACCESS);
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_root.Get());
  Write(lab::kLabKey, L"Machine", TextValue(L"scenario-" + name));
  Write(lab::kLabKey, L"Journal", TextValue(L""));
  Write(lab::kLabKey, L"LockWait", {REG_DWORD, std::vector<BYTE>(sizeof(DWORD))});
  Write(kClassKey, L"Installer32", TextValue(lab::ModuleFolder() + L"qvrnlab.dll,LabClassInstaller"));
  std::error_code ignored;
  std::filesystem::remove_all(Folder(), ignored);
  std::filesystem::create_directories(Folder());
  ::SetEnvironmentVariableW(L"ProgramData", Folder().substr(0, Folder().size() - 1).c_str());
  ::_wputenv(L"TZ=UTC0");
}

Sandbox::~Sandbox() {
  ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  m_root.Close();
  ::RegDeleteTreeW(HKEY_CURRENT_USER, m_path.c_str());
  std::error_code ignored;
  std::filesystem::remove_all(Folder(), ignored);
  wchar_t windows[MAX_PATH] = {};
  ::GetWindowsDirectoryW(windows, MAX_PATH);
  for (const wchar_t* name : {L"\\inf\\muxp.inf", L"\\inf\\mux_mp.inf"})
    ::DeleteFileW((windows + std::wstring(name)).c_str());
}

void Sandbox::Write(const std::wstring& key, const std::wstring& name, const StoredValue& value) const {
  RegistryKey opened;
  opened.Create(m_root.Get(), key.c_str(), KEY_WRITE);
  if (value.type == REG_NONE && name.empty()) return;
  opened.WriteBytes(name.c_str(), value.type, value.data.data(), static_cast<DWORD>(value.data.size()));
}

void Sandbox::Delete(const std::wstring& key, const std::wstring& name) const {
  RegistryKey opened;
  if (name.empty()) {
    ::RegDeleteTreeW(m_root.Get(), key.c_str());
  } else if (opened.Open(m_root.Get(), key.c_str(), KEY_WRITE) == ERROR_SUCCESS) {
    opened.DeleteValue(name.c_str());
  }
}

Snapshot Sandbox::Registry() const {
  Snapshot snapshot;
  Collect(m_root.Get(), L"", {lab::kLabKey, kDevices}, snapshot);
  return snapshot;
}

Snapshot TakeSnapshot(HKEY root) {
  Snapshot snapshot;
  Collect(root, L"", {}, snapshot);
  return snapshot;
}

const std::wstring& Sandbox::Folder() {
  static const std::wstring folder = (std::filesystem::temp_directory_path() / L"qvrn-scenario-").wstring() +
                                     std::to_wstring(::GetCurrentProcessId()) + L"\\";
  return folder;
}

StoredValue TextValue(const std::wstring& text) {
  const auto* bytes = reinterpret_cast<const BYTE*>(text.c_str());
  return {REG_SZ, {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)}};
}

StoredValue MultiStringValue(const std::vector<std::wstring>& texts) {
  std::wstring all;
  for (const std::wstring& text : texts) all += text + L'\0';
  StoredValue value = TextValue(all);
  value.type = REG_MULTI_SZ;
  return value;
}

std::string ValueText(const StoredValue& value) {
  const std::string bytes = std::to_string(value.data.size());
  if (value.type == REG_SZ) return "REG_SZ " + bytes + TextsOf(value);
  if (value.type == REG_MULTI_SZ) return "REG_MULTI_SZ " + bytes + TextsOf(value);
  if (value.type == REG_NONE) return "";
  return "type " + std::to_string(value.type) + ": " + BytesOf(value);
}

std::vector<std::string> Changes(const Snapshot& before, const Snapshot& after) {
  std::vector<std::string> changes;
  for (const auto& [name, value] : after) {
    const auto old = before.find(name);
    if (old != before.end() && old->second == value) continue;
    const std::string text = ValueText(value);
    changes.push_back((old == before.end() ? "+" : "") + Utf8(name) + (text.empty() ? "" : " " + text));
  }
  for (const auto& [name, value] : before) {
    if (!after.contains(name)) changes.push_back("-" + Utf8(name));
  }
  return changes;
}

}  // namespace scenario
