// Moving an adapter's protocols onto the intermediate driver and back.
#pragma once

#include <windows.h>

#include <netcfgx.h>

namespace qvrn {

/// FALSE: disables the adapter's enabled direct binding paths, backs up their tokens in AdapterBindingBackup, and
/// enables the paths through the intermediate driver. TRUE: enables the direct paths that were backed up, disables
/// those through the driver, and deletes the backup. Failures are traced only.
void EnableBindings(INetCfgComponent* adapter, BOOL enable) noexcept;

/// Whether a binding path passes through the intermediate driver's protocol.
BOOL IfExistMux(INetCfgBindingPath* path) noexcept;

}  // namespace qvrn
