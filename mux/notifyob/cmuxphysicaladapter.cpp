#include "mux/notifyob/cmuxphysicaladapter.h"

#include <cwchar>
#include <memory>
#include <new>
#include <vector>

#include "mux/notifyob/cmuxteamminiport.h"
#include "mux/notifyob/cmuxvlanminiport.h"
#include "mux/notifyob/notifysupport.h"
#include "mux/notifyob/notifytrace.h"
#include "platform/hresult.h"
#include "platform/registrykey.h"

namespace qvrn {
namespace {

constexpr VlanTexts kTextsFromRegistry = {nullptr, nullptr, nullptr};

}  // namespace

CMuxPhysicalAdapter::CMuxPhysicalAdapter(INetCfg* netCfg, const GUID& adapterGuid) noexcept
    : m_adapterGuid(adapterGuid), m_netCfg(netCfg) {
  NotifyTrace(kTraceFunction, L"-->CMuxPhysicalAdapter::CMuxPhysicalAdapter(Constructor).\n");
  NotifyTrace(kTraceFunction, L"<--CMuxPhysicalAdapter::CMuxPhysicalAdapter(Constructor).\n");
}

CMuxPhysicalAdapter::~CMuxPhysicalAdapter() {
  NotifyTrace(kTraceFunction, L"-->CMuxPhysicalAdapter::~CMuxPhysicalAdapter(Destructor).\n");
  DeleteMiniports(m_current);
  DeleteMiniports(m_added);
  DeleteMiniports(m_removed);
  m_netCfg.Reset();
  NotifyTrace(kTraceFunction, L"<--CMuxPhysicalAdapter::~CMuxPhysicalAdapter(Destructor).\n");
}

void CMuxPhysicalAdapter::DeleteMiniports(const Miniports& miniports) noexcept {
  miniports.ForEach([](CMuxVirtualMiniport* miniport) {
    delete miniport;
    return true;
  });
}

HRESULT CMuxPhysicalAdapter::LoadConfiguration() noexcept try {
  NotifyTrace(kTraceFunction, L"-->CMuxPhysicalAdapter::LoadConfiguration.\n");
  wchar_t path[kMuxPathChars];
  FormatText(path, L"%s\\%s", kAdaptersKey, GuidText(m_adapterGuid).text);
  RegistryKey key;
  LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, path, KEY_ALL_ACCESS);
  if (status != ERROR_SUCCESS) {
    NotifyTrace(kTraceError, L"   Failed to open the registry key: %s.\n", path);
    return HrFromWin32(status);
  }
  std::vector<wchar_t> bindings;
  std::size_t chars = 0;
  status = key.ReadMultiString(kUpperBindings, bindings, chars);
  if (status != ERROR_SUCCESS) {
    NotifyTrace(kTraceError, L"   Failed to read the registry value: %s.\n", kUpperBindings);
    return HrFromWin32(status);
  }
  std::vector<wchar_t> team;
  std::size_t teamChars = 0;
  const LSTATUS teamStatus = key.ReadMultiString(kTeamDeviceName, team, teamChars);
  const wchar_t* teamDeviceName = teamStatus == ERROR_SUCCESS ? team.data() : nullptr;
  for (const wchar_t* entry = bindings.data(); *entry != L'\0'; entry += std::wcslen(entry) + 1) {
    LoadMiniport(entry, teamDeviceName);
  }
  key.Close();
  const HRESULT hr = HrFromWin32(teamStatus);
  NotifyTrace(kTraceFunction, L"<--CMuxPhysicalAdapter::LoadConfiguration(HRESULT = %x).\n", hr);
  return hr;
} catch (const std::bad_alloc&) {
  return HrFromWin32(ERROR_NOT_ENOUGH_MEMORY);
}

// One entry of UpperBindings. What cannot be made for want of memory is left out.
void CMuxPhysicalAdapter::LoadMiniport(const wchar_t* deviceName, const wchar_t* teamDeviceName) noexcept {
  const std::unique_ptr<wchar_t[]> guidText = GuidFromDeviceName(deviceName);
  NotifyTrace(kTraceProgress, L"   Loading configuration for miniport %s...\n", guidText.get());
  if (guidText == nullptr) return;
  GUID guid = {};
  ::CLSIDFromString(guidText.get(), &guid);

  std::unique_ptr<CMuxVirtualMiniport> miniport;
  const bool isTeam = teamDeviceName != nullptr && ::_wcsicmp(deviceName, teamDeviceName) == 0;
  if (isTeam) {
    miniport.reset(new (std::nothrow) CMuxTeamMiniport(NetCfg(), &guid, nullptr, 0));
  } else {
    miniport.reset(new (std::nothrow) CMuxVlanMiniport(NetCfg(), &guid, kTextsFromRegistry));
  }
  if (miniport == nullptr) return;
  miniport->LoadConfiguration();
  if (m_current.ListInsert(miniport.get(), guid) != S_OK) return;
  if (isTeam) m_team = miniport.get();
  static_cast<void>(miniport.release());
}

