#include "mux/notifyob/notifysupport.h"

#include <devguid.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>
#include <vector>

#include <wrl/client.h>

#include "mux/notifyob/notifytrace.h"
#include "platform/boundedtext.h"
#include "platform/multistring.h"
#include "platform/registrykey.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr DWORD kMaxParamBytes = 4096;
constexpr wchar_t kDevicePrefix[] = L"\\Device\\";

void TraceGuid(const wchar_t* format, const GUID& guid) noexcept {
  NotifyTrace(kTraceProgress, format, GuidText(guid).text);
}

// Walks the components until one has the GUID. S_FALSE at the end.
HRESULT FindInEnumeration(IEnumNetCfgComponent* components, const GUID& wanted, INetCfgComponent** found) noexcept {
  for (;;) {
    ComPtr<INetCfgComponent> component;
    HRESULT hr = FetchElement(components, component);
    if (hr != S_OK) return hr;
    GUID guid = {};
    hr = component->GetInstanceGuid(&guid);
    if (hr != S_OK) return hr;
    TraceGuid(L"  Found component with InstanceGuid %s\n", guid);
    if (std::memcmp(&guid, &wanted, sizeof guid) == 0) {
      *found = component.Detach();
      return S_OK;
    }
  }
}

HRESULT OpenParamKey(INetCfgComponent* component, const wchar_t* failureText, RegistryKey& key) noexcept {
  const HRESULT hr = component->OpenParamKey(key.Put());
  if (FAILED(hr)) NotifyTrace(kTraceError, failureText, hr);
  return hr;
}

HRESULT ReadBounded(const RegistryKey& key, const wchar_t* valueName, void* buffer, DWORD* sizeBytes) noexcept {
  DWORD bytes = 0;
  if (key.ValueBytes(valueName, bytes) != ERROR_SUCCESS) return E_INVALIDARG;
  if (bytes == 0) return E_ABORT;
  if (bytes > kMaxParamBytes) return E_OUTOFMEMORY;
  // With room for a terminator that the platform may write, which the caller's buffer need not have.
  BYTE data[kMaxParamBytes + sizeof(wchar_t)];
  bytes = kMaxParamBytes;
  const LSTATUS status = ::RegQueryValueExW(key.Get(), valueName, nullptr, nullptr, data, &bytes);
  if (status != ERROR_SUCCESS) return status == ERROR_MORE_DATA ? E_OUTOFMEMORY : E_ABORT;
  std::memcpy(buffer, data, bytes);
  *sizeBytes = bytes;
  return S_OK;
}

// UpperBindings as it is stored, an odd last byte included, and its size; at least two zero characters lie behind.
LONG ReadUpperBindings(HKEY key, std::vector<wchar_t>& data, DWORD& bytes) {
  const LONG status = ::RegQueryValueExW(key, kUpperBindings, nullptr, nullptr, nullptr, &bytes);
  return status == ERROR_SUCCESS ? ReadWholeValue(key, kUpperBindings, bytes, data) : status;
}

LONG WriteUpperBindings(HKEY key, const void* data, std::size_t bytes) noexcept {
  return ::RegSetValueExW(key, kUpperBindings, 0, REG_MULTI_SZ, static_cast<const BYTE*>(data),
                          static_cast<DWORD>(bytes));
}

}  // namespace

HRESULT HrFindInstance(INetCfg* netCfg, const GUID* instanceGuid, INetCfgComponent** component) noexcept {
  NotifyTrace(kTraceFunction, L"-->HrFindInstance.\n");
  ComPtr<IEnumNetCfgComponent> components;
  HRESULT hr = netCfg->EnumComponents(&GUID_DEVCLASS_NET, &components);
  if (FAILED(hr)) {
    NotifyTrace(kTraceError, L"   EnumComponents failed(HRESULT = %x).\n", hr);
  } else if (components != nullptr) {
    TraceGuid(L"  Looking for component with InstanceGuid %s\n", *instanceGuid);
    hr = FindInEnumeration(components.Get(), *instanceGuid, component);
    components.Reset();
  }
  NotifyTrace(kTraceFunction, L"<--HrFindInstance(HRESULT = %x).\n", hr);
  return hr;
}

