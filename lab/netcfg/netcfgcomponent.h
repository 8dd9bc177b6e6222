// INetCfgComponent with INetCfgComponentBindings: a component in a client's hands. It outlives its INetCfg; its calls
// are recorded with its instance GUID as first argument.
#pragma once

#include <windows.h>

#include <netcfgx.h>
#include <wrl/client.h>

#include "lab/netcfg/netcfgsession.h"

namespace lab {

Microsoft::WRL::ComPtr<INetCfgComponent> MakeComponent(const SessionPointer& session, ComponentPointer record);

/// What stands behind a component that a client hands in; it must be one of the lab's.
const ComponentRecord& RecordOf(INetCfgComponent& component) noexcept;

}  // namespace lab
