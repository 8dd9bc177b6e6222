// Names that the intermediate driver and this engine share.
#pragma once

#include <windows.h>

#include <objbase.h>

#include "platform/boundedtext.h"

namespace qvrn {

/// Component ids of the intermediate driver: its protocol and its virtual miniports.
inline constexpr wchar_t kMuxProtocolId[] = L"qvrn_muxp";
inline constexpr wchar_t kMuxMiniportId[] = L"qvrn_muxmp";

/// The driver's parameter tree below HKEY_LOCAL_MACHINE: one subkey per physical adapter, named by its instance GUID.
inline constexpr wchar_t kAdaptersKey[] = L"System\\CurrentControlSet\\Services\\muxp\\Parameters\\Adapters";

/// Below an adapter's subkey: device names of the virtual miniports above it (REG_MULTI_SZ), newest first; that of its
/// team; the team's primary adapter.
inline constexpr wchar_t kUpperBindings[] = L"UpperBindings";
inline constexpr wchar_t kTeamDeviceName[] = L"TeamDeviceName";
inline constexpr wchar_t kPrimaryAdapterGuid[] = L"PrimaryAdapterGuid";

/// Below the parameter key of a virtual miniport.
inline constexpr wchar_t kVlanNumber[] = L"VlanID";
inline constexpr wchar_t kVlanName[] = L"VlanName";
inline constexpr wchar_t kVlanPriority[] = L"Priority";
inline constexpr wchar_t kTeamName[] = L"TeamName";
inline constexpr wchar_t kTeamType[] = L"TeamType";
inline constexpr wchar_t kTeamGuid[] = L"TeamGuid";

/// Below the parameter key of a physical adapter: path tokens of the bindings that the first VLAN replaced.
inline constexpr wchar_t kBindingBackup[] = L"AdapterBindingBackup";

/// Name of a VLAN miniport's device, before the VLAN's name.
inline constexpr wchar_t kVlanDevicePrefix[] = L"Quorvane Virtual Miniport Driver - VLAN ";
/// Name of a VLAN that has none.
inline constexpr wchar_t kDefaultVlanName[] = L"Quorvane Virtual Miniport Driver";

/// What ApplyRegistryChanges records.
enum RegistryAction : DWORD { ActionNone = 0, ActionAdd = 2, ActionRemove = 3 };

/// A buffer for a registry path below the driver's tree, "%s\\%s".
inline constexpr std::size_t kMuxPathChars = 261;

/// A GUID as braced text.
struct GuidText {
  wchar_t text[kGuidChars] = {};

  explicit GuidText(const GUID& guid) noexcept { ::StringFromGUID2(guid, text, kGuidChars); }
};

}  // namespace qvrn
