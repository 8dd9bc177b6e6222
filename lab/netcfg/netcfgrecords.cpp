#include "lab/netcfg/netcfgrecords.h"

#include <objbase.h>

#include <algorithm>
#include <cwctype>

#include "platform/registrykey.h"

namespace lab {
namespace {

using qvrn::RegistryKey;

constexpr wchar_t kClassKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";

constexpr GUID ClassGuid(unsigned long first) {
  return {first, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
}

/// Instance keys are named by four digits; class keys have other subkeys too.
bool IsInstanceName(std::wstring_view name) {
  return name.size() == 4 && std::all_of(name.begin(), name.end(), iswdigit);
}

ComponentPointer LoadComponent(const NetworkClass& networkClass, HKEY classKey, const wchar_t* name) {
  RegistryKey key;
  wchar_t instance[qvrn::kPathChars];
  wchar_t id[qvrn::kPathChars];
  wchar_t deviceId[qvrn::kPathChars];
  auto record = std::make_shared<ComponentRecord>();
  if (key.Open(classKey, name, KEY_QUERY_VALUE) != ERROR_SUCCESS ||
      key.ReadText(L"NetCfgInstanceId", instance) != ERROR_SUCCESS ||
      FAILED(::CLSIDFromString(instance, &record->instance)) || key.ReadText(L"ComponentId", id) != ERROR_SUCCESS) {
    return nullptr;
  }
  const bool hasDevice = key.ReadText(L"DeviceInstanceID", deviceId) == ERROR_SUCCESS && deviceId[0] != L'\0';
  if (networkClass.needsDevice && !hasDevice) return nullptr;
  record->networkClass = &networkClass;
  record->keyPath = ClassKeyPath(networkClass) + L'\\' + name;
  record->id = id;
  record->deviceId = deviceId;
  return record;
}

void LoadClass(const NetworkClass& networkClass, ComponentRecords& records) {
  RegistryKey classKey;
  const std::wstring path = ClassKeyPath(networkClass);
  if (classKey.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_READ) != ERROR_SUCCESS) return;
  wchar_t name[qvrn::kPathChars];
  for (DWORD index = 0; classKey.SubkeyName(index, name) == ERROR_SUCCESS; ++index) {
    if (!IsInstanceName(name)) continue;
    if (auto record = LoadComponent(networkClass, classKey.Get(), name)) records.push_back(std::move(record));
  }
}

}  // namespace

const std::vector<NetworkClass>& NetworkClasses() {
  static const std::vector<NetworkClass> classes = {
      {L"Net", ClassGuid(0x4D36E972), L"{4D36E972-E325-11CE-BFC1-08002bE10318}", true},
      {L"NetClient", ClassGuid(0x4D36E973), L"{4D36E973-E325-11CE-BFC1-08002bE10318}", false},
      {L"NetService", ClassGuid(0x4D36E974), L"{4D36E974-E325-11CE-BFC1-08002bE10318}", false},
      {L"NetTrans", ClassGuid(0x4D36E975), L"{4D36E975-E325-11CE-BFC1-08002bE10318}", false},
  };
  return classes;
}

const NetworkClass* FindNetworkClass(const GUID& guid) {
  const auto& classes = NetworkClasses();
  const auto found =
      std::find_if(classes.begin(), classes.end(), [&](const NetworkClass& one) { return one.guid == guid; });
  return found == classes.end() ? nullptr : &*found;
}

std::wstring ClassKeyPath(const NetworkClass& networkClass) { return std::wstring(kClassKey) + networkClass.text; }

ComponentRecords LoadComponents() {
  ComponentRecords records;
  for (const NetworkClass& networkClass : NetworkClasses()) LoadClass(networkClass, records);
  return records;
}

std::wstring GuidText(const GUID& guid) {
  wchar_t text[qvrn::kGuidChars] = {};
  ::StringFromGUID2(guid, text, qvrn::kGuidChars);
  return text;
}

}  // namespace lab
