#include "mux/notifyob/cmuxvirtualminiport.h"

#include <devguid.h>

#include "mux/notifyob/notifysupport.h"
#include "mux/notifyob/notifytrace.h"
#include "platform/hresult.h"
#include "platform/registrykey.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

// The network class, and its way to install and remove instances.
struct ClassSetup {
  ComPtr<INetCfgClass> networkClass;
  ComPtr<INetCfgClassSetup> setup;

  HRESULT Query(INetCfg* netCfg) noexcept {
    HRESULT hr = netCfg->QueryNetCfgClass(&GUID_DEVCLASS_NET, IID_PPV_ARGS(&networkClass));
    if (SUCCEEDED(hr) && networkClass == nullptr) hr = E_FAIL;
    if (FAILED(hr)) {
      NotifyTrace(kTraceError, L"   QueryNetCfgClass failed.\n");
      return hr;
    }
    hr = QueryFor(networkClass.Get(), setup);
    if (FAILED(hr)) NotifyTrace(kTraceError, L"   QueryInterface failed.\n");
    return hr;
  }
};

}  // namespace

CMuxVirtualMiniport::CMuxVirtualMiniport(INetCfg* netCfg, const GUID* miniportGuid) noexcept : m_netCfg(netCfg) {
  NotifyTrace(kTraceFunction, L"-->CMuxVirtualMiniport::CMuxVirtualMiniport(Constructor).\n");
  if (miniportGuid != nullptr) m_miniportGuid = *miniportGuid;
  NotifyTrace(kTraceFunction, L"<--CMuxVirtualMiniport::CMuxVirtualMiniport(Constructor).\n");
}

CMuxVirtualMiniport::~CMuxVirtualMiniport() {
  NotifyTrace(kTraceFunction, L"-->CMuxVirtualMiniport::~CMuxVirtualMiniport(Destructor).\n");
  m_netCfg.Reset();
  NotifyTrace(kTraceFunction, L"<--CMuxVirtualMiniport::~CMuxVirtualMiniport(Destructor).\n");
}

HRESULT CMuxVirtualMiniport::LoadConfiguration() noexcept {
  NotifyTrace(kTraceFunction, L"-->CMuxVirtualMiniport::LoadConfiguration.\n");
  NotifyTrace(kTraceFunction, L"<--CMuxVirtualMiniport::LoadConfiguration(HRESULT = %x).\n", S_OK);
  return S_OK;
}

HRESULT CMuxVirtualMiniport::InsertRegistryParams(INetCfgComponent*) noexcept { return S_OK; }

HRESULT CMuxVirtualMiniport::Install() noexcept {
  NotifyTrace(kTraceFunction, L"-->CMuxVirtualMiniport::Install.\n");
  ClassSetup netClass;
  const HRESULT hr = netClass.Query(NetCfg());
  return FAILED(hr) ? hr : InstallInstance(netClass.setup.Get());
}

HRESULT CMuxVirtualMiniport::InstallInstance(INetCfgClassSetup* setup) noexcept {
  ComPtr<INetCfgComponent> component;
  HRESULT hr = setup->Install(kMuxMiniportId, nullptr, 0, 0, nullptr, nullptr, &component);
  if (SUCCEEDED(hr) && component == nullptr) hr = E_FAIL;
  if (FAILED(hr)) {
    NotifyTrace(kTraceError, L"   Failed to install the miniport.\n");
    return hr;
  }
  hr = CompleteInstance(component.Get());
  if (FAILED(hr)) setup->DeInstall(component.Get(), nullptr, nullptr);
  return hr;
}

HRESULT CMuxVirtualMiniport::CompleteInstance(INetCfgComponent* component) noexcept {
  // At once, so that the instance and its parameter key exist.
  HRESULT hr = NetCfg()->Apply();
  if (FAILED(hr)) {
    NotifyTrace(kTraceError, L"   Failed Apply Registry Params, uninstalling the miniport\n");
    return hr;
  }
  hr = component->GetInstanceGuid(&m_miniportGuid);
  if (FAILED(hr)) {
    NotifyTrace(kTraceError, L"   Failed to get the instance guid, uninstalling the miniport\n");
    return hr;
  }
  hr = InsertRegistryParams(component);
  if (FAILED(hr)) NotifyTrace(kTraceError, L"   Failed Insert Registry Params, uninstalling the miniport\n");
  return FAILED(hr) ? hr : S_OK;
}

