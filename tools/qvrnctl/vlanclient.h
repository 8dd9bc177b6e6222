// VLANs through WMI. A change gives WMI's answer as it comes: only the list tells what is there.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/qvrnctl/vlan.h"
#include "tools/qvrnctl/wmiclient.h"

namespace qvrn {

inline constexpr wchar_t kVlanClass[] = L"QvrnEN_VLAN";

/// All VLANs of all served adapters in one enumeration; those of an adapter in the order of their creation.
std::vector<Vlan> ListVlans(const WmiClient& wmi);

/// The adapters that can have VLANs: the served ones, and those that are none but have VLANs all the same.
AdapterList ListParents(const WmiClient& wmi, const std::vector<Vlan>& vlans);
/// The ids of the adapters that have VLANs, each once.
std::vector<std::wstring> ParentIds(const std::vector<Vlan>& vlans);

/// `wanted` with the instance to put: a new one, or the listed one of the VLAN that is to be changed, since one can be
/// listed and yet not be found by its path. Throws ClientError when there is none to be had; nothing is changed yet.
Vlan PrepareVlan(const WmiClient& wmi, Vlan wanted);
/// Creates or changes the VLAN as it was prepared.
HRESULT PutVlan(const WmiClient& wmi, const Vlan& prepared);
HRESULT RemoveVlan(const WmiClient& wmi, const Vlan& vlan);

/// Calls a method of the class, SaveVlanConfiguration or RestoreVlanConfiguration, with a file of the provider's
/// computer.
HRESULT CallWithFile(const WmiClient& wmi, const wchar_t* method, const std::wstring& file,
                     const std::function<std::wstring()>& describe = {});

}  // namespace qvrn
