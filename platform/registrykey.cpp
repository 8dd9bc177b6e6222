#include "platform/registrykey.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace qvrn {
namespace {

// A value that outgrows its room as often as this is written faster than it can be read.
constexpr int kMostReadings = 10;

// The longest text that anything here reads (520 bytes) with room for a terminator that the data may lack.
using ReadBuffer = wchar_t[kPathChars + 1];

void CutToField(const ReadBuffer& buffer, wchar_t* field, std::size_t fieldChars) noexcept {
  const std::size_t length = std::min(std::wcslen(buffer), fieldChars - 1);
  std::copy_n(buffer, length, field);
  field[length] = L'\0';
}

}  // namespace

LSTATUS RegistryKey::Open(HKEY parent, const wchar_t* path, REGSAM access) noexcept {
  return ::RegOpenKeyExW(parent, path, 0, access, Put());
}

LSTATUS RegistryKey::Create(HKEY parent, const wchar_t* path, REGSAM access, DWORD* disposition) noexcept {
  return ::RegCreateKeyExW(parent, path, 0, nullptr, REG_OPTION_NON_VOLATILE, access, nullptr, Put(), disposition);
}

LSTATUS RegistryKey::Close() noexcept {
  const HKEY key = std::exchange(m_key, nullptr);
  return key == nullptr ? ERROR_SUCCESS : ::RegCloseKey(key);
}

LSTATUS RegistryKey::CountSubkeys(DWORD& count) const noexcept {
  return ::RegQueryInfoKeyW(m_key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr, nullptr,
                            nullptr, nullptr);
}

LSTATUS RegistryKey::CountValues(DWORD& count) const noexcept {
  return ::RegQueryInfoKeyW(m_key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, nullptr, nullptr,
                            nullptr, nullptr);
}

LSTATUS RegistryKey::SubkeyName(DWORD index, wchar_t (&name)[kPathChars]) const noexcept {
  DWORD length = kPathChars;
  return ::RegEnumKeyExW(m_key, index, name, &length, nullptr, nullptr, nullptr, nullptr);
}

LSTATUS RegistryKey::ReadText(const wchar_t* name, wchar_t* field, std::size_t fieldChars,
                              DWORD capacityBytes) const noexcept {
  ReadBuffer buffer = {};
  DWORD bytes = std::min<DWORD>(capacityBytes, kPathChars * sizeof(wchar_t));
  const LSTATUS status = ::RegQueryValueExW(m_key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &bytes);
  if (status != ERROR_SUCCESS) buffer[0] = L'\0';
  CutToField(buffer, field, fieldChars);
  return status;
}

LSTATUS RegistryKey::EnumerateText(DWORD index, wchar_t (&name)[kTextChars],
                                   wchar_t (&text)[kTextChars]) const noexcept {
  ReadBuffer nameBuffer = {};
  ReadBuffer textBuffer = {};
  DWORD nameChars = kTextChars + 1;
  DWORD textBytes = kTextChars * sizeof(wchar_t);
  const LSTATUS status = ::RegEnumValueW(m_key, index, nameBuffer, &nameChars, nullptr, nullptr,
                                         reinterpret_cast<BYTE*>(textBuffer), &textBytes);
  if (status != ERROR_SUCCESS) nameBuffer[0] = textBuffer[0] = L'\0';
  CutToField(nameBuffer, name, kTextChars);
  CutToField(textBuffer, text, kTextChars);
  return status;
}

LSTATUS RegistryKey::ValueBytes(const wchar_t* name, DWORD& bytes) const noexcept {
  return ::RegQueryValueExW(m_key, name, nullptr, nullptr, nullptr, &bytes);
}

LSTATUS RegistryKey::ReadMultiString(const wchar_t* name, std::vector<wchar_t>& text, std::size_t& chars) const {
  DWORD bytes = 0;
  chars = 0;
  const LSTATUS status = ValueBytes(name, bytes);
  return status == ERROR_SUCCESS ? ReadMultiString(name, bytes, text, chars) : status;
}

LSTATUS RegistryKey::ReadMultiString(const wchar_t* name, DWORD& bytes, std::vector<wchar_t>& text,
                                     std::size_t& chars) const {
  const LSTATUS status = ReadWholeValue(m_key, name, bytes, text);
  chars = status == ERROR_SUCCESS ? bytes / sizeof(wchar_t) : 0;
  std::fill(text.begin() + static_cast<std::ptrdiff_t>(chars), text.end(), L'\0');
  return status;
}

LSTATUS RegistryKey::WriteText(const wchar_t* name, const wchar_t* text) const noexcept {
  return WriteBytes(name, REG_SZ, text, static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t)));
}

LSTATUS RegistryKey::WriteBytes(const wchar_t* name, DWORD type, const void* data, DWORD bytes) const noexcept {
  return ::RegSetValueExW(m_key, name, 0, type, static_cast<const BYTE*>(data), bytes);
}

LSTATUS RegistryKey::DeleteValue(const wchar_t* name) const noexcept { return ::RegDeleteValueW(m_key, name); }

LSTATUS ReadWholeValue(HKEY key, const wchar_t* name, DWORD& bytes, std::vector<wchar_t>& data) {
  LSTATUS status = ERROR_MORE_DATA;
  for (int reading = 0; reading < kMostReadings && status == ERROR_MORE_DATA; ++reading) {
    bytes *= 2;
    data.assign(bytes / sizeof(wchar_t) + 3, L'\0');
    status = ::RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(data.data()), &bytes);
  }
  return status;
}

}  // namespace qvrn
