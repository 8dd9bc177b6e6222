// The served adapters: which there are, and which one the user means.
#pragma once

#include <span>
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

/// The network adapters of a machine.
struct AdapterList {
  std::vector<Adapter> served;  ///< those with a configuration, and those with the `parents`' ids
  std::vector<Adapter> others;  ///< whatever else Windows knows; adapters whose configuration cannot be used are here
};

/// All instances of the configuration class, and the adapters with the ids `parents`, joined with Win32_NetworkAdapter.
AdapterList ListAdapters(const WmiClient& wmi, const std::vector<std::wstring>& parents = {});
/// The same for configurations that are known already.
AdapterList JoinAdapters(const WmiClient& wmi, const std::vector<WmiObject>& configurations,
                         const std::vector<std::wstring>& parents);

/// Whether `wanted` is one of the adapter's five names (id, name, connection, GUID, PnP device id), without regard to
/// case.
bool IsNamed(const Adapter& adapter, const std::wstring& wanted);
/// `7 "West" (Quorvane Halvex Ethernet Adapter)`, and several of these.
std::wstring Label(const Adapter& adapter);
std::wstring Labels(std::span<const Adapter> adapters);

/// Whether it is an adapter of the provider's, also one whose configuration it leaves out. One request.
bool IsProvidersOwn(const WmiClient& wmi, const Adapter& adapter);

/// The adapter that `wanted` names. Throws ClientError, with the adapters that there are, when it names none or more
/// than one.
Adapter MatchAdapter(const WmiClient& wmi, const AdapterList& adapters, const std::wstring& wanted);
/// The adapters that the texts name, each once, in the order of the texts. One with * or ? that is nobody's name stands
/// for the served adapters that have a name of that pattern.
std::vector<Adapter> MatchAdapters(const WmiClient& wmi, const AdapterList& adapters,
                                   std::span<const std::wstring> wanted);

/// What to say where there is no adapter; names the first cause, rights that the process does not have.
std::wstring NothingServed(const Arguments& arguments);

/// Both ends of the association between an adapter and its configuration, as object paths.
struct AdapterSetting {
  std::wstring element;  ///< the Win32_NetworkAdapter
  std::wstring setting;  ///< the configuration
};

/// The association instance of the adapter with this id. Throws ClientError when there is none.
AdapterSetting FindSetting(const WmiClient& wmi, const std::wstring& id);

}  // namespace qvrn