HRESULT CMuxVirtualMiniport::DeInstall() noexcept {
  NotifyTrace(kTraceFunction, L"-->CMuxVirtualMiniport::DeInstall.\n");
  ClassSetup netClass;
  HRESULT hr = netClass.Query(NetCfg());
  if (SUCCEEDED(hr)) {
    ComPtr<INetCfgComponent> component;
    hr = HrFindInstance(NetCfg(), &m_miniportGuid, &component);
    if (hr != S_OK || component == nullptr) {
      NotifyTrace(kTraceProgress, L"   Didn't find the miniport instance to uninstall.\n");
    } else {
      NotifyTrace(kTraceProgress, L"   Found the miniport instance to uninstall.\n");
      hr = netClass.setup->DeInstall(component.Get(), nullptr, nullptr);
    }
  }
  netClass = {};
  NotifyTrace(kTraceFunction, L"<--CMuxVirtualMiniport::DeInstall(HRESULT = %x).\n", hr);
  return hr;
}

HRESULT CMuxVirtualMiniport::ApplyRegistryChanges(RegistryAction action, const GUID* adapterGuid) noexcept {
  NotifyTrace(kTraceFunction, L"-->CMuxVirtualMiniport::ApplyRegistryChanges.\n");
  const bool changes = action == ActionAdd || action == ActionRemove;
  const HRESULT hr = changes ? HrFromWin32(ChangeAdapterKey(action, *adapterGuid)) : S_OK;
  NotifyTrace(kTraceFunction, L"<--CMuxVirtualMiniport::ApplyRegistryChanges(HRESULT = %x).\n", hr);
  return hr;
}

LONG CMuxVirtualMiniport::ChangeAdapterKey(RegistryAction action, const GUID& adapterGuid) noexcept {
  wchar_t path[kMuxPathChars];
  FormatText(path, L"%s\\%s", kAdaptersKey, GuidText(adapterGuid).text);
  RegistryKey key;
  LONG status = key.Create(HKEY_LOCAL_MACHINE, path, KEY_ALL_ACCESS);
  if (status != ERROR_SUCCESS) {
    NotifyTrace(kTraceError, L"   Failed to open the registry key: %s.\n", path);
    return status;
  }
  const std::unique_ptr<wchar_t[]> entry = MakeDeviceName(GuidText(m_miniportGuid).text);
  if (action == ActionAdd) {
    if (entry == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    status = AddDeviceName(key.Get(), entry.get());
    if (status != ERROR_SUCCESS) {
      NotifyTrace(kTraceError, L"   Failed to save %s at %s\\%s.\n", entry.get(), path, DeviceNameValue());
    }
    return status;
  }
  if (entry == nullptr) return status;
  NotifyTrace(kTraceProgress, L"   Deleting %s at %s.\n", entry.get(), path);
  status = RemoveDeviceName(key.Get(), entry.get());
  if (status != ERROR_SUCCESS) {
    NotifyTrace(kTraceError, L"   Failed to delete %s at %s\\%s.\n", entry.get(), path, DeviceNameValue());
  }
  return status;
}

LONG CMuxVirtualMiniport::AddDeviceName(HKEY adapterKey, const wchar_t* deviceName) noexcept {
  return AddToUpperBindings(adapterKey, deviceName);
}

LONG CMuxVirtualMiniport::RemoveDeviceName(HKEY adapterKey, const wchar_t* deviceName) noexcept {
  return RemoveFromUpperBindings(adapterKey, deviceName);
}

void CMuxVirtualMiniport::GetMiniportGUID(GUID* miniportGuid) const noexcept {
  NotifyTrace(kTraceFunction, L"-->CMuxVirtualMiniport::GetMiniportGUID.\n");
  *miniportGuid = m_miniportGuid;
  NotifyTrace(kTraceFunction, L"<--CMuxVirtualMiniport::GetMiniportGUID.\n");
}

HRESULT NameAndOpen(INetCfgComponent* component, const wchar_t* prefix, const wchar_t* name, HKEY* key) noexcept {
  wchar_t displayName[kTextChars];
  CopyText(displayName, prefix);
  AppendText(displayName, name);
  HRESULT hr = component->SetDisplayName(displayName);
  if (FAILED(hr)) {
    // Kept for those who search traces for it: "get" where the name is set.
    NotifyTrace(kTraceError, L"   Failed to get Display Name, InsertRegistryParams\n");
    return hr;
  }
  hr = component->OpenParamKey(key);
  if (FAILED(hr)) NotifyTrace(kTraceError, kParamKeyFailure);
  return hr;
}

}  // namespace qvrn
