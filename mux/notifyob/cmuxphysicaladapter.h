#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <wrl/client.h>

#include "mux/notifyob/cmuxvirtualminiport.h"
#include "mux/notifyob/list.h"

namespace qvrn {

struct VlanTexts;

/// One physical adapter as the intermediate driver sees it: the virtual miniports above it, from the driver's parameter
/// tree, and those removed since. It owns the miniport objects. Lives for one change, under the write lock.
class CMuxPhysicalAdapter {
 public:
  /// Holds a reference on `netCfg`.
  CMuxPhysicalAdapter(INetCfg* netCfg, const GUID& adapterGuid) noexcept;
  ~CMuxPhysicalAdapter();
  CMuxPhysicalAdapter(const CMuxPhysicalAdapter&) = delete;
  CMuxPhysicalAdapter& operator=(const CMuxPhysicalAdapter&) = delete;

  /// Reads the miniports. The result is that of reading the team's name, so an adapter without a team gives
  /// HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) (kept for callers, who take exactly that for success).
  HRESULT LoadConfiguration() noexcept;

  /// The team's miniport included.
  DWORD MiniportCount() const noexcept { return m_current.ListCount(); }
  bool IsPartOfTeam() const noexcept { return m_team != nullptr; }
  /// Leaves `teamGuid` alone without a team.
  void GetTeamGuid(GUID* teamGuid) const noexcept;

  /// Takes a miniport out of the list (the newest entry for null, which nothing here passes) and uninstalls it.
  /// 0x80070490 when there is no such miniport; 0x80070008, with the miniport still installed, when memory is short;
  /// otherwise the result of its DeInstall.
  HRESULT RemoveMiniport(const GUID* miniportGuid) noexcept;

  /// Records added and removed miniports in the adapter's UpperBindings; ActionRemove, which nothing here
  /// passes, deletes the adapter's key as well. Always S_OK.
  HRESULT ApplyRegistryChanges(RegistryAction action) noexcept;

  /// Whether a VLAN above the adapter has this name or this number, as text without regard to case. A team has neither.
  bool HasVlan(const wchar_t* number, const wchar_t* name) const noexcept;

  INetCfg* NetCfg() const noexcept { return m_netCfg.Get(); }
  const GUID& AdapterGuid() const noexcept { return m_adapterGuid; }

 private:
  using Miniports = List<CMuxVirtualMiniport*, GUID>;

  void LoadMiniport(const wchar_t* deviceName, const wchar_t* teamDeviceName) noexcept;
  void CreateAdapterKey(const wchar_t* adapterGuid) noexcept;
  void ApplyToMiniports(const Miniports& miniports, RegistryAction action) noexcept;
  void DeleteAdapterKey(const wchar_t* adapterGuid) noexcept;
  static void DeleteMiniports(const Miniports& miniports) noexcept;

  GUID m_adapterGuid;
  Microsoft::WRL::ComPtr<INetCfg> m_netCfg;
  Miniports m_current;
  Miniports m_added;  // filled by nothing here; for hosts that add through the model
  Miniports m_removed;
  CMuxVirtualMiniport* m_team = nullptr;  // one of the current ones
};

}  // namespace qvrn
