// From what a machine is to what it shall be: what differs, and the requests that make it so with the least disturbance.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/qvrnctl/driverregistry.h"
#include "tools/qvrnctl/machinestate.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/statefile.h"

namespace qvrn {

/// What one adapter of the machine shall be like.
struct DesiredAdapter {
  Adapter adapter;
  std::vector<Request> properties;         ///< those that are mentioned
  std::optional<std::vector<Vlan>> vlans;  ///< the whole list, without GUIDs and objects; none leaves it as it is
};

struct DesiredState {
  std::vector<DesiredAdapter> adapters;
  std::vector<std::wstring> faults;  ///< what cannot be, one line each; it is not among `adapters`
};

/// Finds the adapters, properties and values that a description means on this machine, and checks all of it: adapters
/// that are not there or that two entries mean, properties and values that the adapter's driver does not take, numbers
/// and names of VLANs that are impossible or occur twice. Faults of the description itself come first.
DesiredState Resolve(const StateDescription& description, const MachineState& machine, const WmiClient& wmi,
                     DriverRegistry& drivers);

/// What has to happen to a part of the state.
enum class Deviation { kSet, kCreate, kChange, kRemove };

/// One value that is not as desired.
struct Difference {
  std::wstring adapter;              ///< id
  std::optional<std::int64_t> vlan;  ///< number; none for a property of the adapter
  Deviation deviation;
  std::wstring property;  ///< of the adapter; of a VLAN `name` or `priority`
  Value now;              ///< NULL of a VLAN that is to be created
  Value wanted;           ///< NULL of a VLAN that is to be removed
};

/// All differences: properties first, then VLANs by the order of the desired list, those to be removed before.
std::vector<Difference> Compare(const DesiredState& desired, const MachineState& machine);
/// The difference of the same value among others; null when there is none.
const Difference* FindSame(std::span<const Difference> differences, const Difference& wanted);

/// One request that changes something.
struct Step {
  Deviation deviation;
  std::wstring adapter;
  WmiObject configuration;        ///< for kSet
  std::vector<Request> requests;  ///< for kSet
  Vlan vlan;                      ///< else; with the values that it shall have
  int restarts;                   ///< of the adapter

  /// "creating VLAN 7/10 "Office"".
  std::wstring Text() const;
};

/// The requests in the order in which they have to be made: one put per adapter for its properties; removals in an order
/// in which each VLAN is found; changes in an order in which no name is taken, by way of a third one where names are
/// swapped; creations.
std::vector<Step> MakePlan(const DesiredState& desired, const MachineState& machine);

/// The adapters that shall have no VLAN and have none.
std::vector<std::wstring> FindEmpty(const DesiredState& desired, const MachineState& machine);
/// A VLAN by which the provider finds `vlans` when they are to be removed: it finds the adapter below a VLAN only while
/// the adapter with the highest GUID of those that ever had VLANs has one. It is on the `empty` adapter with the highest
/// GUID; there is none where an adapter with a higher one has VLANs.
std::optional<Vlan> MakeHelper(std::vector<Vlan> vlans, const std::vector<std::wstring>& empty,
                               const std::vector<Adapter>& served);

/// "adapter 7 restarts 3 times, adapter 12 once".
std::wstring FormatRestarts(const std::vector<Step>& plan, bool whatIf);

/// The table of differences. When it `isOver`, it says what became of each: those among `left` were not done.
std::wstring FormatDifferences(std::span<const Difference> differences, std::span<const Difference> left = {},
                               bool isOver = false);
/// The same for programs, without what became of them.
std::vector<JsonRow> DescribeDifferences(std::span<const Difference> differences);

}  // namespace qvrn
