// INetCfg over the registry. A component is an instance key of one of the four network classes; what the platform asks
// of a client in which order, and its codes for asking wrongly, hold here too. Every call is recorded in the journal as
// kNetworkCall, "INetCfgLock::AcquireWriteLock(5, MY CLIENT) = 0x0", and can be made to fail (see labkey.h); calls on a
// component name its instance GUID first, calls on a binding path its token. Queries for INetCfgLock, INetCfgClassSetup
// and INetCfgComponentBindings are calls, too: "INetCfg::QueryInterface(INetCfgLock)". A call whose out-pointer is null
// is refused before it counts as one, and a method that no client calls is E_NOTIMPL and none.
//
// What a client changes (display names, components, states of binding paths) is in the registry when the call returns;
// Apply has nothing left to do. Other sessions see new and removed components when they are initialised.
// How an installation looks in the registry is in netcfginstaller.cpp, where the states of binding paths are in
// netcfgpaths.h. Components are forgotten at Uninitialize and the lock at ReleaseWriteLock, so that a client may keep
// an INetCfg for ever.
#pragma once

#include <windows.h>

#include <wrl/client.h>

namespace lab {

/// Class object for CLSID_CNetCfg; alive as long as the process.
IClassFactory* NetCfgClassFactory();

/// How many objects of the lab's network configuration are alive in the process.
long LiveNetCfgObjects();

/// How many references clients hold on the INetCfg objects of the process, over all of them.
long NetCfgReferences();

}  // namespace lab
