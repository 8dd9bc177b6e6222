#include "lab/modulepath.h"

#include "platform/boundedtext.h"

namespace lab {

HMODULE ModuleAt(const void* address) noexcept {
  HMODULE module = nullptr;
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<const wchar_t*>(address), &module);
  return module;
}

std::wstring ModulePath() {
  wchar_t path[qvrn::kPathChars] = {};
  ::GetModuleFileNameW(ModuleAt(reinterpret_cast<const void*>(&ModulePath)), path, qvrn::kPathChars);
  return path;
}

std::wstring ModuleFolder() {
  const std::wstring path = ModulePath();
  return path.substr(0, path.find_last_of(L'\\') + 1);
}

}  // namespace lab
