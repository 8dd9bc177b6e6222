// A file that describes the state of a machine: JSON as `qvrnctl show` prints it, or VLANs as `qvrnctl save` saves them.
#pragma once

#include <string>
#include <vector>

#include "tools/qvrnctl/adapters.h"
#include "tools/qvrnctl/statedescription.h"

namespace qvrn {

/// What a file describes. `adapters` are those that saved VLANs may
/// belong to. Throws ClientError when the file cannot be read, or is neither JSON (with line and column) nor a file of
/// saved VLANs.
StateDescription ReadStateFile(const std::wstring& path, const std::vector<Adapter>& adapters);

}  // namespace qvrn
