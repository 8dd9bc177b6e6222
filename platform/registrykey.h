#pragma once

#include <windows.h>

#include <cstddef>
#include <utility>
#include <vector>

#include "platform/boundedtext.h"

namespace qvrn {

/// An open registry key. Results are Win32 codes; ERROR_FILE_NOT_FOUND alone means that a key or value is absent.
class RegistryKey {
 public:
  RegistryKey() noexcept = default;
  /// Takes over a key that the platform handed out.
  explicit RegistryKey(HKEY key) noexcept : m_key(key) {}
  RegistryKey(RegistryKey&& other) noexcept : m_key(std::exchange(other.m_key, nullptr)) {}
  RegistryKey& operator=(RegistryKey&& other) noexcept {
    if (this != &other) {
      Close();
      m_key = std::exchange(other.m_key, nullptr);
    }
    return *this;
  }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;
  ~RegistryKey() { Close(); }

  HKEY Get() const noexcept { return m_key; }
  HKEY* Put() noexcept {
    Close();
    return &m_key;
  }
  explicit operator bool() const noexcept { return m_key != nullptr; }

  /// RegOpenKeyExW; what was open before is closed.
  LSTATUS Open(HKEY parent, const wchar_t* path, REGSAM access) noexcept;
  /// RegCreateKeyExW, non-volatile.
  LSTATUS Create(HKEY parent, const wchar_t* path, REGSAM access, DWORD* disposition = nullptr) noexcept;
  /// RegCloseKey; ERROR_SUCCESS when nothing is open.
  LSTATUS Close() noexcept;

  /// Number of subkeys (RegQueryInfoKeyW).
  LSTATUS CountSubkeys(DWORD& count) const noexcept;
  /// Number of values (RegQueryInfoKeyW).
  LSTATUS CountValues(DWORD& count) const noexcept;
  /// Name of the subkey at `index` (RegEnumKeyExW).
  LSTATUS SubkeyName(DWORD index, wchar_t (&name)[kPathChars]) const noexcept;

  /// Reads the text of a value, whatever its stored type, asking for at most `capacityBytes` (520 at most). Text
  /// without a terminator gets one; text longer than the field is cut; an odd last byte counts as a character. On
  /// failure the field becomes empty.
  LSTATUS ReadText(const wchar_t* name, wchar_t* field, std::size_t fieldChars, DWORD capacityBytes) const noexcept;
  template <std::size_t Size>
  LSTATUS ReadText(const wchar_t* name, wchar_t (&field)[Size],
                   DWORD capacityBytes = Size * sizeof(wchar_t)) const noexcept {
    return ReadText(name, field, Size, capacityBytes);
  }
  /// Name and text of the value at `index` (RegEnumValueW), read by the rules of ReadText.
  LSTATUS EnumerateText(DWORD index, wchar_t (&name)[kTextChars], wchar_t (&text)[kTextChars]) const noexcept;

  /// Size of a value's data (RegQueryValueExW).
  LSTATUS ValueBytes(const wchar_t* name, DWORD& bytes) const noexcept;
  /// Reads a multi-string as characters, whatever its stored type and however it grows meanwhile: an odd last byte is
  /// left out and two terminators are appended, so that every walk over the result ends. `chars` receives the number of
  /// characters stored. Throws std::bad_alloc.
  LSTATUS ReadMultiString(const wchar_t* name, std::vector<wchar_t>& text, std::size_t& chars) const;
  /// The same for a value that had `bytes` bytes when it was asked; receives the size of what was read.
  LSTATUS ReadMultiString(const wchar_t* name, DWORD& bytes, std::vector<wchar_t>& text, std::size_t& chars) const;

  /// Writes REG_SZ with its terminator.
  LSTATUS WriteText(const wchar_t* name, const wchar_t* text) const noexcept;
  LSTATUS WriteBytes(const wchar_t* name, DWORD type, const void* data, DWORD bytes) const noexcept;
  LSTATUS DeleteValue(const wchar_t* name) const noexcept;

 private:
  HKEY m_key = nullptr;
};

/// Reads the data of a value that had `bytes` bytes when it was asked, with room for twice as many and again when it
/// has grown beyond that; `bytes` receives the size. Behind the data there are at least two zero characters. Throws
/// std::bad_alloc.
LSTATUS ReadWholeValue(HKEY key, const wchar_t* name, DWORD& bytes, std::vector<wchar_t>& data);

}  // namespace qvrn
