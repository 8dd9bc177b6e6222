// INetCfg over the registry. A component is an instance key of one of the four network classes; what the platform asks
// of a client in which order, and its codes for asking wrongly, hold here too. Every call is recorded in the journal as
// kNetworkCall, "INetCfgLock::AcquireWriteLock(5, MY CLIENT) = 0x0", and can be made to fail (see labkey.h); calls on a
// component name its instance GUID first.
#pragma once

#include <windows.h>

#include <wrl/client.h>

namespace lab {

/// Class object for CLSID_CNetCfg; alive as long as the process.
IClassFactory* NetCfgClassFactory();

/// How many objects of the lab's network configuration are alive in the process.
long LiveNetCfgObjects();

}  // namespace lab
