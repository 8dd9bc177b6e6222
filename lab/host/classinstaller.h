// The class installer of the lab's network class: counts device restarts.
#pragma once

#include <windows.h>

#include <setupapi.h>

/// Value Installer32 of the network class key names this function. Records a restart (DIF_PROPERTYCHANGE) in the
/// journal and as the next value of the key Restarts (see lab/labkey.h), and leaves every other function to the setup
/// API.
extern "C" DWORD WINAPI LabClassInstaller(DI_FUNCTION function, HDEVINFO set, PSP_DEVINFO_DATA device);
