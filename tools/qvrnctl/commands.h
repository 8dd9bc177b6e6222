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

}  // namespace qvrn
