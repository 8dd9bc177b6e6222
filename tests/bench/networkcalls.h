#pragma once

#include <string>

#include "tests/bench/recording.h"

namespace bench {

/// A call that the lab's journal shows as "METHOD(ARGUMENTS) = 0xRESULT". Throws std::runtime_error for one that cannot
/// be made again.
Call NetworkCall(const std::wstring& line);

}  // namespace bench
