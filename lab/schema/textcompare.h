#pragma once

#include <cwctype>
#include <string_view>

namespace lab {

/// Equality without regard to case, as names in WMI, the registry and the setup API compare.
inline bool SameText(std::wstring_view left, std::wstring_view right) noexcept {
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (std::towlower(left[i]) != std::towlower(right[i])) return false;
  }
  return true;
}

}  // namespace lab
