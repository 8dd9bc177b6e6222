// The write lock of the network configuration: one per machine, across processes.
#pragma once

#include <windows.h>

#include <string>

#include "platform/handle.h"

namespace lab {

/// One object's side of the lock. It is a file that its holder opens for itself and that holds the holder's name, so
/// that it frees itself when the process dies. The setting ForeignLock stands for a holder outside this machine's
/// programs.
class WriteLock {
 public:
  /// Waits up to `timeout` milliseconds, or the setting LockWait if that is less. S_OK, at once for an object that
  /// holds the lock already (one Release then frees it); S_FALSE with the holder's name when somebody else kept it.
  HRESULT Acquire(DWORD timeout, const std::wstring& client, std::wstring& holder);
  void Release() noexcept { m_file.Reset(); }
  bool IsHeld() const noexcept { return static_cast<bool>(m_file); }

 private:
  HRESULT TryTake(const std::wstring& client, std::wstring& holder);

  qvrn::FileHandle m_file;
};

}  // namespace lab
