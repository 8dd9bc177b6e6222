#include "lab/host/classinstaller.h"

#include "lab/journal.h"
#include "platform/boundedtext.h"

extern "C" DWORD WINAPI LabClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device) {
  if (function != DIF_PROPERTYCHANGE || device == nullptr) return ERROR_DI_DO_DEFAULT;
  wchar_t deviceId[qvrn::kPathChars] = {};
  if (::SetupDiGetDeviceInstanceIdW(set, device, deviceId, qvrn::kPathChars, nullptr) == FALSE) return ::GetLastError();
  lab::Record(lab::kRestart, deviceId);
  return NO_ERROR;
}
