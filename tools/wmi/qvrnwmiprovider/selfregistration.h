#pragma once

#include <windows.h>

namespace qvrn {

/// {22CB8761-914A-11CF-B705-00AA0062CBB7}: the one class that this server creates.
inline constexpr GUID kProviderClassId = {0x22CB8761, 0x914A, 0x11CF, {0xB7, 0x05, 0x00, 0xAA, 0x00, 0x62, 0xCB, 0xB7}};

/// Remembers the library's own instance handle; called by the entry point, before anything else can run.
void SetModuleHandle(HINSTANCE module) noexcept;

/// Writes the class below HKLM\Software\classes\CLSID: description, this module's path, threading model "Both".
/// S_OK, or E_FAIL at the first registry call that fails; what was written before stays.
HRESULT RegisterServer() noexcept;

/// Removes what RegisterServer wrote. Always S_OK.
HRESULT UnregisterServer() noexcept;

}  // namespace qvrn
