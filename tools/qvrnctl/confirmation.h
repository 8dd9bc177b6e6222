// Changes that take themselves back unless they are confirmed.
#pragma once

#include <functional>
#include <string>

#include "tools/qvrnctl/arguments.h"
#include "tools/qvrnctl/machinestate.h"

namespace qvrn {

/// Makes a change (`change` gives an exit status) so that the state `before` comes back unless `qvrnctl confirm`, or
/// Enter at this terminal, comes within --confirm-within; at once when the change fails. A guard, a process of its own
/// that survives this one and its console, sees to it. Gives the exit status: done only when the change was kept.
///
/// Throws ClientError, before anything is changed, when a change is pending already or no guard can be started.
int MakeConfirmed(const Arguments& arguments, const std::wstring& what, const MachineState& before,
                  const std::function<int()>& change);

/// Throws ClientError when the options of --confirm-within cannot be followed.
void CheckConfirmation(const Arguments& arguments);

}  // namespace qvrn
