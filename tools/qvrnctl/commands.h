// The client's commands; each gives the process's exit status and throws ClientError to end early.
#pragma once

#include <span>

#include "tools/qvrnctl/arguments.h"

namespace qvrn {

/// All commands, in the order of the help.
std::span<const Command> Commands();

int RunAdapters(const Arguments& arguments);
int RunGet(const Arguments& arguments);
int RunSet(const Arguments& arguments);
int RunVlans(const Arguments& arguments);
int RunVlanAdd(const Arguments& arguments);
int RunVlanSet(const Arguments& arguments);
int RunVlanRemove(const Arguments& arguments);
int RunTree(const Arguments& arguments);
int RunSave(const Arguments& arguments);
int RunRestore(const Arguments& arguments);
int RunDescribe(const Arguments& arguments);
int RunReset(const Arguments& arguments);
int RunShow(const Arguments& arguments);
int RunDiff(const Arguments& arguments);
int RunApply(const Arguments& arguments);
int RunConfirm(const Arguments& arguments);
int RunRollback(const Arguments& arguments);
/// The process that takes a change back when nobody confirms it; started by the client itself.
int RunGuard(const Arguments& arguments);

}  // namespace qvrn
