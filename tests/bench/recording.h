// The platform calls that the provider's DLL makes for a request, kept so that they can be made again without it.
#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

class Live;

struct Call {
  std::wstring name;                 ///< "RegOpenKeyExW", "INetCfg::Initialize"
  LONG result;                       ///< what the provider got
  std::function<LONG(Live&)> again;  ///< the same call with the same arguments
};

/// In the order in which they were made: registry calls, calls on the network configuration, and its creation.
using Recording = std::vector<Call>;

/// Runs a request while the lab's journal is on and the provider's imports are replaced, and keeps what it called. The
/// provider must be loaded. Throws std::runtime_error for a registry import that cannot be recorded.
Recording Record(const std::function<void()>& request);

/// Makes the calls again, on a thread of their own as a request gets one. Throws std::runtime_error when one gives something else than the provider got.
void Replay(const Recording& recording);

/// How many calls have names that start like this.
std::size_t Count(const Recording& recording, std::wstring_view start);

/// Whether the lab keeps a journal.
void SwitchJournal(bool on);

}  // namespace bench
