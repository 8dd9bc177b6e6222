#include "tools/wmi/qvrnwmiprovider/utils.h"

#include <devguid.h>
#include <netcfgx.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <vector>

#include <wrl/client.h>

#include "mux/notifyob/notifysupport.h"
#include "platform/assertion.h"
#include "platform/comtext.h"
#include "platform/registrykey.h"
#include "tools/winhalvextune/common.h"
#include "tools/winhalvextune/registrypaths.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr char kSource[] = "utils";
constexpr wchar_t kServedComponentId[] = L"qvx4\\halvex_eth";
constexpr DWORD kValueBytes = kPathChars * sizeof(wchar_t);

bool IsMissing(const wchar_t* text) noexcept { return text == nullptr || *text == L'\0'; }

// Opens a key whose path is a constant.
LSTATUS OpenConstantPath(const wchar_t* constant, RegistryKey& key) noexcept {
  wchar_t path[kPathChars];
  const HRESULT hr = CopyText(path, constant);
  QVRN_CHECK_HRESULT(hr, kSource);
  return key.Open(HKEY_LOCAL_MACHINE, path, KEY_READ);
}

// The next component until one has the GUID. S_FALSE and null at the end.
HRESULT FindByGuid(IEnumNetCfgComponent* components, const GUID& wanted, ComPtr<INetCfgComponent>& found) noexcept {
  for (;;) {
    ULONG fetched = 0;
    const HRESULT hr = components->Next(1, &found, &fetched);
    if (hr != S_OK) return hr;
    if (found == nullptr) return S_FALSE;
    GUID guid = {};
    found->GetInstanceGuid(&guid);
    if (std::memcmp(&guid, &wanted, sizeof guid) == 0) return S_OK;
    found.Reset();
  }
}

HRESULT ReadDeviceNodeId(INetCfg* netCfg, const GUID& instanceGuid, wchar_t* buffer, std::size_t size) noexcept {
  ComPtr<IEnumNetCfgComponent> components;
  HRESULT hr = netCfg->EnumComponents(&GUID_DEVCLASS_NET, &components);
  if (components == nullptr) return hr;
  ComPtr<INetCfgComponent> component;
  hr = FindByGuid(components.Get(), instanceGuid, component);
  if (hr != S_OK) return hr;
  // A component without an id counts as found; its adapter is served, and cannot be restarted.
  TaskText id;
  if (FAILED(component->GetPnpDevNodeId(id.Put())) || id.Get() == nullptr) return S_OK;
  hr = ::StringCchCopyW(buffer, size, id.Get());
  QVRN_CHECK_HRESULT(hr, kSource);
  return S_OK;
}

// Whether one of the strings holds the instance id, by a scan that steps one character beyond each terminator: from the
// second string on, the first character goes unseen (kept: the device prefix of every stored entry takes the loss).
bool HoldsInstanceId(const std::vector<wchar_t>& strings, std::size_t chars, const wchar_t* instanceId) noexcept {
  for (std::size_t position = 0; position < chars; position += std::wcslen(strings.data() + position) + 2) {
    if (std::wcsstr(strings.data() + position, instanceId) != nullptr) return true;
  }
  return false;
}

// Looks through one adapter's UpperBindings; the result is that of the last registry call.
LSTATUS ScanUpperBindings(const RegistryKey& adapters, DWORD index, const wchar_t* instanceId, wchar_t* buffer,
                          std::size_t size) {
  wchar_t name[kPathChars] = {};
  LSTATUS status = adapters.SubkeyName(index, name);
  if (status != ERROR_SUCCESS) return status;
  RegistryKey adapter;
  status = adapter.Open(adapters.Get(), name, KEY_READ);
  if (status != ERROR_SUCCESS) return status;
  std::vector<wchar_t> strings;
  std::size_t chars = 0;
  status = adapter.ReadMultiString(kUpperBindings, strings, chars);
  adapter.Close();
  if (status == ERROR_SUCCESS && HoldsInstanceId(strings, chars, instanceId)) {
    GetAdapterIndexByInstanceId(name, buffer, size);
  }
  return status;
}

}  // namespace

LONG CheckAdapterIndex(DWORD index, InstanceId* instanceId) noexcept {
  wchar_t path[kPathChars];
  FormatText(path, kInstanceKeyFormat, kNetworkClassKey, index);
  RegistryKey key;
  LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, path, KEY_READ);
  InstanceId id = {};
  if (status == ERROR_SUCCESS) status = key.ReadText(kNetCfgInstanceId, id, kValueBytes);
  wchar_t componentId[kPathChars] = {};
  if (status == ERROR_SUCCESS) status = key.ReadText(kComponentId, componentId, kValueBytes);
  key.Close();
  if (status != ERROR_SUCCESS) return status;

  if (!IsAdapterPresent(id) || ::_wcsicmp(componentId, kServedComponentId) != 0) return E_FAIL;
  if (instanceId != nullptr) CopyText(*instanceId, id);
  return ERROR_SUCCESS;
}

