// The rights of the process.
#pragma once

namespace qvrn {

/// Whether the process has the rights of an administrator (TokenElevation); true where that cannot be found out.
bool IsElevated() noexcept;

}  // namespace qvrn
