// What became of VLANs, or would, and how that is told.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/vlan.h"

namespace qvrn {

enum class VlanResult {
  kCreated,
  kNotCreated,
  kRecreated,  ///< removed and created again: the same VLAN with a new GUID
  kRemoved,
  kNotRemoved,
  kChanged,
  kUnchanged,
  kNotTaken,    ///< there, but not as it was asked for
  kUnexpected,  ///< there although nobody asked for it
  kSaved,
  kNotSaved,
  kTakenBack,  ///< whatever had become of it
};

struct VlanOutcome {
  Vlan vlan;
  VlanResult result;

  bool operator==(const VlanOutcome&) const = default;
};

/// What replacing the VLANs by those `wanted` has done, when the list was `before` and is `after`: each wanted one, and
/// whatever else was there or is. With `wanted` for `after` it is the plan.
std::vector<VlanOutcome> CompareRestored(std::span<const Vlan> before, std::span<const Vlan> wanted,
                                         std::span<const Vlan> after);

/// Whether any outcome is not what was asked for.
bool AnyFailure(std::span<const VlanOutcome> outcomes);

/// One line for people: `created 7/10 "Office" {guid}`; of a plan `would create ...`.
std::wstring FormatVlanOutcome(const VlanOutcome& outcome, bool whatIf);
/// All outcomes on standard output: as lines, or as JSON.
void ReportVlans(const Arguments& arguments, std::span<const VlanOutcome> outcomes);

/// A VLAN for programs: adapter, number, name, priority, guid.
JsonRow DescribeVlan(const Vlan& vlan);
/// The list of VLANs for people.
std::wstring FormatVlans(std::span<const Vlan> vlans);

/// Adapters with their VLANs below them, and the states of the links of both: `linkOf` gives the state of the adapter
/// with a GUID, and NULL where there is none.
using LinkReader = std::function<Value(const Value& guid)>;
std::wstring FormatTree(const std::vector<Adapter>& adapters, std::span<const Vlan> vlans, const LinkReader& linkOf);
std::vector<JsonRow> DescribeTree(const std::vector<Adapter>& adapters, std::span<const Vlan> vlans,
                                  const LinkReader& linkOf);

/// The state of a link as Windows names it; NULL for a number without a name.
Value LinkName(const Value& connectionStatus);

}  // namespace qvrn
