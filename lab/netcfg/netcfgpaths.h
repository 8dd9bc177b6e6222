// Which component is bound to which, and what the registry says of it. A transport binds to every adapter, but the VLAN
// driver's to no miniport of its own; clients and services bind to every transport but the VLAN driver's.
//
// Paths are enabled until somebody disables them; those through the VLAN driver are disabled until somebody enables
// them. What differs from that is a REG_DWORD, 0 or 1, named by the path's token, in the subkey "Linkage" of the
// instance key of the path's lowest component, so that it lives as long as that component.
#pragma once

#include <windows.h>

#include <vector>

#include "lab/netcfg/netcfgrecords.h"

namespace lab {

/// Components from the top, the owner, down to the lowest, at least two.
using BindingPath = ComponentRecords;
using BindingPaths = std::vector<BindingPath>;

/// Every path that ends in a component, shorter ones before those that they are a part of.
BindingPaths PathsAbove(const ComponentRecords& components, const ComponentPointer& lowest);

/// The path's name, the same for every session: component ids, and the adapter's bind name, as in
/// "ms_server->ms_tcpip->{6B1F3A52-7C84-4E0D-9A35-21C07D4E8B10}".
std::wstring PathToken(const BindingPath& path);

bool IsPathEnabled(const BindingPath& path);
/// The Win32 code of writing it down.
LSTATUS EnablePath(const BindingPath& path, bool enable);
/// Leaves nothing behind of the paths through a component that is going away.
void ForgetPaths(const ComponentRecords& components, const ComponentRecord& component);

}  // namespace lab
