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
  wchar_t text[qvrn::kPathChars] = {};
  if (key) key.ReadText(name, text);
  return text;
}

std::wstring TextBelow(const std::wstring& path, const wchar_t* name) {
  RegistryKey key;
  key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_QUERY_VALUE);
  return TextOf(key, name);
}

/// Puts the values that the machine has.
HRESULT PutValues(IWbemClassObject* adapter, const std::wstring& index, const RegistryKey& instance) {
  const std::wstring guid = TextOf(instance, L"NetCfgInstanceId");
  const std::wstring device = TextOf(instance, L"DeviceInstanceID");
  const std::wstring friendlyName = TextBelow(kEnumKey + device, L"FriendlyName");
  const struct {
    const wchar_t* property;
    std::wstring text;
  } texts[] = {
      {L"DeviceID", index},
      {L"Name", friendlyName.empty() ? TextOf(instance, L"DriverDesc") : friendlyName},
      {L"GUID", guid},
      {L"PNPDeviceID", device},
      {L"NetConnectionID", TextBelow(kNetworkKey + guid + L"\\Connection", L"Name")},
  };
  HRESULT hr = WBEM_S_NO_ERROR;
  for (const auto& [property, text] : texts) {
    qvrn::Variant value(text.c_str());
    if (SUCCEEDED(hr) && !text.empty()) hr = adapter->Put(property, 0, value.Get(), 0);
  }
  DWORD status = 0;
  DWORD bytes = sizeof status;
  const LSTATUS read =
      ::RegGetValueW(instance.Get(), nullptr, L"LabConnectionStatus", RRF_RT_REG_DWORD, nullptr, &status, &bytes);
  qvrn::Variant connection(static_cast<LONG>(status));
  return FAILED(hr) || read != ERROR_SUCCESS ? hr : adapter->Put(L"NetConnectionStatus", 0, connection.Get(), 0);
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
    ComPtr<IWbemClassObject> adapter = MakeInstance(definition);
    reply.status = PutValues(adapter.Get(), std::to_wstring(std::stoi(name)), instance);
    reply.objects.push_back(std::move(adapter));
  }
  return reply;
}

}  // namespace lab
