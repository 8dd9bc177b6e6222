#include "lab/netcfg/netcfginstaller.h"

#include <netcfgx.h>
#include <objbase.h>

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "lab/netcfg/netcfgpaths.h"
#include "platform/registrykey.h"

namespace lab {
namespace {

using qvrn::HrFromWin32;
using qvrn::RegistryKey;

/// What a driver package would say of a component. A device has no service key here and a protocol no device key.
struct Installable {
  const wchar_t* id;
  const wchar_t* networkClass;
  const wchar_t* description;
  DWORD characteristics;
  const wchar_t* enumerator;     ///< of its devices, with the last backslash; null for a protocol
  const wchar_t* serviceKey;     ///< below HKEY_LOCAL_MACHINE, or null
  const wchar_t* parametersKey;  ///< below the service key
};

constexpr Installable kInstallables[] = {
    {kVlanProtocol, L"NetTrans", L"Quorvane Intermediate VLAN Driver", 0, nullptr,
     L"SYSTEM\\CurrentControlSet\\Services\\muxp", L"Parameters\\Adapters"},
    {kVlanMiniport, L"Net", L"Quorvane Virtual Miniport Driver", NCF_VIRTUAL, L"ROOT\\QVRN_MUXMP\\", nullptr, nullptr},
};
constexpr wchar_t kProvider[] = L"Quorvane";
constexpr DWORD kMostInstances = 10000;

const Installable* FindInstallable(const wchar_t* id) {
  const auto* const found = std::find_if(std::begin(kInstallables), std::end(kInstallables),
                                         [&](const Installable& one) { return ::_wcsicmp(one.id, id) == 0; });
  return found == std::end(kInstallables) ? nullptr : found;
}

struct TextValue {
  const wchar_t* name;
  std::wstring text;
};

LSTATUS WriteTexts(const RegistryKey& key, std::initializer_list<TextValue> values) {
  for (const TextValue& value : values) {
    const LSTATUS status = key.WriteText(value.name, value.text.c_str());
    if (status != ERROR_SUCCESS) return status;
  }
  return ERROR_SUCCESS;
}

/// Makes the first of the subkeys "0000", "0001" and so on that is not there yet; `parent` ends in a backslash.
LSTATUS MakeNumberedKey(const std::wstring& parent, RegistryKey& key, std::wstring& name) {
  for (DWORD index = 0; index < kMostInstances; ++index) {
    wchar_t digits[qvrn::kTextChars];
    DWORD disposition = 0;
    qvrn::FormatText(digits, L"%04u", index);
    name = digits;
    const LSTATUS status = key.Create(HKEY_LOCAL_MACHINE, (parent + name).c_str(), KEY_WRITE, &disposition);
    if (status != ERROR_SUCCESS || disposition == REG_CREATED_NEW_KEY) return status;
  }
  return ERROR_NO_MORE_ITEMS;
}

LSTATUS MakeDevice(const Installable& package, ComponentRecord& component) {
  RegistryKey key;
  std::wstring name;
  LSTATUS status = MakeNumberedKey(kEnumKey + std::wstring(package.enumerator), key, name);
  if (status != ERROR_SUCCESS) return status;
  component.deviceId = package.enumerator + name;
  const std::wstring driver = component.networkClass->text + component.keyPath.substr(component.keyPath.rfind(L'\\'));
  return WriteTexts(key, {{L"ClassGUID", component.networkClass->text},
                          {L"Class", component.networkClass->name},
                          {L"Driver", driver},
                          {L"DeviceDesc", package.description},
                          {L"Mfg", kProvider}});
}

LSTATUS MakeService(const Installable& package) {
  RegistryKey key;
  const std::wstring path = std::wstring(package.serviceKey) + L'\\' + package.parametersKey;
  return key.Create(HKEY_LOCAL_MACHINE, path.c_str(), KEY_WRITE);
}

/// `component` gets its paths as soon as they exist, so that DeleteKeys finds what a failure leaves.
LSTATUS MakeKeys(const Installable& package, ComponentRecord& component) {
  RegistryKey key;
  std::wstring name;
  const std::wstring classKey = ClassKeyPath(*component.networkClass) + L'\\';
  LSTATUS status = MakeNumberedKey(classKey, key, name);
  if (status != ERROR_SUCCESS) return status;
  component.keyPath = classKey + name;
  if (package.enumerator != nullptr) status = MakeDevice(package, component);
  if (status == ERROR_SUCCESS && package.serviceKey != nullptr) status = MakeService(package);
  if (status != ERROR_SUCCESS) return status;
  status = WriteTexts(key, {{L"DriverDesc", package.description},
                            {L"ProviderName", kProvider},
                            {L"ComponentId", package.id},
                            {L"NetCfgInstanceId", GuidText(component.instance)}});
  if (status == ERROR_SUCCESS && !component.deviceId.empty()) {
    status = key.WriteText(L"DeviceInstanceID", component.deviceId.c_str());
  }
  const DWORD characteristics = package.characteristics;
  return status != ERROR_SUCCESS
             ? status
             : key.WriteBytes(L"Characteristics", REG_DWORD, &characteristics, sizeof(characteristics));
}

LSTATUS DeleteTree(const std::wstring& path) {
  const LSTATUS status = ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.c_str());
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
}

/// Deletes a device's key, and its enumerator's key with the last device.
LSTATUS DeleteDevice(const std::wstring& path) {
  const LSTATUS status = DeleteTree(path);
  ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, path.substr(0, path.rfind(L'\\')).c_str());
  return status;
}

