// INetCfgClass with INetCfgClassSetup: the components of one class.
#pragma once

#include <windows.h>

#include <netcfgx.h>
#include <wrl/client.h>

#include "lab/netcfg/netcfgsession.h"

namespace lab {

/// QueryNetCfgClass of INetCfg.
HRESULT QueryClass(const SessionPointer& session, const NetworkClass& networkClass, REFIID id, void** object);

/// EnumComponents of INetCfg and INetCfgClass: the components of one class that the session knows.
Microsoft::WRL::ComPtr<IEnumNetCfgComponent> ComponentsOf(const SessionPointer& session,
                                                          const NetworkClass& networkClass);

}  // namespace lab
