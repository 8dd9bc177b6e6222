#include "mux/notifyob/notifylock.h"

#include <objbase.h>

#include <wrl/client.h>

#include "mux/notifyob/notifysupport.h"
#include "mux/notifyob/notifytrace.h"
#include "platform/comtext.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr LockPatience kNotifyPatience = {3, 1000};
constexpr DWORD kForeignClientPauseMs = 10000;

// Takes the lock. A holder's name is that of the last attempt.
HRESULT TakeWriteLock(INetCfgLock* lock, const LockPatience& patience, const wchar_t* clientName,
                      TaskText& holder) noexcept {
  HRESULT hr = S_OK;
  for (int attempt = 0; attempt < patience.attempts; ++attempt) {
    hr = lock->AcquireWriteLock(kLockTimeoutMs, clientName, holder.Put());
    if (hr != S_FALSE) break;
    hr = kNoWriteLock;
    if (patience.pauseMs != 0) Pause(patience.pauseMs);
  }
  return hr;
}

}  // namespace

HRESULT OpenNetCfg(bool writeLock, const LockPatience& patience, const wchar_t* clientName, INetCfg** netCfg,
                   wchar_t** lockedBy) noexcept {
  *netCfg = nullptr;
  *lockedBy = nullptr;
  ComPtr<INetCfg> created;
  HRESULT hr = ::CoCreateInstance(CLSID_CNetCfg, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&created));
  if (SUCCEEDED(hr) && created == nullptr) hr = E_FAIL;
  ComPtr<INetCfgLock> lock;
  if (SUCCEEDED(hr) && writeLock) {
    hr = QueryFor(created.Get(), lock);
    TaskText holder;
    if (SUCCEEDED(hr)) hr = TakeWriteLock(lock.Get(), patience, clientName, holder);
    *lockedBy = holder.Release();
  }
  if (FAILED(hr)) return hr;
  hr = created->Initialize(nullptr);
  if (SUCCEEDED(hr)) {
    *netCfg = created.Detach();
  } else if (lock != nullptr) {
    lock->ReleaseWriteLock();
  }
  return hr;
}

HRESULT AcquireNetCfg(BOOL writeLock, const wchar_t* clientName, INetCfg** netCfg, wchar_t** lockedBy) noexcept {
  return OpenNetCfg(writeLock != FALSE, kNotifyPatience, clientName, netCfg, lockedBy);
}

HRESULT ReleaseNetCfg(INetCfg* netCfg, BOOL hasWriteLock) noexcept {
  HRESULT hr = netCfg->Uninitialize();
  if (SUCCEEDED(hr) && hasWriteLock) {
    ComPtr<INetCfgLock> lock;
    hr = QueryFor(netCfg, lock);
    if (SUCCEEDED(hr)) {
      lock->ReleaseWriteLock();
      // A probe: whoever waits for the lock gets time to do its work before this client may come back.
      TaskText holder;
      hr = lock->AcquireWriteLock(kLockTimeoutMs, kNotifyClient, holder.Put());
      if (hr == S_FALSE) {
        holder.Reset();
        Pause(kForeignClientPauseMs);
      } else {
        hr = lock->ReleaseWriteLock();
      }
    }
  }
  netCfg->Release();
  return hr;
}

}  // namespace qvrn
