// The configurations of adapters: their advanced properties as WMI has them.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "tools/qvrnctl/adapters.h"
#include "tools/qvrnctl/driverregistry.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/properties.h"

namespace qvrn {

/// The properties that the configuration class declares.
std::vector<PropertyInfo> DescribeConfiguration(const WmiClient& wmi);
/// Their values in an instance.
std::vector<PropertyState> ReadStates(const std::vector<PropertyInfo>& properties, IWbemClassObject* instance);
/// The adapter's id (SettingID).
std::wstring IdOf(IWbemClassObject* configuration);

/// The configuration instance of the adapter with this id. Throws ClientError: WBEM_E_NOT_FOUND when the provider does
/// not serve it; when the provider leaves it out, with what `drivers` knows of the reason.
WmiObject FetchConfiguration(const WmiClient& wmi, const std::wstring& id, DriverRegistry& drivers);

/// The configuration instances of the adapters that the texts name as for MatchAdapters; ids alone cost one request each
/// and no enumeration. For a text behind the first that names none, `explain` says what it should have been.
std::vector<WmiObject> FindConfigurations(const WmiClient& wmi, std::span<const std::wstring> wanted,
                                          DriverRegistry& drivers,
                                          const std::function<ClientError(const std::wstring& text)>& explain = {});

}  // namespace qvrn
