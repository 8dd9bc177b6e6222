#include "lab/netcfg/netcfginstaller.h"

#include <netcfgx.h>
#include <objbase.h>

#include <iterator>
#include <map>
#include <stdexcept>

#include "lab/netcfg/netcfgpaths.h"
#include "platform/registrykey.h"

namespace lab {
namespace {

/// What a driver package would say of a component. A device has no service key here and a protocol no device key.
struct Package {
  const wchar_t* id;
  const wchar_t* networkClass;
  const wchar_t* description;
  DWORD characteristics;
  const wchar_t* enumerator;  ///< of its devices, with the last backslash; null for a protocol
  const wchar_t* serviceKey;  ///< below HKEY_LOCAL_MACHINE, or null
};

constexpr Package kPackages[] = {
    {kVlanProtocol, L"NetTrans", L"Quorvane Intermediate VLAN Driver", 0, nullptr,
     L"SYSTEM\\CurrentControlSet\\Services\\muxp"},
    {kVlanMiniport, L"Net", L"Quorvane Virtual Miniport Driver", NCF_VIRTUAL, L"ROOT\\QVRN_MUXMP\\", nullptr},
};
constexpr wchar_t kProvider[] = L"Quorvane";

const Package* FindPackage(const wchar_t* id) {
  for (const Package& package : kPackages) {
    if (::_wcsicmp(package.id, id) == 0) return &package;
  }
  return nullptr;
}

void Check(LSTATUS status) {
  if (status != ERROR_SUCCESS) throw std::runtime_error("the lab's registry cannot be changed");
}

using Texts = std::map<const wchar_t*, std::wstring>;

void WriteTexts(const qvrn::RegistryKey& key, const Texts& values) {
  for (const auto& [name, text] : values) Check(key.WriteText(name, text.c_str()));
}

/// Makes the first of the subkeys "0000", "0001" and so on that is not there yet, and returns its name; `parent` ends
/// in a backslash.
std::wstring MakeNumberedKey(const std::wstring& parent, qvrn::RegistryKey& key) {
  wchar_t name[qvrn::kTextChars];
  DWORD disposition = REG_OPENED_EXISTING_KEY;
  for (DWORD index = 0; disposition != REG_CREATED_NEW_KEY; ++index) {
    qvrn::FormatText(name, L"%04u", index);
    Check(key.Create(HKEY_LOCAL_MACHINE, (parent + name).c_str(), KEY_WRITE, &disposition));
  }
  return name;
}

ComponentPointer MakeKeys(const Package& package, const NetworkClass& networkClass) {
  qvrn::RegistryKey key;
  const auto component = std::make_shared<ComponentRecord>();
  component->networkClass = &networkClass;
  component->id = package.id;
  ::CoCreateGuid(&component->instance);
  const std::wstring classKey = ClassKeyPath(networkClass) + L'\\';
  const std::wstring name = MakeNumberedKey(classKey, key);
  component->keyPath = classKey + name;
  WriteTexts(key, {{L"DriverDesc", package.description},
                   {L"ProviderName", kProvider},
                   {L"ComponentId", package.id},
                   {L"NetCfgInstanceId", GuidText(component->instance)}});
  Check(key.WriteBytes(L"Characteristics", REG_DWORD, &package.characteristics, sizeof(DWORD)));
  if (package.enumerator != nullptr) {
    qvrn::RegistryKey device;
    component->deviceId = package.enumerator + MakeNumberedKey(kEnumKey + std::wstring(package.enumerator), device);
    WriteTexts(key, {{L"DeviceInstanceID", component->deviceId}});
    WriteTexts(device, {{L"ClassGUID", networkClass.text},
                        {L"Class", networkClass.name},
                        {L"Driver", networkClass.text + (L'\\' + name)},
                        {L"DeviceDesc", package.description},
                        {L"Mfg", kProvider}});
  }
  if (package.serviceKey != nullptr) {
    Check(key.Create(HKEY_LOCAL_MACHINE, (package.serviceKey + std::wstring(L"\\Parameters\\Adapters")).c_str(),
                     KEY_WRITE));
  }
  return component;
}

void DeleteTree(const std::wstring& path) { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.c_str()); }

}  // namespace

ComponentPointer InstallComponent(NetCfgSession& session, const NetworkClass& networkClass, const wchar_t* id) {
  const Package* const package = FindPackage(id);
  if (package == nullptr || networkClass.name != std::wstring_view(package->networkClass)) return nullptr;
  ComponentPointer component = package->enumerator == nullptr ? session.Find(package->id) : nullptr;
  if (component != nullptr) return component;
  component = MakeKeys(*package, networkClass);
  session.Insert(component);
  return component;
}

HRESULT RemoveComponent(NetCfgSession& session, const ComponentRecord& component) {
  ForgetPaths(session.Components(), component);
  if (!session.Erase(component)) return SPAPI_E_NO_SUCH_DEVINST;
  DeleteTree(component.keyPath);
  if (!component.deviceId.empty()) {
    const std::wstring device = component.DeviceKeyPath();
    DeleteTree(device);
    // With the last device goes its enumerator.
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, device.substr(0, device.rfind(L'\\')).c_str());
  }
  const Package* const package = FindPackage(component.id.c_str());
  if (package != nullptr && package->serviceKey != nullptr) DeleteTree(package->serviceKey);
  return S_OK;
}

}  // namespace lab
