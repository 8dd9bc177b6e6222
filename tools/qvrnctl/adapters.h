// The served adapters: which there are, and which one the user means.
#pragma once

#include <string>
#include <vector>

#include "tools/qvrnctl/wmiclient.h"

namespace qvrn {

inline constexpr wchar_t kConfigurationClass[] = L"QvrnEN_NetworkAdapterConfiguration";

/// A served adapter; what Win32_NetworkAdapter does not know of it is NULL.
struct Adapter {
  std::wstring id;  ///< SettingID, which is Win32_NetworkAdapter's DeviceID
  Value name;
  Value connection;
  Value guid;
  Value pnpDeviceId;
};

/// All instances of the configuration class, and the adapters with the `others` ids that are none, joined with
/// Win32_NetworkAdapter. None is an empty list.
std::vector<Adapter> ListAdapters(const WmiClient& wmi, const std::vector<std::wstring>& others = {});

/// Whether `wanted` is the adapter's id, exact name or connection name, without regard to case.
bool IsNamed(const Adapter& adapter, const std::wstring& wanted);

/// The adapter that `wanted` names. Throws ClientError, with the adapters that there are, when it names none or more
/// than one.
const Adapter& MatchAdapter(const std::vector<Adapter>& adapters, const std::wstring& wanted);

/// The configuration instance of the adapter with this id. Throws ClientError; WBEM_E_NOT_FOUND when it is not served.
WmiObject FetchConfiguration(const WmiClient& wmi, const std::wstring& id);

/// The configuration instance of the adapter that `wanted` names; an id costs one request and no enumeration.
WmiObject FindConfiguration(const WmiClient& wmi, const std::wstring& wanted);

/// Both ends of the association between an adapter and its configuration, as object paths.
struct AdapterSetting {
  std::wstring element;  ///< the Win32_NetworkAdapter
  std::wstring setting;  ///< the configuration
};

/// The association instance of the adapter with this id. Throws ClientError when there is none.
AdapterSetting FindSetting(const WmiClient& wmi, const std::wstring& id);

}  // namespace qvrn