/// Deletes all keys of a component, as many as there are; the first failure.
LSTATUS DeleteKeys(const ComponentRecord& component) {
  const Installable* const package = FindInstallable(component.id.c_str());
  LSTATUS status = component.keyPath.empty() ? ERROR_SUCCESS : DeleteTree(component.keyPath);
  const auto also = [&](LSTATUS next) { status = status == ERROR_SUCCESS ? next : status; };
  if (!component.deviceId.empty()) also(DeleteDevice(component.DeviceKeyPath()));
  if (package != nullptr && package->serviceKey != nullptr) also(DeleteTree(package->serviceKey));
  return status;
}

ComponentPointer FindInstalled(const NetCfgSession& session, const Installable& package) {
  for (const ComponentPointer& component : session.Components()) {
    if (component->HasId(package.id)) return component;
  }
  return nullptr;
}

}  // namespace

HRESULT InstallComponent(NetCfgSession& session, const NetworkClass& networkClass, LPCWSTR id,
                         ComponentPointer& component) {
  const Installable* const package = FindInstallable(id);
  if (package == nullptr || networkClass.name != std::wstring_view(package->networkClass)) {
    return SPAPI_E_NO_DRIVER_SELECTED;
  }
  component = package->enumerator == nullptr ? FindInstalled(session, *package) : nullptr;
  if (component != nullptr) return S_OK;
  auto made = std::make_shared<ComponentRecord>();
  made->networkClass = &networkClass;
  made->id = package->id;
  const HRESULT hr = ::CoCreateGuid(&made->instance);
  if (FAILED(hr)) return hr;
  const LSTATUS status = MakeKeys(*package, *made);
  if (status != ERROR_SUCCESS) {
    DeleteKeys(*made);
    return HrFromWin32(status);
  }
  session.Insert(made);
  component = std::move(made);
  return S_OK;
}

HRESULT RemoveComponent(NetCfgSession& session, const GUID& instance) {
  const ComponentPointer component = session.Find(instance);
  if (component == nullptr) return SPAPI_E_NO_SUCH_DEVINST;
  ForgetPaths(session.Components(), *component);
  session.Erase(*component);
  return HrFromWin32(DeleteKeys(*component));
}

}  // namespace lab
