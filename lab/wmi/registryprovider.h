// StdRegProv, as far as clients of this project ask it: GetStringValue, EnumKey and
// EnumValues over HKEY_LOCAL_MACHINE.
#pragma once

#include "lab/host/providerhost.h"

namespace lab {

/// Runs one of StdRegProv's methods, all static. The reply holds the out-parameters: ReturnValue 0 with sValue (at most
/// kPathChars - 1 characters) or sNames, or the Win32 error alone. hDefKey is not looked at.
Reply ExecRegistryMethod(const Method& method, IWbemClassObject* parameters);

}  // namespace lab
