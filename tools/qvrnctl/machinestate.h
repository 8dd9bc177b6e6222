// What a machine's served adapters are like: their properties and their VLANs.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tools/qvrnctl/configuration.h"
#include "tools/qvrnctl/json.h"
#include "tools/qvrnctl/vlan.h"

namespace qvrn {

struct AdapterState {
  Adapter adapter;
  WmiObject configuration;                ///< null for an adapter that has VLANs but no configuration
  std::vector<PropertyState> properties;  ///< those that the adapter has and a client may set
  std::vector<Vlan> vlans;
};

struct MachineState {
  std::vector<PropertyInfo> schema;  ///< of the configuration class
  AdapterList adapters;
  std::vector<AdapterState> states;  ///< of the served adapters

  /// Null for an adapter that is not served.
  const AdapterState* Find(const std::wstring& adapterId) const;
  /// Of all served adapters.
  std::vector<Vlan> Vlans() const;
};

/// One request for the class and one each for configurations, VLANs and network adapters.
MachineState ReadMachine(const WmiClient& wmi);

/// The state as `qvrnctl show` prints it and a state file holds it.
Json DescribeMachine(std::span<const AdapterState> states);

}  // namespace qvrn
