#include <windows.h>

#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) qvrn::SetModuleHandle(instance);
  return TRUE;
}
