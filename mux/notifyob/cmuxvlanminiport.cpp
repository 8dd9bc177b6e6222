#include "mux/notifyob/cmuxvlanminiport.h"

#include "mux/notifyob/notifysupport.h"
#include "mux/notifyob/notifytrace.h"
#include "platform/hresult.h"
#include "platform/registrykey.h"

namespace qvrn {

using Microsoft::WRL::ComPtr;

CMuxVlanMiniport::CMuxVlanMiniport(INetCfg* netCfg, const GUID* miniportGuid, const VlanTexts& texts) noexcept
    : CMuxVirtualMiniport(netCfg, miniportGuid) {
  if (texts.number == nullptr || texts.name == nullptr || texts.priority == nullptr) return;
  CopyText(m_vlanNumber, texts.number);
  CopyText(m_vlanName, texts.name);
  CopyText(m_priority, texts.priority);
}

HRESULT CMuxVlanMiniport::LoadConfiguration() noexcept {
  ComPtr<INetCfgComponent> component;
  HRESULT hr = HrFindInstance(NetCfg(), &m_miniportGuid, &component);
  if (component == nullptr) return hr;
  RegistryKey key;
  hr = component->OpenParamKey(key.Put());
  if (FAILED(hr)) {
    NotifyTrace(kTraceError, kParamKeyFailure);
    return hr;
  }
  LSTATUS status = key.ReadText(kVlanNumber, m_vlanNumber);
  if (status == ERROR_SUCCESS) status = key.ReadText(kVlanName, m_vlanName);
  if (status == ERROR_SUCCESS) status = key.ReadText(kVlanPriority, m_priority);
  return HrFromWin32(status);
}

HRESULT CMuxVlanMiniport::InsertRegistryParams(INetCfgComponent* component) noexcept {
  RegistryKey key;
  const HRESULT hr = NameAndOpen(component, kVlanDevicePrefix, m_vlanName, key.Put());
  if (FAILED(hr)) return hr;
  key.WriteBytes(kVlanNumber, REG_SZ, m_vlanNumber, sizeof m_vlanNumber);
  key.WriteBytes(kVlanName, REG_SZ, m_vlanName, sizeof m_vlanName);
  key.WriteBytes(kVlanPriority, REG_SZ, m_priority, sizeof m_priority);
  return S_OK;
}

}  // namespace qvrn
