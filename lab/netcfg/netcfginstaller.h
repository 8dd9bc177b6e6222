// Installing and removing components, straight in the registry.
#pragma once

#include <windows.h>

#include "lab/netcfg/netcfgsession.h"

namespace lab {

/// Installs what the lab knows by that id, of that class. The VLAN driver's miniport is a new device each time; its
/// protocol exists once, and installing it again gives the one that is there. `component` becomes a part of the
/// session. SPAPI_E_NO_DRIVER_SELECTED for an id that the class does not know. A failure leaves nothing behind.
HRESULT InstallComponent(NetCfgSession& session, const NetworkClass& networkClass, LPCWSTR id,
                         ComponentPointer& component);

/// Removes a component of the session with everything that its installation made, and the states of its binding paths.
/// SPAPI_E_NO_SUCH_DEVINST when the session has no such component any more.
HRESULT RemoveComponent(NetCfgSession& session, const GUID& instance);

}  // namespace lab