HRESULT ReadRegistryParams(INetCfgComponent* component, const wchar_t* valueName, void* buffer,
                           DWORD* sizeBytes) noexcept {
  RegistryKey key;
  HRESULT hr =
      OpenParamKey(component, L"   Failed to Open Param Key, CMuxNotify::ReadRegistryParams. hr = 0x%x\n", key);
  if (SUCCEEDED(hr)) hr = ReadBounded(key, valueName, buffer, sizeBytes);
  if (FAILED(hr)) {
    *sizeBytes = 0;
    std::memset(buffer, 0, 4);
  }
  return hr;
}

// Kept for those who search traces for it: deletion reports the writer's text.
constexpr wchar_t kInsertOpenFailure[] =
    L"   Failed to Open Param Key, CMuxNotify::InsertRegistryParams with hr = 0x%x\n";

LONG InsertRegistryParams(INetCfgComponent* component, const wchar_t* valueName, DWORD sizeChars,
                          const void* data) noexcept {
  RegistryKey key;
  const HRESULT hr = OpenParamKey(component, kInsertOpenFailure, key);
  return FAILED(hr) ? hr : key.WriteBytes(valueName, REG_MULTI_SZ, data, sizeChars * sizeof(wchar_t));
}

LONG DeleteRegistryParams(INetCfgComponent* component, const wchar_t* valueName) noexcept {
  RegistryKey key;
  const HRESULT hr = OpenParamKey(component, kInsertOpenFailure, key);
  return FAILED(hr) ? hr : key.DeleteValue(valueName);
}

LONG AddToUpperBindings(HKEY key, const wchar_t* entry) noexcept try {
  std::vector<wchar_t> data;
  DWORD bytes = 0;
  const LONG status = ReadUpperBindings(key, data, bytes);
  if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) return status;
  if (status != ERROR_SUCCESS || bytes == 0) {
    bytes = sizeof(wchar_t);
    data.assign(2, L'\0');
  }
  // RegSetValueExW looks at the character behind text that lacks its terminator: there is one.
  const std::size_t entryChars = std::wcslen(entry) + 1;
  data.insert(data.begin(), entry, entry + entryChars);
  return WriteUpperBindings(key, data.data(), entryChars * sizeof(wchar_t) + bytes);
} catch (const std::bad_alloc&) {
  return ERROR_NOT_ENOUGH_MEMORY;
}

LONG RemoveFromUpperBindings(HKEY key, const wchar_t* entry) noexcept try {
  std::vector<wchar_t> data;
  DWORD bytes = 0;
  const LONG status = ReadUpperBindings(key, data, bytes);
  if (status != ERROR_SUCCESS) return status;

  const std::size_t chars = bytes / sizeof(wchar_t);
  data[chars] = L'\0';  // an odd last byte is part of no entry
  const std::vector<wchar_t> others = EntriesWithout(data, chars, entry);
  const auto removed = static_cast<std::ptrdiff_t>((std::wcslen(entry) + 1) * sizeof(wchar_t));
  const std::ptrdiff_t left = static_cast<std::ptrdiff_t>(bytes) - removed;
  if (left <= static_cast<std::ptrdiff_t>(sizeof(wchar_t))) return ::RegDeleteValueW(key, kUpperBindings);
  return WriteUpperBindings(key, others.data(), static_cast<std::size_t>(left));
} catch (const std::bad_alloc&) {
  return ERROR_NOT_ENOUGH_MEMORY;
}

std::unique_ptr<wchar_t[]> MakeDeviceName(const wchar_t* guidText) noexcept {
  const std::size_t chars = std::size(kDevicePrefix) + std::wcslen(guidText);
  std::unique_ptr<wchar_t[]> name(new (std::nothrow) wchar_t[chars]);
  if (name != nullptr) ::StringCchPrintfW(name.get(), chars, L"%s%s", kDevicePrefix, guidText);
  return name;
}

std::unique_ptr<wchar_t[]> GuidFromDeviceName(const wchar_t* deviceName) noexcept {
  const wchar_t* backslash = std::wcsrchr(deviceName, L'\\');
  if (backslash == nullptr) return nullptr;
  const std::size_t chars = std::wcslen(backslash + 1) + 1;
  std::unique_ptr<wchar_t[]> guid(new (std::nothrow) wchar_t[chars]);
  if (guid != nullptr) std::copy_n(backslash + 1, chars, guid.get());
  return guid;
}

bool IsTokenInList(const wchar_t* token, const wchar_t* multiString, DWORD lengthChars) noexcept {
  if (token == nullptr || *token == L'\0' || multiString == nullptr) return false;
  return ContainsEntry(multiString, lengthChars, token);
}

}  // namespace qvrn
