// Bounded copies and formats into fixed wide buffers. Sizes are in characters and include the terminator; a text that
// does not fit is cut, terminated, and reported as STRSAFE_E_INSUFFICIENT_BUFFER. Formats follow the platform's rules:
// %s in a wide format takes wide text.
#pragma once

#include <windows.h>

#include <strsafe.h>

#include <cstddef>
#include <cwchar>

namespace qvrn {

/// Size of registry path, registry value and file name buffers.
inline constexpr std::size_t kPathChars = 260;
/// Size of parameter, description and VLAN text buffers.
inline constexpr std::size_t kTextChars = 100;
/// Size of a buffer for a braced instance GUID.
inline constexpr std::size_t kGuidChars = 40;

/// Equal character by character.
inline bool SameText(const wchar_t* one, const wchar_t* other) noexcept { return std::wcscmp(one, other) == 0; }

/// StringCchCopyW into a whole array.
template <std::size_t Size>
HRESULT CopyText(wchar_t (&destination)[Size], const wchar_t* source) noexcept {
  return ::StringCchCopyW(destination, Size, source);
}

/// StringCchCatW onto a whole array.
template <std::size_t Size>
HRESULT AppendText(wchar_t (&destination)[Size], const wchar_t* source) noexcept {
  return ::StringCchCatW(destination, Size, source);
}

/// StringCchPrintfW into a whole array.
template <std::size_t Size, typename... Arguments>
HRESULT FormatText(wchar_t (&destination)[Size], const wchar_t* format, Arguments... arguments) noexcept {
  return ::StringCchPrintfW(destination, Size, format, arguments...);
}

}  // namespace qvrn
