#include "lab/modulepath.h"

#include "platform/boundedtext.h"

namespace lab {

std::wstring ModulePath() {
  HMODULE module = nullptr;
  wchar_t path[qvrn::kPathChars] = {};
  ::GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&ModulePath), &module);
  ::GetModuleFileNameW(module, path, qvrn::kPathChars);
  return path;
}

std::wstring ModuleFolder() {
  const std::wstring path = ModulePath();
  return path.substr(0, path.find_last_of(L'\\') + 1);
}

}  // namespace lab
