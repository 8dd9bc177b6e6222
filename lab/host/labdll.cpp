// The lab as a COM server: it answers for the platform's WMI locator and network configuration.
#include <windows.h>

#include <netcfgx.h>

#include <string>

#include "lab/host/importpatch.h"
#include "lab/modulepath.h"
#include "lab/netcfg/netcfg.h"
#include "lab/wmi/wbemhost.h"
#include "platform/registrykey.h"

namespace __gnu_cxx {
void __freeres();
}

namespace {

// Gives back what the C++ library holds in reserve for exceptions: the setup API loads and unloads this DLL with every
// restart of a device, and each time it would be lost.
struct ReserveRelease {
  ~ReserveRelease() { __gnu_cxx::__freeres(); }
} g_reserveRelease;

const CLSID kClasses[] = {CLSID_WbemLocator, CLSID_CNetCfg};

/// Path of a class's registration below HKEY_LOCAL_MACHINE.
std::wstring ClassKey(const CLSID& id) {
  wchar_t text[qvrn::kGuidChars];
  ::StringFromGUID2(id, text, qvrn::kGuidChars);
  return std::wstring(L"Software\\Classes\\CLSID\\") + text;
}

bool Register(const CLSID& id, const std::wstring& path) {
  qvrn::RegistryKey server;
  return server.Create(HKEY_LOCAL_MACHINE, (ClassKey(id) + L"\\InprocServer32").c_str(), KEY_WRITE) == ERROR_SUCCESS &&
         server.WriteText(nullptr, path.c_str()) == ERROR_SUCCESS &&
         server.WriteText(L"ThreadingModel", L"Both") == ERROR_SUCCESS;
}

}  // namespace

STDAPI DllGetClassObject(REFCLSID classId, REFIID id, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  lab::SetProviderLoadedHook(&lab::PatchProviderImports);
  if (classId == CLSID_WbemLocator) return lab::LocatorClassFactory()->QueryInterface(id, object);
  if (classId == CLSID_CNetCfg) return lab::NetCfgClassFactory()->QueryInterface(id, object);
  return CLASS_E_CLASSNOTAVAILABLE;
}

// The namespace and what providers borrow of it live as long as the process.
STDAPI DllCanUnloadNow() { return S_FALSE; }

STDAPI DllRegisterServer() {
  const std::wstring path = lab::ModulePath();
  for (const CLSID& id : kClasses) {
    if (!Register(id, path)) return E_FAIL;
  }
  return S_OK;
}

STDAPI DllUnregisterServer() {
  for (const CLSID& id : kClasses) ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKey(id).c_str());
  return S_OK;
}
