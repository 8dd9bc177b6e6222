#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "platform/registrykey.h"

namespace tests {

/// Values of a registry tree: "KEY\SUBKEY:NAME" to "TYPE:HEX BYTES".
using Snapshot = std::map<std::wstring, std::wstring>;

/// Everything below `root` but the subtrees at the paths `skipped`.
Snapshot TakeSnapshot(HKEY root, const std::vector<std::wstring>& skipped = {});

/// What changed, one line each: "+KEY:NAME = ...", "-KEY:NAME", "KEY:NAME = old -> new".
std::vector<std::wstring> Changes(const Snapshot& before, const Snapshot& after);

/// Type and bytes of a REG_SZ value with its terminator, as a snapshot shows them.
std::wstring TextValue(const wchar_t* text);

/// The entries of a REG_MULTI_SZ value; none when it is absent.
std::vector<std::wstring> MultiString(const qvrn::RegistryKey& key, const wchar_t* name);

}  // namespace tests
