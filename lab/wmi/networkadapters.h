// Win32_NetworkAdapter, which the lab serves itself.
#pragma once

#include <memory>

#include "lab/host/providerhost.h"

namespace lab {

/// One instance per four-digit subkey of the network class key, in the registry's order. NetConnectionStatus is NULL
/// unless a REG_DWORD value LabConnectionStatus stands in the subkey.
Reply EnumerateNetworkAdapters(const std::shared_ptr<const ClassDefinition>& definition);

}  // namespace lab
