#include "mux/notifyob/cmuxteamminiport.h"

#include <devguid.h>

#include <cwchar>

#include "mux/notifyob/notifysupport.h"
#include "mux/notifyob/notifytrace.h"
#include "platform/hresult.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

void ReadTeamType(const RegistryKey& key, DWORD& type) noexcept {
  DWORD stored[2] = {};  // with room for a terminator that the platform may write behind text
  DWORD bytes = sizeof type;
  const LSTATUS status =
      ::RegQueryValueExW(key.Get(), kTeamType, nullptr, nullptr, reinterpret_cast<BYTE*>(stored), &bytes);
  if (status == ERROR_SUCCESS) type = stored[0];
}

}  // namespace

CMuxTeamMiniport::CMuxTeamMiniport(INetCfg* netCfg, const GUID* miniportGuid, const wchar_t* teamName,
                                   DWORD teamType) noexcept
    : CMuxVirtualMiniport(netCfg, miniportGuid), m_teamType(teamType) {
  if (teamName != nullptr) CopyText(m_teamName, teamName);
}

HRESULT CMuxTeamMiniport::LoadConfiguration() noexcept {
  if (m_miniportGuid == GUID{}) {
    const HRESULT hr = FindInstalledTeam();
    if (FAILED(hr)) return hr;
  }
  wchar_t path[kPathChars];
  CopyText(path, kAdaptersKey);
  RegistryKey adapters;
  if (adapters.Open(HKEY_LOCAL_MACHINE, path, KEY_READ) != ERROR_SUCCESS) return HrFromWin32(ERROR_FILE_NOT_FOUND);
  bool found = false;
  wchar_t name[kPathChars] = {};
  for (DWORD index = 0; adapters.SubkeyName(index, name) == ERROR_SUCCESS; ++index) {
    if (LoadMember(adapters, name)) found = true;
  }
  return found ? S_OK : E_FAIL;
}

// Takes the instance GUID of the virtual miniport that carries this team's name. Not reached here, where a team has its
// GUID; for hosts that make teams.
HRESULT CMuxTeamMiniport::FindInstalledTeam() noexcept {
  ComPtr<IEnumNetCfgComponent> components;
  NetCfg()->EnumComponents(&GUID_DEVCLASS_NET, &components);
  ComPtr<INetCfgComponent> component;
  while (FetchNext(components.Get(), component)) {
    RegistryKey key;
    wchar_t name[kTextChars];
    if (FAILED(component->OpenParamKey(key.Put())) || key.ReadText(kTeamName, name) != ERROR_SUCCESS) continue;
    if (std::wcscmp(name, m_teamName) == 0) return FAILED(component->GetInstanceGuid(&m_miniportGuid)) ? E_FAIL : S_OK;
  }
  return HrFromWin32(ERROR_DUP_NAME);
}

bool CMuxTeamMiniport::LoadMember(const RegistryKey& adapters, const wchar_t* adapterGuid) noexcept {
  RegistryKey adapter;
  wchar_t deviceName[kPathChars];
  if (adapter.Open(adapters.Get(), adapterGuid, KEY_READ) != ERROR_SUCCESS) return false;
  if (adapter.ReadText(kTeamDeviceName, deviceName) != ERROR_SUCCESS) return false;
  const std::unique_ptr<wchar_t[]> team = GuidFromDeviceName(deviceName);
  GUID teamGuid = {};
  if (team == nullptr || FAILED(::CLSIDFromString(team.get(), &teamGuid)) || teamGuid != m_miniportGuid) return false;

  GUID member = {};
  ::CLSIDFromString(adapterGuid, &member);
  m_members.ListInsert(member, member);
  adapter.ReadText(kTeamName, m_teamName);
  ReadTeamType(adapter, m_teamType);
  wchar_t primary[kGuidChars];
  if (adapter.ReadText(kPrimaryAdapterGuid, primary) == ERROR_SUCCESS) {
    ::CLSIDFromString(primary, &m_primaryAdapter);
    m_hasPrimaryAdapter = true;
  }
  return true;
}

HRESULT CMuxTeamMiniport::InsertRegistryParams(INetCfgComponent* component) noexcept {
  RegistryKey key;
  const HRESULT hr = NameAndOpen(component, L"Quorvane Virtual Miniport Driver - Team ", m_teamName, key.Put());
  if (FAILED(hr)) return hr;
  key.WriteText(kTeamName, m_teamName);
  key.WriteBytes(kTeamType, REG_DWORD, &m_teamType, sizeof m_teamType);

  wchar_t path[kMuxPathChars];
  const GuidText guid(m_miniportGuid);
  FormatText(path, L"%s\\%s", kAdaptersKey, guid.text);
  DWORD disposition = 0;
  const LSTATUS status = key.Create(HKEY_LOCAL_MACHINE, path, KEY_ALL_ACCESS, &disposition);
  if (status == ERROR_SUCCESS && disposition == REG_CREATED_NEW_KEY) {
    key.WriteText(kTeamName, m_teamName);
    key.WriteText(kTeamGuid, guid.text);
    key.WriteBytes(kTeamType, REG_DWORD, &m_teamType, sizeof m_teamType);
  }
  return HrFromWin32(status);
}

HRESULT CMuxTeamMiniport::DeInstall() noexcept {
  const HRESULT hr = CMuxVirtualMiniport::DeInstall();
  RegistryKey adapters;
  if (hr != S_OK || adapters.Create(HKEY_LOCAL_MACHINE, kAdaptersKey, KEY_ALL_ACCESS) != ERROR_SUCCESS) return hr;
  const GuidText guid(m_miniportGuid);
  NotifyTrace(kTraceProgress, L"   Deleting the registry key: %s.\n", guid.text);
  ::RegDeleteKeyW(adapters.Get(), guid.text);
  return hr;
}

LONG CMuxTeamMiniport::AddDeviceName(HKEY adapterKey, const wchar_t* deviceName) noexcept {
  const auto write = [adapterKey](const wchar_t* name, const wchar_t* text) {
    const auto bytes = static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t));
    return ::RegSetValueExW(adapterKey, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), bytes);
  };
  const LONG status = write(kTeamDeviceName, deviceName);
  if (status != ERROR_SUCCESS || !m_hasPrimaryAdapter) return status;
  return write(kPrimaryAdapterGuid, GuidText(m_primaryAdapter).text);
}

LONG CMuxTeamMiniport::RemoveDeviceName(HKEY adapterKey, const wchar_t*) noexcept {
  const LONG status = ::RegDeleteValueW(adapterKey, kTeamDeviceName);
  ::RegDeleteValueW(adapterKey, kPrimaryAdapterGuid);
  return status;
}

bool CMuxTeamMiniport::IsPrimaryAdapter(const GUID& adapterGuid) const noexcept {
  return m_hasPrimaryAdapter && m_primaryAdapter == adapterGuid;
}

}  // namespace qvrn
