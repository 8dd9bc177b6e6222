#pragma once

#include "mux/notifyob/cmuxvirtualminiport.h"
#include "mux/notifyob/list.h"
#include "platform/registrykey.h"

namespace qvrn {

/// The virtual miniport of a team of adapters. This system makes none; it meets one where an adapter is configured as a
/// member, and then only constructs, loads and deletes it. InsertRegistryParams, DeInstall, the changes of device names
/// and IsPrimaryAdapter are for hosts that manage teams: nothing here reaches them.
class CMuxTeamMiniport final : public CMuxVirtualMiniport {
 public:
  /// The name is copied, cut to 99 characters, unless it is null.
  CMuxTeamMiniport(INetCfg* netCfg, const GUID* miniportGuid, const wchar_t* teamName, DWORD teamType) noexcept;

  /// Collects the adapters whose TeamDeviceName names this team, its name and type, and its primary adapter. E_FAIL
  /// when there is no member.
  HRESULT LoadConfiguration() noexcept override;
  /// Writes name and type to the instance's parameter key, and a key of the team's own below the driver's adapters.
  HRESULT InsertRegistryParams(INetCfgComponent* component) noexcept override;
  /// Also deletes the team's own key.
  HRESULT DeInstall() noexcept override;

  bool IsPrimaryAdapter(const GUID& adapterGuid) const noexcept;

 protected:
  /// A member's key names its team, and the team's primary adapter beside it.
  const wchar_t* DeviceNameValue() const noexcept override { return kTeamDeviceName; }
  LONG AddDeviceName(HKEY adapterKey, const wchar_t* deviceName) noexcept override;
  LONG RemoveDeviceName(HKEY adapterKey, const wchar_t* deviceName) noexcept override;

 private:
  HRESULT FindInstalledTeam() noexcept;
  bool LoadMember(const RegistryKey& adapters, const wchar_t* adapterGuid) noexcept;

  wchar_t m_teamName[kTextChars] = {};
  DWORD m_teamType;
  List<GUID, GUID> m_members;
  GUID m_primaryAdapter = {};
  bool m_hasPrimaryAdapter = false;
};

}  // namespace qvrn
