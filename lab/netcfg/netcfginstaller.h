// Installing and removing components, straight in the registry.
#pragma once

#include <windows.h>

#include "lab/netcfg/netcfgsession.h"

namespace lab {

/// Installs what the lab knows by that id, of that class, and makes it a part of the session. The VLAN driver's
/// miniport is a new device each time; its protocol exists once, and installing it again gives the one that is there.
/// Null for an id that the class does not know. Throws when the registry cannot be written.
ComponentPointer InstallComponent(NetCfgSession& session, const NetworkClass& networkClass, const wchar_t* id);

/// Removes a component with everything that its installation made, and the states of its binding paths.
/// SPAPI_E_NO_SUCH_DEVINST when the session has no such component (any more).
HRESULT RemoveComponent(NetCfgSession& session, const ComponentRecord& component);

}  // namespace lab
