#pragma once

namespace qvrn {

/// What makes a VLAN: number and priority in decimal text. Borrowed. Never null, but for where a function
/// says so.
struct VlanTexts {
  const wchar_t* number;
  const wchar_t* name;
  const wchar_t* priority;
};

}  // namespace qvrn
