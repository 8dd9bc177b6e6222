#include "mux/notifyob/notify.h"

#include <netcfgx.h>

#include <wrl/client.h>

#include <cstdlib>
#include <memory>
#include <new>

#include "mux/notifyob/cmuxphysicaladapter.h"
#include "mux/notifyob/cmuxvlanminiport.h"
#include "mux/notifyob/notifybindings.h"
#include "mux/notifyob/notifylock.h"
#include "mux/notifyob/notifysupport.h"
#include "mux/notifyob/notifytrace.h"
#include "platform/assertion.h"
#include "platform/comtext.h"
#include "platform/hresult.h"
#include "platform/registrykey.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr char kNotifySource[] = "notify";
constexpr wchar_t kPhysicalAdapterId[] = L"QVX4\\Halvex_Eth";
constexpr HRESULT kAdapterNotFound = static_cast<HRESULT>(0x8004A027);  // NETCFG_E_ADAPTER_NOT_FOUND
constexpr HRESULT kRefused = static_cast<HRESULT>(0x800400FF);
constexpr DWORD kMiniportLimit = 4096;

bool IsMissing(const wchar_t* text) noexcept { return text == nullptr || *text == L'\0'; }

bool IsBetween(const wchar_t* decimal, int first, int last) noexcept {
  const int value = ::_wtoi(decimal);
  return value >= first && value <= last;
}

// One change while the lock is held. Each step prints what it stumbles over; a failing HRESULT ends the change.
class VlanChange {
 public:
  VlanChange(INetCfg* netCfg, const wchar_t* adapterGuidText) noexcept : m_netCfg(netCfg) {
    ::CLSIDFromString(adapterGuidText, &m_adapterGuid);
  }

  HRESULT Add(wchar_t* miniportGuidText, const VlanTexts& texts) noexcept {
    HRESULT hr = Open();
    if (SUCCEEDED(hr)) hr = AddMiniport(miniportGuidText, texts);
    // The first miniport takes the adapter's bindings over.
    if (SUCCEEDED(hr) && m_count == 0) EnableBindings(m_component.Get(), FALSE);
    return hr;
  }

  HRESULT Remove(const wchar_t* miniportGuidText) noexcept {
    HRESULT hr = Open();
    if (SUCCEEDED(hr)) hr = RemoveMiniport(miniportGuidText);
    // The last one gives them back. The count is that from before the change.
    if (SUCCEEDED(hr) && m_count <= 1) EnableBindings(m_component.Get(), TRUE);
    return hr;
  }

  // In this order: the model's miniports and the component go before what they belong to is applied.
  void CleanUp() noexcept {
    m_adapterId.Reset();
    m_adapter.reset();
    m_component.Reset();
    m_netCfg->Apply();
  }

 private:
  HRESULT Open() noexcept {
    HRESULT hr = FindAdapter();
    if (SUCCEEDED(hr)) hr = CheckAdapterId();
    if (SUCCEEDED(hr)) hr = CreateModel();
    return SUCCEEDED(hr) ? LoadModel() : hr;
  }

  HRESULT FindAdapter() noexcept {
    const HRESULT hr = HrFindInstance(m_netCfg, &m_adapterGuid, &m_component);
    if (FAILED(hr)) {
      PrintMessage("HrFindInstance failed. hr = 0x%x\n", hr);
      return hr;
    }
    if (m_component != nullptr) return S_OK;
    PrintMessage("Illegal instance found\n");
    return kAdapterNotFound;
  }

  HRESULT CheckAdapterId() noexcept {
    const HRESULT hr = m_component->GetId(m_adapterId.Put());
    if (FAILED(hr)) {
      PrintMessage("Failed to read adapter device ID 0x%X\n", hr);
      return hr;
    }
    if (m_adapterId.Get() == nullptr) {
      PrintMessage("Illegal adapter device ID \n");
      return kRefused;
    }
    m_isVirtual = ::_wcsicmp(m_adapterId.Get(), kMuxMiniportId) == 0;
    if (m_isVirtual || ::_wcsicmp(m_adapterId.Get(), kPhysicalAdapterId) == 0) return S_OK;
    PrintMessage("Non-supported adapter device ID: %S\n", m_adapterId.Get());
    return kRefused;
  }

  HRESULT CreateModel() noexcept {
    m_adapter.reset(new (std::nothrow) CMuxPhysicalAdapter(m_netCfg, m_adapterGuid));
    if (m_adapter == nullptr) {
      PrintMessage("new CMuxPhysicalAdapter failed\n");
      return kRefused;
    }
    if (!m_isVirtual || IsTeamAdapter(*m_adapter)) return S_OK;
    PrintMessage("Cannot install vlan over vlan\n");
    return kRefused;
  }

  HRESULT LoadModel() noexcept {
    HRESULT hr = m_adapter->LoadConfiguration();
    if (hr == HrFromWin32(ERROR_FILE_NOT_FOUND)) {
      hr = S_OK;
      QVRN_CHECK(m_adapter->MiniportCount() == 0 || !m_adapter->IsPartOfTeam(),
                 "pMuxPhysicalAdapter->MiniportCount() == 0 || pMuxPhysicalAdapter->IsPartOfTeam() == false",
                 kNotifySource);
    }
    if (FAILED(hr)) {
      PrintMessage("pMuxPhysicalAdapter->LoadConfiguration failed. hr = 0x%x\n", hr);
      return hr;
    }
    m_count = m_adapter->MiniportCount();
    PrintMessage("pMuxPhysicalAdapter->MiniportCount() = %d\n", m_count);
    return S_OK;
  }

