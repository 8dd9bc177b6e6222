// What an INF file says of the component that it installs.
#pragma once

#include <windows.h>

#include <setupapi.h>

#include "platform/comtext.h"

namespace qvrn {

/// Hardware id of the first model line: field 2 of the first line of the models section that field 1 of [Manufacturer]
/// names. The HRESULT of the setup API's error (its own codes, 0xE0000xxx, unchanged); the text is null on failure.
HRESULT ReadInfComponentId(const wchar_t* infPath, TaskText& componentId) noexcept;

/// One field of the first line of a section (of the line with `key`, unless that is null). E_FAIL when the setup API
/// fails without an error.
HRESULT ReadInfStringField(HINF inf, const wchar_t* section, const wchar_t* key, DWORD fieldIndex,
                           TaskText& value) noexcept;

}  // namespace qvrn
