// Calls that the machine's settings want to fail: see lab/labkey.h.
#pragma once

#include <windows.h>

#include <optional>

namespace lab {

/// Whether there are any.
bool AreFailuresSet();

/// The HRESULT that a call is to fail with, counted down; none when it is to be served. Counts live in the registry, so
/// that they are the same for all processes.
std::optional<HRESULT> DueFailure(const wchar_t* method);

}  // namespace lab
