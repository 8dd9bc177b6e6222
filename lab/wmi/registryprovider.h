// StdRegProv, as far as clients of this project ask it: GetStringValue over HKEY_LOCAL_MACHINE.
#pragma once

#include "lab/host/providerhost.h"

namespace lab {

/// Runs a static method of StdRegProv; anything but GetStringValue is WBEM_E_METHOD_NOT_IMPLEMENTED. The reply holds
/// the out-parameters: ReturnValue 0 with sValue, or the Win32 error alone.
Reply ExecRegistryMethod(const Method& method, IWbemClassObject* parameters);

}  // namespace lab
