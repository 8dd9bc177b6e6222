#pragma once

#include <string>

namespace lab {

/// Full path of the module that this code is linked into: the lab's DLL or a test program.
std::wstring ModulePath();

/// Its folder, ending in a backslash.
std::wstring ModuleFolder();

}  // namespace lab
