#include "lab/wmi/networkadapters.h"

#include <cwchar>
#include <string>

#include "lab/wmi/classobject.h"
#include "platform/comtext.h"
#include "platform/registrykey.h"

using Microsoft::WRL::ComPtr;
using qvrn::RegistryKey;

namespace lab {
namespace {

constexpr wchar_t kClassKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002bE10318}";
constexpr wchar_t kEnumKey[] = L"SYSTEM\\CurrentControlSet\\Enum\\";
constexpr wchar_t kNetworkKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Network\\{4D36E972-E325-11CE-BFC1-08002BE10318}\\";

/// The text of a value; empty when it is absent.
std::wstring TextOf(const RegistryKey& key, const wchar_t* name) {
  wchar_t text[qvrn::kPathChars];
  key.ReadText(name, text);
  return text;
}

/// The same for a value of a key below `parent`.
std::wstring TextBelow(HKEY parent, const std::wstring& path, const wchar_t* name) {
  RegistryKey key;
  return key.Open(parent, path.c_str(), KEY_QUERY_VALUE) == ERROR_SUCCESS ? TextOf(key, name) : std::wstring();
}

std::wstring ComputerName() {
  wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
  DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
  ::GetComputerNameW(name, &length);
  return name;
}

/// Puts the texts that are not empty.
HRESULT PutTexts(IWbemClassObject* adapter, const wchar_t* index, const RegistryKey& instance) {
  const std::wstring description = TextOf(instance, L"DriverDesc");
  const std::wstring guid = TextOf(instance, L"NetCfgInstanceId");
  const std::wstring device = TextOf(instance, L"DeviceInstanceID");
  const std::wstring friendlyName = TextBelow(HKEY_LOCAL_MACHINE, kEnumKey + device, L"FriendlyName");
  const struct {
    const wchar_t* property;
    std::wstring text;
  } texts[] = {
      {L"DeviceID", index},
      {L"Name", friendlyName.empty() ? description : friendlyName},
      {L"Description", description},
      {L"Manufacturer", TextOf(instance, L"ProviderName")},
      {L"GUID", guid},
      {L"PNPDeviceID", device},
      {L"ServiceName", TextBelow(instance.Get(), L"Ndi", L"Service")},
      {L"NetConnectionID", TextBelow(HKEY_LOCAL_MACHINE, kNetworkKey + guid + L"\\Connection", L"Name")},
      {L"CreationClassName", L"Win32_NetworkAdapter"},
      {L"SystemCreationClassName", L"Win32_ComputerSystem"},
      {L"SystemName", ComputerName()},
  };
  for (const auto& [property, text] : texts) {
    if (text.empty()) continue;
    qvrn::Variant value(text.c_str());
    const HRESULT hr = adapter->Put(property, 0, value.Get(), 0);
    if (FAILED(hr)) return hr;
  }
  return WBEM_S_NO_ERROR;
}

HRESULT PutNumbers(IWbemClassObject* adapter, LONG index, const RegistryKey& instance) {
  qvrn::Variant number(index);
  const HRESULT hr = adapter->Put(L"Index", 0, number.Get(), 0);
  DWORD status = 0;
  DWORD bytes = sizeof status;
  if (FAILED(hr) || ::RegGetValueW(instance.Get(), nullptr, L"LabConnectionStatus", RRF_RT_REG_DWORD, nullptr, &status,
                                   &bytes) != ERROR_SUCCESS) {
    return hr;
  }
  qvrn::Variant connection(static_cast<LONG>(status));
  return adapter->Put(L"NetConnectionStatus", 0, connection.Get(), 0);
}

bool IsInstanceKey(const wchar_t* name) { return std::wcslen(name) == 4 && std::wcsspn(name, L"0123456789") == 4; }

}  // namespace

Reply EnumerateNetworkAdapters(const std::shared_ptr<const ClassDefinition>& definition) {
  Reply reply;
  RegistryKey classKey;
  if (classKey.Open(HKEY_LOCAL_MACHINE, kClassKey, KEY_READ) != ERROR_SUCCESS) return reply;
  wchar_t name[qvrn::kPathChars];
  for (DWORD i = 0; SUCCEEDED(reply.status) && classKey.SubkeyName(i, name) == ERROR_SUCCESS; ++i) {
    RegistryKey instance;
    if (!IsInstanceKey(name) || instance.Open(classKey.Get(), name, KEY_READ) != ERROR_SUCCESS) continue;
    const int index = std::stoi(name);
    ComPtr<IWbemClassObject> adapter = MakeInstance(definition);
    reply.status = PutTexts(adapter.Get(), std::to_wstring(index).c_str(), instance);
    if (SUCCEEDED(reply.status)) reply.status = PutNumbers(adapter.Get(), index, instance);
    reply.objects.push_back(std::move(adapter));
  }
  return reply;
}

}  // namespace lab
