#pragma once

#include <windows.h>

#include <functional>
#include <memory>

#include "platform/wmi.h"
#include "tools/winhalvextune/cvlandlg.h"

namespace qvrn {

/// The prepared VLAN engine of a served adapter, with the link states of its VLANs; none when the adapter is not served
/// or cannot be prepared. Throws std::bad_alloc.
std::unique_ptr<CVlanDlg> OpenVlanEngine(DWORD index);

/// The VLANs of one physical adapter, for the length of one request.
class CVlanManager {
 public:
  /// What a key says about a VLAN of the adapter.
  enum class KeyState {
    NoKey,    ///< none given: a VLAN to be created
    Found,    ///< a VLAN of this adapter
    Unknown,  ///< not a VLAN of this adapter
  };

  /// Bound to no adapter.
  CVlanManager() noexcept = default;
  /// Binds the adapter whose Win32_NetworkAdapter has this DeviceID; without an engine where it is not served or cannot
  /// be prepared. Throws std::bad_alloc.
  explicit CVlanManager(const wchar_t* deviceId);

  /// Null without an engine.
  CVlanList* List() const noexcept { return m_engine == nullptr ? nullptr : &m_engine->List(); }
  DWORD AdapterIndex() const noexcept { return m_adapterIndex; }

  /// `key` may be null.
  KeyState Exists(const wchar_t* key) const noexcept;
  /// False without an engine, for texts that do not fit, or when the VLAN could not be created; values that the checks
  /// of the engine reject give true although nothing is created (kept for clients, which list the VLANs to see what is
  /// there).
  bool Create(const wchar_t* name, LONG number, LONG priority) noexcept;
  /// Writes new values for a VLAN, which is not created anew. False when there is no such VLAN, when its stored values
  /// or the new ones are rejected, or when they cannot be written. Throws std::bad_alloc.
  bool Update(const wchar_t* key, const wchar_t* name, LONG number, LONG priority);
  /// The engine's result; false without one.
  bool Remove(const wchar_t* key) noexcept;
  /// Restarts the physical adapter; false without an engine.
  bool RestartAdapter() const noexcept;

 private:
  bool SetPending(const wchar_t* key, const VlanTexts& texts) noexcept;

  DWORD m_adapterIndex = 0;
  std::unique_ptr<CVlanDlg> m_engine;
};

/// Visits each served adapter with its DeviceID; its manager may be without an engine. The result is the failure of the
/// query, or S_OK. Throws what `visit` throws, and std::bad_alloc.
HRESULT ForEachVlanManager(IWbemServices* wmiNamespace,
                           const std::function<void(CVlanManager&, const wchar_t* deviceId)>& visit);

/// Removes every VLAN of every served adapter, and restarts each of them. A removal that fails is tried again until the
/// VLAN is gone; after 1,000 failures in a row, or when its VLANs cannot be read anew, the adapter is given up. 0, or 1
/// for a failed query or an adapter that was given up. Throws std::bad_alloc.
LONG RemoveAllVlans(IWbemServices* wmiNamespace);

}  // namespace qvrn
