// Text between wide characters and bytes.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace lab {

/// Bytes that are no text of the code page become replacement characters.
std::wstring Wide(std::string_view text, UINT codePage = CP_UTF8);
std::string Utf8(std::wstring_view text);

}  // namespace lab