  HRESULT AddMiniport(wchar_t* miniportGuidText, const VlanTexts& texts) noexcept {
    if (m_count + 1 >= kMiniportLimit) {
      NotifyTrace(kTraceError, L"   Virtual miniport limit reached\n");
      return HrFromWin32(ERROR_NO_SYSTEM_RESOURCES);
    }
    if (FAILED(ValidateVlanParams(*m_adapter, texts))) {
      PrintMessage("Cannot add VLAN. Error in VLAN parameters\n");
      return E_FAIL;
    }
    // Kept for those who compare traces, in which its end would show: nobody deletes the new miniport, whatever becomes
    // of it. It holds a reference on the network configuration.
    auto* miniport = new (std::nothrow) CMuxVlanMiniport(m_netCfg, nullptr, texts);
    if (miniport == nullptr) {
      PrintMessage("new CMuxVirtualMiniport failed\n");
      return kRefused;
    }
    HRESULT hr = miniport->Install();
    if (FAILED(hr)) {
      PrintMessage("pMiniport->Install failed. hr = 0x%x\n", hr);
      return hr;  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): see above
    }
    ReportMiniport(*miniport, miniportGuidText);
    hr = miniport->ApplyRegistryChanges(ActionAdd, &m_adapterGuid);
    if (FAILED(hr)) PrintMessage("ApplyRegistryChanges failed. hr = 0x%x\n", hr);
    return hr;  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): see above
  }

  static void ReportMiniport(const CMuxVirtualMiniport& miniport, wchar_t* miniportGuidText) noexcept {
    GUID guid = {};
    miniport.GetMiniportGUID(&guid);
    const BYTE* tail = guid.Data4;
    PrintMessage("Miniport created with Guid = %08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X\n", guid.Data1,
                 guid.Data2, guid.Data3, tail[0], tail[1], tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
    ::StringFromGUID2(guid, miniportGuidText, kGuidChars);
  }

  HRESULT RemoveMiniport(const wchar_t* miniportGuidText) noexcept {
    GUID guid = {};
    ::CLSIDFromString(miniportGuidText, &guid);
    if (m_count == 0) {
      PrintMessage("There is no adapter to remove\n");
      return HrFromWin32(ERROR_INVALID_PARAMETER);
    }
    GUID team = {};
    m_adapter->GetTeamGuid(&team);
    if (team == guid) {
      PrintMessage("Trying to remove team, not VLAN. Use \"remove team\" cmd line option\n");
      return HrFromWin32(ERROR_BAD_COMMAND);
    }
    HRESULT hr = m_adapter->RemoveMiniport(&guid);
    if (hr != S_OK) {
      PrintMessage("pMuxPhysicalAdapter->RemoveMiniport failed. hr = 0x%x\n", hr);
      if (FAILED(hr)) return hr;
    } else {
      PrintMessage("pMuxPhysicalAdapter->RemoveMiniport succeeded\n");
    }
    // S_FALSE, an instance that is gone already, goes on: its entry in UpperBindings goes now.
    hr = m_adapter->ApplyRegistryChanges(ActionNone);
    if (FAILED(hr)) PrintMessage("pMuxPhysicalAdapter->ApplyRegistryChanges failed. hr = 0x%x\n", hr);
    return hr;
  }

  INetCfg* m_netCfg;
  GUID m_adapterGuid = {};
  ComPtr<INetCfgComponent> m_component;
  TaskText m_adapterId;
  bool m_isVirtual = false;
  std::unique_ptr<CMuxPhysicalAdapter> m_adapter;
  DWORD m_count = 0;
};

}  // namespace

HRESULT ConfigureVlanMiniport(const wchar_t* adapterGuidText, wchar_t* miniportGuidText, bool add,
                              const wchar_t* vlanId, const wchar_t* vlanName, const wchar_t* priority) noexcept {
  INetCfg* netCfg = nullptr;
  TaskText lockedBy;
  HRESULT hr = AcquireNetCfg(TRUE, kNotifyClient, &netCfg, lockedBy.Put());
  if (FAILED(hr)) {
    if (hr == kNoWriteLock && lockedBy.Get() != nullptr) {
      PrintMessage("AcquireWriteLock failed. Lock is held by %S\n", lockedBy.Get());
    }
    return hr;
  }
  VlanChange change(netCfg, adapterGuidText);
  hr = add ? change.Add(miniportGuidText, {vlanId, vlanName, priority}) : change.Remove(miniportGuidText);
  QVRN_CHECK(lockedBy.Get() == nullptr, "lpszLockedBy == 0", kNotifySource);
  change.CleanUp();
  ReleaseNetCfg(netCfg, TRUE);
  return hr;
}

HRESULT ValidateVlanParams(const CMuxPhysicalAdapter& adapter, const VlanTexts& texts) noexcept {
  if (IsMissing(texts.number) || IsMissing(texts.name) || IsMissing(texts.priority)) return E_FAIL;
  if (adapter.IsPartOfTeam() || !IsBetween(texts.number, 1, 4095) || !IsBetween(texts.priority, 0, 7)) return E_FAIL;
  return adapter.HasVlan(texts.number, texts.name) ? E_FAIL : S_OK;
}

bool IsTeamAdapter(const CMuxPhysicalAdapter& adapter) noexcept {
  ComPtr<INetCfgComponent> component;
  HrFindInstance(adapter.NetCfg(), &adapter.AdapterGuid(), &component);
  if (component == nullptr) return false;
  RegistryKey key;
  if (FAILED(component->OpenParamKey(key.Put()))) {
    NotifyTrace(kTraceError, kParamKeyFailure);
    return false;
  }
  wchar_t teamName[kPathChars];
  return key.ReadText(kTeamName, teamName) == ERROR_SUCCESS;
}

}  // namespace qvrn
