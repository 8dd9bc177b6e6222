#include "tests/support/registrysnapshot.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "platform/boundedtext.h"
#include "platform/registrykey.h"

namespace tests {
namespace {

using qvrn::RegistryKey;

std::wstring Hex(DWORD type, const std::vector<BYTE>& data, std::size_t bytes) {
  std::wstring text = std::to_wstring(type) + L":";
  for (std::size_t index = 0; index < bytes; ++index) {
    wchar_t digits[4];
    qvrn::FormatText(digits, L" %02x", data[index]);
    text += digits;
  }
  return text;
}

void Collect(HKEY key, const std::wstring& path, const std::vector<std::wstring>& skipped, Snapshot& snapshot) {
  if (std::find(skipped.begin(), skipped.end(), path) != skipped.end()) return;
  snapshot[path + L":"] = L"";
  std::vector<wchar_t> name(16384);
  std::vector<BYTE> data(65536);
  for (DWORD index = 0;; ++index) {
    DWORD nameChars = static_cast<DWORD>(name.size());
    DWORD bytes = static_cast<DWORD>(data.size());
    DWORD type = 0;
    if (::RegEnumValueW(key, index, name.data(), &nameChars, nullptr, &type, data.data(), &bytes) != ERROR_SUCCESS)
      break;
    snapshot[path + L":" + name.data()] = Hex(type, data, bytes);
  }
  wchar_t subkey[qvrn::kPathChars];
  RegistryKey child;
  for (DWORD index = 0;; ++index) {
    DWORD chars = qvrn::kPathChars;
    if (::RegEnumKeyExW(key, index, subkey, &chars, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    if (child.Open(key, subkey, KEY_READ) != ERROR_SUCCESS) continue;
    Collect(child.Get(), path.empty() ? subkey : path + L"\\" + subkey, skipped, snapshot);
  }
}

}  // namespace

Snapshot TakeSnapshot(HKEY root, const std::vector<std::wstring>& skipped) {
  Snapshot snapshot;
  Collect(root, L"", skipped, snapshot);
  return snapshot;
}

std::vector<std::wstring> Changes(const Snapshot& before, const Snapshot& after) {
  std::vector<std::wstring> changes;
  for (const auto& [name, value] : after) {
    const auto old = before.find(name);
    if (old == before.end()) {
      changes.push_back(L"+" + name + L" = " + value);
    } else if (old->second != value) {
      changes.push_back(name + L" = " + old->second + L" -> " + value);
    }
  }
  for (const auto& [name, value] : before) {
    if (after.count(name) == 0) changes.push_back(L"-" + name);
  }
  return changes;
}

std::wstring TextValue(const wchar_t* text) {
  std::vector<BYTE> data((std::wcslen(text) + 1) * sizeof(wchar_t));
  std::memcpy(data.data(), text, data.size());
  return Hex(REG_SZ, data, data.size());
}

std::vector<std::wstring> MultiString(const qvrn::RegistryKey& key, const wchar_t* name) {
  std::vector<wchar_t> text;
  std::size_t chars = 0;
  std::vector<std::wstring> entries;
  if (key.ReadMultiString(name, text, chars) != ERROR_SUCCESS) return entries;
  for (const wchar_t* at = text.data(); *at != L'\0'; at += entries.back().size() + 1) entries.emplace_back(at);
  return entries;
}

}  // namespace tests
