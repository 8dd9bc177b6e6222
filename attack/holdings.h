// What a process holds.
#pragma once

#include <windows.h>

#include <cstddef>

namespace attack {

struct Holdings {
  DWORD handles = 0;
  long objects = 0;  ///< live objects of the lab
  std::size_t heapBytes = 0;
};

Holdings Measure();

/// Handles that are open. The platform's own count is 0 on the test bed, so every number that a handle may have is
/// tried.
DWORD OpenHandles();

/// A lock gets a handle of its own when two threads first meet at it, which may be late.
inline constexpr DWORD kHandleTolerance = 4;
/// Some of a heap's bytes belong to whatever thread ran last.
inline constexpr std::size_t kHeapTolerance = 4096;
/// What the provider keeps by design for each VLAN that it creates, and the stand-in for the network configuration with
/// it.
inline constexpr std::size_t kBytesPerCreation = 2048;

}  // namespace attack
