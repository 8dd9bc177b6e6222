#include "lab/netcfg/netcfgrecords.h"

#include <devguid.h>
#include <objbase.h>

#include <algorithm>
#include <cwctype>

#include "platform/registrykey.h"

namespace lab {
namespace {

constexpr wchar_t kClassKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";

/// Instance keys are named by four digits; class keys have other subkeys too.
bool IsInstanceName(std::wstring_view name) {
  return name.size() == 4 && std::all_of(name.begin(), name.end(), iswdigit);
}

/// Null for an instance key that is no component.
ComponentPointer LoadComponent(const NetworkClass& networkClass, HKEY classKey, const wchar_t* name) {
  qvrn::RegistryKey key;
  wchar_t instance[qvrn::kPathChars];
  wchar_t id[qvrn::kPathChars];
  wchar_t deviceId[qvrn::kPathChars];
  key.Open(classKey, name, KEY_QUERY_VALUE);
  key.ReadText(L"DeviceInstanceID", deviceId);
  const bool isComplete = key.ReadText(L"NetCfgInstanceId", instance) == ERROR_SUCCESS &&
                          key.ReadText(L"ComponentId", id) == ERROR_SUCCESS &&
                          (deviceId[0] != L'\0' || !networkClass.needsDevice);
  GUID guid = {};
  if (!isComplete || FAILED(::CLSIDFromString(instance, &guid))) return nullptr;
  return std::make_shared<ComponentRecord>(
      ComponentRecord{&networkClass, guid, ClassKeyPath(networkClass) + L'\\' + name, id, deviceId});
}

}  // namespace

const std::vector<NetworkClass>& NetworkClasses() {
  static const std::vector<NetworkClass> classes = {
      {L"Net", GUID_DEVCLASS_NET, L"{4D36E972-E325-11CE-BFC1-08002bE10318}", true},
      {L"NetClient", GUID_DEVCLASS_NETCLIENT, L"{4D36E973-E325-11CE-BFC1-08002bE10318}", false},
      {L"NetService", GUID_DEVCLASS_NETSERVICE, L"{4D36E974-E325-11CE-BFC1-08002bE10318}", false},
      {L"NetTrans", GUID_DEVCLASS_NETTRANS, L"{4D36E975-E325-11CE-BFC1-08002bE10318}", false},
  };
  return classes;
}

const NetworkClass* FindNetworkClass(const GUID& guid) {
  for (const NetworkClass& networkClass : NetworkClasses()) {
    if (networkClass.guid == guid) return &networkClass;
  }
  return nullptr;
}

std::wstring ClassKeyPath(const NetworkClass& networkClass) { return std::wstring(kClassKey) + networkClass.text; }

ComponentRecords LoadComponents() {
  ComponentRecords records;
  for (const NetworkClass& networkClass : NetworkClasses()) {
    qvrn::RegistryKey classKey;
    wchar_t name[qvrn::kPathChars];
    classKey.Open(HKEY_LOCAL_MACHINE, ClassKeyPath(networkClass).c_str(), KEY_READ);
    for (DWORD index = 0; classKey && classKey.SubkeyName(index, name) == ERROR_SUCCESS; ++index) {
      if (!IsInstanceName(name)) continue;
      if (auto record = LoadComponent(networkClass, classKey.Get(), name)) records.push_back(std::move(record));
    }
  }
  return records;
}

std::wstring GuidText(const GUID& guid) {
  wchar_t text[qvrn::kGuidChars] = {};
  ::StringFromGUID2(guid, text, qvrn::kGuidChars);
  return text;
}

}  // namespace lab