void CMuxPhysicalAdapter::GetTeamGuid(GUID* teamGuid) const noexcept {
  if (m_team != nullptr) m_team->GetMiniportGUID(teamGuid);
}

HRESULT CMuxPhysicalAdapter::RemoveMiniport(const GUID* miniportGuid) noexcept {
  NotifyTrace(kTraceFunction, L"-->CMuxPhysicalAdapter::RemoveMiniport.\n");
  CMuxVirtualMiniport* miniport = nullptr;
  HRESULT hr =
      miniportGuid != nullptr ? m_current.ListRemoveByKey(*miniportGuid, miniport) : m_current.ListRemoveHead(miniport);
  if (SUCCEEDED(hr)) {
    GUID guid = {};
    miniport->GetMiniportGUID(&guid);
    hr = m_removed.ListInsert(miniport, guid);
    if (SUCCEEDED(hr)) {
      hr = miniport->DeInstall();
    } else {
      // What cannot be recorded stays installed, and its entry stays with it.
      if (m_team == miniport) m_team = nullptr;
      delete miniport;
    }
  }
  NotifyTrace(kTraceFunction, L"<--CMuxPhysicalAdapter::RemoveMiniport(HRESULT = %x).\n", hr);
  return hr;
}

HRESULT CMuxPhysicalAdapter::ApplyRegistryChanges(RegistryAction action) noexcept {
  NotifyTrace(kTraceFunction, L"-->CMuxPhysicalAdapter::ApplyRegistryChanges.\n");
  const GuidText adapterGuid(m_adapterGuid);
  CreateAdapterKey(adapterGuid.text);
  NotifyTrace(kTraceProgress, L"   Applying registry changes when %d miniports added.\n", m_added.ListCount());
  ApplyToMiniports(m_added, ActionAdd);
  NotifyTrace(kTraceProgress, L"   Applying registry changes when %d miniports removed.\n", m_removed.ListCount());
  ApplyToMiniports(m_removed, ActionRemove);
  if (action == ActionRemove) DeleteAdapterKey(adapterGuid.text);
  NotifyTrace(kTraceFunction, L"<--CMuxPhysicalAdapter::ApplyRegistryChanges(HRESULT = %x).\n", S_OK);
  return S_OK;
}

void CMuxPhysicalAdapter::CreateAdapterKey(const wchar_t* adapterGuid) noexcept {
  RegistryKey adapters;
  if (adapters.Create(HKEY_LOCAL_MACHINE, kAdaptersKey, KEY_ALL_ACCESS) != ERROR_SUCCESS) {
    NotifyTrace(kTraceError, L"   Failed to open the registry key: %s.\n", kAdaptersKey);
    return;
  }
  RegistryKey adapter;
  if (adapter.Create(adapters.Get(), adapterGuid, KEY_ALL_ACCESS) != ERROR_SUCCESS) {
    NotifyTrace(kTraceError, L"   Failed to create/open the registry key: %s\\%s.\n", kAdaptersKey, adapterGuid);
  }
}

void CMuxPhysicalAdapter::ApplyToMiniports(const Miniports& miniports, RegistryAction action) noexcept {
  DWORD index = 0;
  miniports.ForEach([&](CMuxVirtualMiniport* miniport) {
    if (FAILED(miniport->ApplyRegistryChanges(action, &m_adapterGuid))) {
      NotifyTrace(kTraceError, L"   Failed to apply registry changes to miniport(%d).\n", index);
    }
    ++index;
    return true;
  });
}

void CMuxPhysicalAdapter::DeleteAdapterKey(const wchar_t* adapterGuid) noexcept {
  RegistryKey adapters;
  if (adapters.Create(HKEY_LOCAL_MACHINE, kAdaptersKey, KEY_ALL_ACCESS) != ERROR_SUCCESS) return;
  NotifyTrace(kTraceProgress, L"   Deleting the registry key: %s.\n", adapterGuid);
  ::RegDeleteKeyW(adapters.Get(), adapterGuid);
}

bool CMuxPhysicalAdapter::HasVlan(const wchar_t* number, const wchar_t* name) const noexcept {
  bool found = false;
  m_current.ForEach([&](CMuxVirtualMiniport* miniport) {
    found = ::_wcsicmp(miniport->VlanName(), name) == 0 || ::_wcsicmp(miniport->VlanNumber(), number) == 0;
    return !found;
  });
  return found;
}

}  // namespace qvrn
