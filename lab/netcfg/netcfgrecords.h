// What the registry says of the network components: the instance keys of the four network classes.
#pragma once

#include <windows.h>

#include <cwchar>
#include <memory>
#include <string>
#include <vector>

namespace lab {

/// Component ids of the VLAN driver.
inline constexpr wchar_t kVlanProtocol[] = L"qvrn_muxp";
inline constexpr wchar_t kVlanMiniport[] = L"qvrn_muxmp";

/// Where devices are described, below HKEY_LOCAL_MACHINE.
inline constexpr wchar_t kEnumKey[] = L"SYSTEM\\CurrentControlSet\\Enum\\";

/// A class of network components.
struct NetworkClass {
  const wchar_t* name;  ///< as the platform names it in INF files
  GUID guid;
  const wchar_t* text;  ///< the GUID as the class key spells it
  bool needsDevice;     ///< its components are devices: an instance key without a device id is none
};

/// The four classes: Net, NetClient, NetService, NetTrans.
const std::vector<NetworkClass>& NetworkClasses();
/// Null for any other class.
const NetworkClass* FindNetworkClass(const GUID& guid);

/// A network component.
struct ComponentRecord {
  const NetworkClass* networkClass = nullptr;
  GUID instance = {};
  std::wstring keyPath;   ///< instance key, below HKEY_LOCAL_MACHINE
  std::wstring id;        ///< ComponentId
  std::wstring deviceId;  ///< DeviceInstanceID; empty for none

  /// The device's key, below HKEY_LOCAL_MACHINE.
  std::wstring DeviceKeyPath() const { return kEnumKey + deviceId; }
  /// Ids are compared without regard to case.
  bool HasId(const wchar_t* other) const { return ::_wcsicmp(id.c_str(), other) == 0; }
};

using ComponentPointer = std::shared_ptr<const ComponentRecord>;
using ComponentRecords = std::vector<ComponentPointer>;

/// The class key, below HKEY_LOCAL_MACHINE.
std::wstring ClassKeyPath(const NetworkClass& networkClass);

/// All components of the machine, in the order of their keys' paths.
ComponentRecords LoadComponents();

/// Braced upper-case text.
std::wstring GuidText(const GUID& guid);

}  // namespace lab
