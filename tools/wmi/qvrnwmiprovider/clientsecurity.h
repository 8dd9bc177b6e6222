// The calling thread's token while it impersonates a client. Tokens are opened as the process, because the client's own
// rights may not allow it.
#pragma once

#include <windows.h>

namespace qvrn {

/// The client's level on the scale of the COM impersonation levels.
enum class ImpersonationLevel : LONG { Anonymous = 1, Identify = 2, Impersonate = 3, Delegate = 4 };

/// A privilege list of 616 bytes: a count, and room for 51 entries. Before EnableAllPrivileges the count is the
/// capacity; afterwards the block holds the token's privileges as they were.
struct SavedPrivileges {
  static constexpr DWORD kCapacity = 51;

  DWORD count = kCapacity;
  LUID_AND_ATTRIBUTES entries[kCapacity] = {};
};
static_assert(sizeof(SavedPrivileges) == 616);

/// Delegate for a thread without a token (it runs as the process); Anonymous when the token cannot be read.
ImpersonationLevel GetImpersonationLevel() noexcept;

/// Enables every privilege of the thread's token and saves their state before in `block`. S_OK; E_OUTOFMEMORY when the
/// token holds more privileges than the block's count, which then says how many, and nothing is changed; E_FAIL
/// otherwise, also for a token of more than 51 privileges.
HRESULT EnableAllPrivileges(SavedPrivileges& block) noexcept;

/// Puts the saved state back. S_OK or E_FAIL.
HRESULT RestorePrivileges(SavedPrivileges& block) noexcept;

}  // namespace qvrn
