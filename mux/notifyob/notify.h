// The notify core: one VLAN virtual miniport more, or one less, above an adapter.
#pragma once

#include <windows.h>

namespace qvrn {

class CMuxPhysicalAdapter;
struct VlanTexts;

/// Adds or removes a VLAN miniport under the network configuration's write lock. `adapterGuidText` is the adapter's
/// braced instance GUID. On add, `miniportGuidText` receives that of the new miniport: a buffer of at least 39
/// characters; on remove it names the miniport. The three texts (number and priority in decimal) are used on add only.
///
/// Results: S_OK; NETCFG_E_NO_WRITE_LOCK 0x8004A024; NETCFG_E_ADAPTER_NOT_FOUND 0x8004A027; 0x800400FF for an adapter
/// that carries no VLANs and for short memory; 0x800705AA for a full adapter; E_FAIL for refused VLAN texts; 0x80070057
/// for an adapter without miniports; 0x80070016 for a team; 0x80070490 for an unknown miniport; or the failure of the
/// network configuration. What was done before a failure is applied all the same. Prints and traces what it does. COM
/// must be initialised.
HRESULT ConfigureVlanMiniport(const wchar_t* adapterGuidText, wchar_t* miniportGuidText, bool add,
                              const wchar_t* vlanId, const wchar_t* vlanName, const wchar_t* priority) noexcept;

/// E_FAIL when a text is null or empty, the adapter has a team, the number is not 1..4095, the priority not 0..7, or a
/// VLAN of the adapter has the name or the number.
HRESULT ValidateVlanParams(const CMuxPhysicalAdapter& adapter, const VlanTexts& texts) noexcept;

/// Whether the adapter's component is itself the miniport of a team.
bool IsTeamAdapter(const CMuxPhysicalAdapter& adapter) noexcept;

}  // namespace qvrn
