// Opening the machine's network configuration for a change.
#pragma once

#include <windows.h>

#include <netcfgx.h>

namespace qvrn {

inline constexpr HRESULT kNoWriteLock = static_cast<HRESULT>(0x8004A024);  ///< NETCFG_E_NO_WRITE_LOCK

/// How a client waits for the write lock: attempts of 5000 ms each, with a pause after each one that failed.
struct LockPatience {
  int attempts;
  DWORD pauseMs;
};

/// Creates the network configuration object, takes the write lock as `clientName` when asked to, and initialises it.
/// S_OK: `*netCfg` holds a reference. kNoWriteLock: another client holds the lock, and `*lockedBy` is its name when the
/// platform tells (free it with CoTaskMemFree). Otherwise the failure of the platform, with nothing held.
HRESULT OpenNetCfg(bool writeLock, const LockPatience& patience, const wchar_t* clientName, INetCfg** netCfg,
                   wchar_t** lockedBy) noexcept;

/// The way of the notify core: three attempts.
HRESULT AcquireNetCfg(BOOL writeLock, const wchar_t* clientName, INetCfg** netCfg, wchar_t** lockedBy) noexcept;

/// Uninitialises, gives up the write lock, waits a while when somebody else takes it at once, and releases `netCfg`.
/// The last result.
HRESULT ReleaseNetCfg(INetCfg* netCfg, BOOL hasWriteLock) noexcept;

/// The notify core's client name.
inline constexpr wchar_t kNotifyClient[] = L"qvx_vlan_config";

/// One attempt's time limit in milliseconds.
inline constexpr DWORD kLockTimeoutMs = 5000;

}  // namespace qvrn
