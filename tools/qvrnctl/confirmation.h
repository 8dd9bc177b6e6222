// Changes that take themselves back unless they are confirmed.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/qvrnctl/arguments.h"
#include "tools/qvrnctl/machinestate.h"

namespace qvrn {

/// Makes a change (`change` gives an exit status) so that the state `before` comes back unless `qvrnctl confirm`, or
/// Enter at this terminal, comes within --confirm-within; at once when the change fails. A guard, a process of its own
/// that survives this one and its console, sees to it. Gives the exit status: done only when the change was kept.
///
/// With --json, `report` prints what has become of the change once that is known; without, `change` does it. Throws
/// ClientError, before anything is changed, when a change is pending already or no guard can be started.
int MakeConfirmed(const Arguments& arguments, const std::wstring& what, const MachineState& before,
                  const std::function<int()>& change, const std::function<void(bool takenBack)>& report);
/// Whether the report of a change has to wait for MakeConfirmed.
bool IsReportedLater(const Arguments& arguments);

/// Says which adapter may get a VLAN for a while, so that the provider finds those that are to be removed: `vlans`, and
/// those of the machine. `what` happens to them.
void AnnounceHelper(const MachineState& machine, const std::vector<Vlan>& vlans, const std::vector<std::wstring>& empty,
                    const wchar_t* what);
/// Says what taking a change back would not bring back, or would disturb.
void AnnounceTakingBack(const MachineState& before, const std::vector<Vlan>& created, bool removes);

/// Throws ClientError when the options of --confirm-within cannot be followed.
void CheckConfirmation(const Arguments& arguments);

}  // namespace qvrn
