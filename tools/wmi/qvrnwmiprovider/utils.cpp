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

constexpr char kLocatorSource[] = "utils";
constexpr wchar_t kServedComponentId[] = L"qvx4\\halvex_eth";
constexpr DWORD kValueBytes = kPathChars * sizeof(wchar_t);

bool IsMissing(const wchar_t* text) noexcept { return text == nullptr || *text == L'\0'; }

// Opens a key whose path is a constant.
LSTATUS OpenConstantPath(const wchar_t* constant, RegistryKey& key) noexcept {
  wchar_t path[kPathChars];
  const HRESULT hr = CopyText(path, constant);
  QVRN_CHECK_HRESULT(hr, kLocatorSource);
  return key.Open(HKEY_LOCAL_MACHINE, path, KEY_READ);
}

// The next component until one has the GUID. S_FALSE and null at the end.
HRESULT FindByGuid(IEnumNetCfgComponent* components, const GUID& wanted, ComPtr<INetCfgComponent>& found) noexcept {
  for (;;) {
    const HRESULT hr = FetchElement(components, found);
    if (hr != S_OK) return hr;
    GUID guid = {};
    found->GetInstanceGuid(&guid);
    if (std::memcmp(&guid, &wanted, sizeof guid) == 0) return S_OK;
  }
}

HRESULT ReadDeviceNodeId(INetCfg* netCfg, const GUID& instanceGuid, wchar_t* buffer, std::size_t size) noexcept {
  ComPtr<IEnumNetCfgComponent> components;
  HRESULT hr = netCfg->EnumComponents(&GUID_DEVCLASS_NET, &components);
  if (components == nullptr) return FAILED(hr) ? hr : S_FALSE;
  ComPtr<INetCfgComponent> component;
  hr = FindByGuid(components.Get(), instanceGuid, component);
  if (hr != S_OK) return hr;
  // A component without an id counts as found; its adapter is served, and cannot be restarted.
  TaskText id;
  if (FAILED(component->GetPnpDevNodeId(id.Put())) || id.Get() == nullptr) return S_OK;
  hr = ::StringCchCopyW(buffer, size, id.Get());
  QVRN_CHECK_HRESULT(hr, kLocatorSource);
  return S_OK;
}

// Whether one of the strings holds the instance id, by a scan that steps one character beyond each terminator: from the
// second string on, the first character goes unseen (kept for clients of machines with such values; of a stored entry
// it is the device prefix that takes the loss).
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
  bool present = false;
  const auto findDevice = [&](INetCfg* netCfg) {
    GUID guid = {};
    ::CLSIDFromString(instanceId, &guid);
    ComPtr<INetCfgComponent> component;
    HrFindInstance(netCfg, &guid, &component);
    ULONG deviceStatus = 0;
    present = component != nullptr && component->GetDeviceStatus(&deviceStatus) == S_OK;
  };
  WithNetCfg(nullptr, findDevice, [](HRESULT hr) { QVRN_CHECK_HRESULT(hr, kLocatorSource); });
  return present;
}

HRESULT GetAdapterPnpDevNodeId(const GUID& instanceGuid, wchar_t* buffer, std::size_t size) noexcept {
  if (size != 0) buffer[0] = L'\0';
  HRESULT read = S_FALSE;
  const HRESULT created = WithNetCfg(
      nullptr, [&](INetCfg* netCfg) { read = ReadDeviceNodeId(netCfg, instanceGuid, buffer, size); }, [](HRESULT) {});
  return FAILED(created) ? created : read;
}

void FormatObjectPath(wchar_t* buffer, std::size_t size, const wchar_t* className, const wchar_t* keyName,
                      const wchar_t* keyValue) noexcept {
  ::StringCchPrintfW(buffer, size, L"%s.%s=\"%s\"", className, keyName, keyValue);
}

HRESULT FindParentAdapterIndex(const wchar_t* instanceId, wchar_t* buffer, std::size_t size) noexcept try {
  if (buffer == nullptr || size == 0) return S_OK;
  buffer[0] = L'\0';
  if (IsMissing(instanceId)) return S_OK;
  RegistryKey adapters;
  LSTATUS status = OpenConstantPath(kDriverAdaptersKey, adapters);
  DWORD subkeys = 0;
  if (status == ERROR_SUCCESS) status = adapters.CountSubkeys(subkeys);
  // Kept for clients of machines with stale subkeys: no early end, the last match wins, the last subkey decides.
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
