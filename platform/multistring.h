// Multi-strings as the registry stores them: texts with a terminator each, whatever an administrator made of them.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cwchar>
#include <vector>

namespace qvrn {

/// Whether one of the entries in the first `chars` characters is `entry`, in any case. The search ends at an empty entry;
/// nothing behind `chars` is read.
inline bool ContainsEntry(const wchar_t* multiString, std::size_t chars, const wchar_t* entry) noexcept {
  const std::size_t wanted = std::wcslen(entry);
  for (std::size_t position = 0; position < chars && multiString[position] != L'\0';) {
    const wchar_t* text = multiString + position;
    const std::size_t length = ::wcsnlen(text, chars - position);
    if (length == wanted && ::_wcsnicmp(text, entry, length) == 0) return true;
    position += length + 1;
  }
  return false;
}

/// The entries of the first `chars` characters that differ from `entry` in more than case, each with its terminator, in
/// a zeroed buffer of the size of `data`, which has at least one terminator behind them. An empty entry is an entry like
/// any other.
inline std::vector<wchar_t> EntriesWithout(const std::vector<wchar_t>& data, std::size_t chars, const wchar_t* entry) {
  std::vector<wchar_t> others(data.size(), L'\0');
  auto end = others.begin();
  for (std::size_t position = 0; position < chars;) {
    const wchar_t* text = data.data() + position;
    const std::size_t length = std::wcslen(text) + 1;
    if (::_wcsicmp(text, entry) != 0) end = std::copy_n(text, length, end);
    position += length;
  }
  return others;
}

}  // namespace qvrn
