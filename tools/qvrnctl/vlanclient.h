// VLANs through WMI. A change gives WMI's answer as it comes: only the list tells what is there.
#pragma once

#include <string>
#include <vector>

#include "tools/qvrnctl/vlan.h"
#include "tools/qvrnctl/wmiclient.h"

namespace qvrn {

inline constexpr wchar_t kVlanClass[] = L"QvrnEN_VLAN";

/// All VLANs of all served adapters in one enumeration; those of an adapter in the order of their creation.
std::vector<Vlan> ListVlans(const WmiClient& wmi);

/// The adapters that can have VLANs: the served ones, and those that are none but have VLANs all the same.
std::vector<Adapter> ListParents(const WmiClient& wmi, const std::vector<Vlan>& vlans);

HRESULT CreateVlan(const WmiClient& wmi, const Vlan& wanted);
/// Gives the VLAN with the GUID of `wanted` the other values of it.
HRESULT ChangeVlan(const WmiClient& wmi, const Vlan& wanted);
HRESULT RemoveVlan(const WmiClient& wmi, const Vlan& vlan);

/// Calls a method of the class, SaveVlanConfiguration or RestoreVlanConfiguration, with a file of the provider's
/// computer.
HRESULT CallWithFile(const WmiClient& wmi, const wchar_t* method, const std::wstring& file);

}  // namespace qvrn
