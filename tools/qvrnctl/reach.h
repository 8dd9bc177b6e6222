// Carrying out a plan: the requests one after the other, and what the machine is like afterwards.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/qvrnctl/plan.h"

namespace qvrn {

/// Takes a line for people.
using Speaker = std::function<void(const std::wstring& line)>;

struct ReachResult {
  std::vector<Difference> before;  ///< what differed
  std::vector<Difference> left;    ///< what differs afterwards
};

/// Brings the machine, which is as `machine` says, to the desired state, and reads it back once. A request that is
/// refused stops the further ones of its adapter, Ctrl-C all further ones. Where removals ended in "not found" the rest
/// is planned and tried once more: the provider finds the adapter below a VLAN only while the adapter with the highest
/// GUID of those that had VLANs has one, so a helper is created there first where the plan itself has created none.
ReachResult Reach(const Arguments& arguments, const WmiClient& wmi, const DesiredState& desired, MachineState machine,
                  const Speaker& say);

}  // namespace qvrn
