#pragma once

#include <windows.h>

#include <string>

namespace lab {

/// The module that code, or an object's table of functions, belongs to; null for none.
HMODULE ModuleAt(const void* address) noexcept;

/// Full path of the module that this code is linked into: the lab's DLL or a test program.
std::wstring ModulePath();

/// Its folder, ending in a backslash.
std::wstring ModuleFolder();

}  // namespace lab
