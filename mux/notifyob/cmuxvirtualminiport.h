#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <wrl/client.h>

#include "mux/notifyob/muxregistry.h"

namespace qvrn {

/// One instance of the intermediate driver's virtual adapter on top of a physical one. All operations need an INetCfg
/// that holds the write lock, and trace.
class CMuxVirtualMiniport {
 public:
  /// Holds a reference on `netCfg`. Without a GUID it is a new miniport, whose GUID Install finds out.
  CMuxVirtualMiniport(INetCfg* netCfg, const GUID* miniportGuid) noexcept;
  virtual ~CMuxVirtualMiniport();
  CMuxVirtualMiniport(const CMuxVirtualMiniport&) = delete;
  CMuxVirtualMiniport& operator=(const CMuxVirtualMiniport&) = delete;

  /// Reads what the registry holds of this miniport.
  virtual HRESULT LoadConfiguration() noexcept;

  /// Installs a new instance, applies, learns its GUID and writes its parameters. A failure after the installation
  /// takes the instance away again; the result is the first failure.
  virtual HRESULT Install() noexcept;

  /// Writes the parameters of a new instance.
  virtual HRESULT InsertRegistryParams(INetCfgComponent* component) noexcept;

  /// Removes the instance. S_FALSE when there is none.
  virtual HRESULT DeInstall() noexcept;

  /// Adds the miniport's device name to the adapter's key, or removes it from there; where, the kind of miniport says.
  HRESULT ApplyRegistryChanges(RegistryAction action, const GUID* adapterGuid) noexcept;

  /// Number and name of a VLAN; empty for any other miniport.
  virtual const wchar_t* VlanNumber() const noexcept { return L""; }
  virtual const wchar_t* VlanName() const noexcept { return L""; }

  void GetMiniportGUID(GUID* miniportGuid) const noexcept;

 protected:
  INetCfg* NetCfg() const noexcept { return m_netCfg.Get(); }

  /// The value of the adapter's key that holds the device name: UpperBindings, unless overridden.
  virtual const wchar_t* DeviceNameValue() const noexcept { return kUpperBindings; }
  virtual LONG AddDeviceName(HKEY adapterKey, const wchar_t* deviceName) noexcept;
  virtual LONG RemoveDeviceName(HKEY adapterKey, const wchar_t* deviceName) noexcept;

  GUID m_miniportGuid = {};

 private:
  HRESULT InstallInstance(INetCfgClassSetup* setup) noexcept;
  HRESULT CompleteInstance(INetCfgComponent* component) noexcept;
  LONG ChangeAdapterKey(RegistryAction action, const GUID& adapterGuid) noexcept;

  Microsoft::WRL::ComPtr<INetCfg> m_netCfg;
};

/// Gives the component of a virtual miniport its display name, a prefix and a name cut to 99 characters together, and
/// opens its parameter key.
HRESULT NameAndOpen(INetCfgComponent* component, const wchar_t* prefix, const wchar_t* name, HKEY* key) noexcept;

/// Traced when a parameter key cannot be opened, by readers and writers alike (kept for those who search traces for
/// it).
inline constexpr wchar_t kParamKeyFailure[] = L"   Failed to Open Param Key, InsertRegistryParams\n";

}  // namespace qvrn
