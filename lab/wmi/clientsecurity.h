#pragma once

#include <windows.h>

namespace lab {

/// The process's IClientSecurity: clients set a security blanket on what a WMI service gives them before they use it.
/// There is no wire here, so every blanket is accepted and none is kept.
HRESULT GetClientSecurity(void** object) noexcept;

}  // namespace lab
