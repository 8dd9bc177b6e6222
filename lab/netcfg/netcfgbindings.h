// Binding paths in a client's hands: INetCfgBindingPath, INetCfgBindingInterface and their enumerators.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include "lab/netcfg/netcfgobject.h"
#include "lab/netcfg/netcfgpaths.h"

namespace lab {

/// EnumBindingPaths of INetCfgComponentBindings: EBP_ABOVE gives the paths that end in the component, EBP_BELOW those
/// that begin with it; other flags are E_INVALIDARG.
HRESULT EnumerateBindingPaths(const SessionPointer& session, const ComponentPointer& component, DWORD flags,
                              IEnumNetCfgBindingPath** paths);

}  // namespace lab
