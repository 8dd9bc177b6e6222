// The WMI headers as this project uses them. windows.h defines GetObject as a macro for a GDI function, which would
// rename IWbemServices::GetObject; every source that talks WMI includes this header instead of the platform's own.
#pragma once

#include <windows.h>

#undef GetObject

#include <wbemcli.h>
#include <wbemprov.h>
