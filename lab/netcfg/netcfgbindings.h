// Binding paths in a client's hands: INetCfgBindingPath, INetCfgBindingInterface and their enumerators. A path's calls
// are recorded with its token as first argument, those of an interface with the token of its two components.
#pragma once

#include <windows.h>

#include <netcfgx.h>
#include <wrl/client.h>

#include "lab/netcfg/netcfgsession.h"

namespace lab {

/// The paths that end in a component.
Microsoft::WRL::ComPtr<IEnumNetCfgBindingPath> BindingPathsAbove(const SessionPointer& session,
                                                                 const ComponentPointer& component);

}  // namespace lab
