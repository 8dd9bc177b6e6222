#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

#include <objbase.h>

#include "platform/boundedtext.h"
#include "platform/registrykey.h"

namespace qvrn {
namespace {

constexpr wchar_t kClassesKey[] = L"Software\\classes\\CLSID";
constexpr wchar_t kDescription[] = L"WMI Quorvane Ethernet Provider";

HINSTANCE g_module = nullptr;

// The class identifier in braces, and its key.
struct ClassKeyNames {
  wchar_t classId[128] = {};
  wchar_t path[128] = {};

  ClassKeyNames() noexcept {
    ::StringFromGUID2(kProviderClassId, classId, 128);
    FormatText(path, L"%s\\%s", kClassesKey, classId);
  }
};

LSTATUS WriteServerKey(const RegistryKey& classKey) noexcept {
  RegistryKey serverKey;
  LSTATUS status = serverKey.Create(classKey.Get(), L"InprocServer32", KEY_WRITE);
  if (status != ERROR_SUCCESS) return status;
  wchar_t path[kPathChars] = {};
  ::GetModuleFileNameW(g_module, path, kPathChars);
  path[kPathChars - 1] = L'\0';
  status = serverKey.WriteText(nullptr, path);
  return status == ERROR_SUCCESS ? serverKey.WriteText(L"ThreadingModel", L"Both") : status;
}

}  // namespace

void SetModuleHandle(HINSTANCE module) noexcept { g_module = module; }

HRESULT RegisterServer() noexcept {
  const ClassKeyNames names;
  RegistryKey classKey;
  LSTATUS status = classKey.Create(HKEY_LOCAL_MACHINE, names.path, KEY_WRITE);
  if (status == ERROR_SUCCESS) status = classKey.WriteText(nullptr, kDescription);
  if (status == ERROR_SUCCESS) status = WriteServerKey(classKey);
  return status == ERROR_SUCCESS ? S_OK : E_FAIL;
}

HRESULT UnregisterServer() noexcept {
  const ClassKeyNames names;
  RegistryKey key;
  if (key.Open(HKEY_LOCAL_MACHINE, names.path, KEY_WRITE) == ERROR_SUCCESS) {
    ::RegDeleteKeyW(key.Get(), L"InProcServer32");
  }
  if (key.Open(HKEY_LOCAL_MACHINE, kClassesKey, KEY_WRITE) == ERROR_SUCCESS) ::RegDeleteKeyW(key.Get(), names.classId);
  return S_OK;
}

}  // namespace qvrn
