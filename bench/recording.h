// The platform calls that the provider's DLL makes for a request, kept so that they can be made again without it.
#pragma once

#include <functional>
#include <vector>

#include "bench/replay.h"

namespace bench {

/// In the order in which they were made: calls on the registry, the setup API and the network configuration (and its
/// creation), for the states of network interfaces, printed and debug texts.
using Recording = std::vector<Call>;

/// Runs a request while the lab's journal is on and the provider's imports are replaced, and keeps what it called. The
/// provider must be loaded. Throws std::runtime_error for an import of the registry or the setup API that cannot be
/// recorded.
Recording Record(const std::function<void()>& request);

/// Makes the calls again, on a thread of their own as a request gets one. Throws std::runtime_error when one gives
/// something else than the provider got.
void Replay(const Recording& recording);

/// Whether the lab keeps its journal, which takes time.
void SwitchJournal(bool on);

}  // namespace bench
