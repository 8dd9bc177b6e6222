// The class installer of the lab's network class: it stands in for the restart of a device.
#pragma once

#include <windows.h>

#include <setupapi.h>

/// Value Installer32 of the network class key names this function. Records a restart (DIF_PROPERTYCHANGE) in the
/// journal, and leaves every other function to the setup API.
extern "C" DWORD WINAPI LabClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device);
