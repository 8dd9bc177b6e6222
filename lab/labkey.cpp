#include "lab/labkey.h"

namespace lab {

std::wstring MachineText(const std::wstring& path, const wchar_t* name, const wchar_t* fallback) {
  qvrn::RegistryKey key;
  wchar_t text[qvrn::kPathChars];
  if (key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_QUERY_VALUE) != ERROR_SUCCESS) return fallback;
  return key.ReadText(name, text) == ERROR_SUCCESS ? text : fallback;
}

DWORD MachineNumber(const std::wstring& path, const wchar_t* name, DWORD fallback) {
  DWORD number = 0;
  DWORD bytes = sizeof(number);
  const LSTATUS status =
      ::RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, RRF_RT_REG_DWORD, nullptr, &number, &bytes);
  return status == ERROR_SUCCESS ? number : fallback;
}

std::wstring LabText(const wchar_t* name, const wchar_t* fallback) { return MachineText(kLabKey, name, fallback); }

DWORD LabNumber(const wchar_t* name, DWORD fallback) { return MachineNumber(kLabKey, name, fallback); }

}  // namespace lab
