#include <windows.h>

#include <objbase.h>
#include <olectl.h>

#include "tools/wmi/qvrnwmiprovider/classfactory.h"
#include "tools/wmi/qvrnwmiprovider/modulecounters.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
  if (ppv != nullptr) *ppv = nullptr;
  // Kept for clients that look for it: E_FAIL, where COM servers usually say CLASS_E_CLASSNOTAVAILABLE.
  if (rclsid != qvrn::kProviderClassId) return E_FAIL;
  return qvrn::CreateClassFactory(riid, ppv);
}

STDAPI DllCanUnloadNow() { return qvrn::ModuleIsInUse() ? S_FALSE : S_OK; }

STDAPI DllRegisterServer() { return qvrn::RegisterServer(); }

STDAPI DllUnregisterServer() { return qvrn::UnregisterServer(); }
