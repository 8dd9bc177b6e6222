#pragma once

#include <windows.h>

namespace qvrn {

/// A lock for std::lock_guard, which its holder may take again. Unlike the runtime's, it can be taken however short
/// memory is. For objects of static storage: it is never deleted.
class Lock {
 public:
  Lock() noexcept { ::InitializeCriticalSection(&m_section); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void lock() noexcept { ::EnterCriticalSection(&m_section); }
  void unlock() noexcept { ::LeaveCriticalSection(&m_section); }

 private:
  CRITICAL_SECTION m_section;
};

}  // namespace qvrn