bool IsAdapterPresent(const wchar_t* instanceId) noexcept {
  ComPtr<INetCfg> netCfg;
  HRESULT hr = ::CoCreateInstance(CLSID_CNetCfg, nullptr, kAnyServer, IID_PPV_ARGS(&netCfg));
  QVRN_CHECK_HRESULT(hr, kSource);
  if (netCfg == nullptr) return false;
  hr = netCfg->Initialize(nullptr);
  QVRN_CHECK_HRESULT(hr, kSource);

  GUID guid = {};
  ::CLSIDFromString(instanceId, &guid);
  ComPtr<INetCfgComponent> component;
  HrFindInstance(netCfg.Get(), &guid, &component);
  ULONG deviceStatus = 0;
  const bool present = component != nullptr && component->GetDeviceStatus(&deviceStatus) == S_OK;
  component.Reset();
  netCfg->Uninitialize();
  return present;
}

HRESULT GetAdapterPnpDevNodeId(const GUID& instanceGuid, wchar_t* buffer, std::size_t size) noexcept {
  if (size != 0) buffer[0] = L'\0';
  ComPtr<INetCfg> netCfg;
  HRESULT hr = ::CoCreateInstance(CLSID_CNetCfg, nullptr, kAnyServer, IID_PPV_ARGS(&netCfg));
  if (netCfg == nullptr) return hr;
  netCfg->Initialize(nullptr);
  hr = ReadDeviceNodeId(netCfg.Get(), instanceGuid, buffer, size);
  netCfg->Uninitialize();
  return hr;
}

void FormatObjectPath(wchar_t* buffer, std::size_t size, const wchar_t* className, const wchar_t* keyName,
                      const wchar_t* keyValue) noexcept {
  ::StringCchPrintfW(buffer, size, L"%s.%s=\"%s\"", className, keyName, keyValue);
}

std::unique_ptr<CVlanDlg> OpenVlanEngine(DWORD index) {
  if (CheckAdapterIndex(index) != ERROR_SUCCESS) return nullptr;
  wchar_t path[kPathChars];
  FormatText(path, kInstanceKeyFormat, kNetworkClassKey, index);
  auto engine = std::make_unique<CVlanDlg>(path);
  if (!engine->Prepare()) return nullptr;
  engine->List().RefreshLinkStates();
  return engine;
}

HRESULT FindParentAdapterIndex(const wchar_t* instanceId, wchar_t* buffer, std::size_t size) noexcept try {
  if (buffer == nullptr || size == 0) return S_OK;
  buffer[0] = L'\0';
  if (IsMissing(instanceId)) return S_OK;
  RegistryKey adapters;
  LSTATUS status = OpenConstantPath(kDriverAdaptersKey, adapters);
  DWORD subkeys = 0;
  if (status == ERROR_SUCCESS) status = adapters.CountSubkeys(subkeys);
  // No early end: the last match wins, and the last subkey decides the result (kept).
  for (DWORD index = 0; index < subkeys; ++index) status = ScanUpperBindings(adapters, index, instanceId, buffer, size);
  return status == ERROR_SUCCESS ? S_OK : E_FAIL;
} catch (const std::bad_alloc&) {
  // The registry call before the allocation succeeded, and it was the last one.
  return S_OK;
}

HRESULT GetAdapterIndexByInstanceId(const wchar_t* instanceId, wchar_t* buffer, std::size_t size) noexcept {
  if (IsMissing(instanceId) || buffer == nullptr) return S_OK;
  RegistryKey classKey;
  LSTATUS status = OpenConstantPath(kNetworkClassKey, classKey);
  DWORD subkeys = 0;
  if (status == ERROR_SUCCESS) status = classKey.CountSubkeys(subkeys);
  for (DWORD index = 0; index < subkeys; ++index) {
    wchar_t name[kPathChars] = {};
    status = classKey.SubkeyName(index, name);
    RegistryKey instance;
    if (status == ERROR_SUCCESS) status = instance.Open(classKey.Get(), name, KEY_READ);
    if (status != ERROR_SUCCESS) break;
    InstanceId candidate = {};
    status = instance.ReadText(kNetCfgInstanceId, candidate, kValueBytes);
    if (status != ERROR_SUCCESS || std::wcscmp(candidate, instanceId) != 0) continue;
    return SUCCEEDED(::StringCchPrintfW(buffer, size, L"%d", ::_wtoi(name))) ? S_OK : E_FAIL;
  }
  return status == ERROR_SUCCESS ? S_OK : E_FAIL;
}

}  // namespace qvrn
