// What the tuning logic shares: reports to a person, and actions on an adapter's device and network component.
#pragma once

#include <windows.h>

#include <netcfgx.h>
#include <objbase.h>
#include <wtypes.h>

#include <wrl/client.h>

#include <cstddef>
#include <initializer_list>
#include <string>

#include "platform/comtext.h"

namespace qvrn {

// --- Reports -------------------------------------------------------------------------------------------------------
// A report is a string-table template, addressed by a message id, with inserts. A provider inside the WMI service must
// not stop at a box whose text it does not carry: without a resource module every template-based report is skipped.

/// Where string resources are loaded from. Never set in the provider; a host that carries the texts sets it.
extern HMODULE g_hResourceModule;

enum class Message : WORD {
  RegistryKeyUnusable = 121,
  RequiredValueMissing = 122,
  RegistryValueUnusable = 123,
  DriverInstallFailed = 124,
  VlanTextMissing = 125,
  VlanNameTaken = 126,
  VlanNumberTaken = 127,
  VlanNameAndNumberTaken = 128,
  SystemCallFailed = 137,
  VlanNumberOutOfRange = 138,
  NetworkConfigurationLocked = 150,
  VlanNotRemoved = 151,
  VlanNotAdded = 153,
  AdapterAddressesUnavailable = 163,
};

/// Loads entry `id` of the module's string table. Frees and replaces what `out` holds; false (and null) for a null
/// module, an absent block or an absent or empty entry.
bool LoadResourceString(BSTR& out, HMODULE module, WORD id) noexcept;

/// Formats the template with its inserts. True with `out` unchanged while there is no resource module.
bool FormatResourceMessage(Message id, std::wstring& out, const wchar_t* const* inserts);

/// Shows the template with its inserts in a task-modal error box. Does nothing while there is no resource module.
void ShowMessage(Message id, const wchar_t* const* inserts) noexcept;

/// Shows the system's text for a Win32 error or HRESULT as the template's insert; its number when there is no text.
void ShowSystemError(Message id, DWORD code) noexcept;

/// Shows "0x" and the code in upper-case hexadecimal as the template's insert.
void ShowHexError(Message id, DWORD code) noexcept;

/// Shows a system error as ShowSystemError does, then reports the assertion `expression` of source `file`. Always
/// false, which is what most of those that fail so return.
bool FailWithSystemError(Message id, LSTATUS code, const char* file, const char* expression = "0",
                         unsigned line = __builtin_LINE()) noexcept;

/// Formats the template with its inserts and shows the text, empty while there is no resource module, in an error box.
void ShowFormattedError(Message id, std::initializer_list<const wchar_t*> inserts = {}) noexcept;

/// Shows that a required value is missing, then reports the assertion "0" of source `file`. Always false.
bool FailWithMissingValue(const wchar_t* name, const char* file, unsigned line = __builtin_LINE()) noexcept;

/// Shows the template as it stands, without inserts, in an error box; empty while there is no resource module.
void ShowPlainError(Message id) noexcept;

/// MessageBoxW with the caption "Error". Every box of the system goes through here: nothing is shown when nobody could
/// dismiss it, that is unless the process's window station is visible.
void ShowErrorBox(HWND owner, const wchar_t* text, UINT style) noexcept;

// --- Bit positions -------------------------------------------------------------------------------------------------

/// Floor of the base-2 logarithm; 0 for 0 and below.
LONG IntegerLog2(LONG value) noexcept;

/// 2 to the power `exponent` for 0..30, otherwise 0.
LONG PowerOfTwo(LONG exponent) noexcept;

// --- Adapters ------------------------------------------------------------------------------------------------------

/// One attempt's time limit for the write lock of the sessions below, in milliseconds.
inline constexpr DWORD kSessionLockTimeoutMs = 5;

/// A session on the network configuration, with `action(INetCfg*)` between initialisation and end; as `lockClient`,
/// unless that is null, under the write lock as far as it can be had, and applied. Every step runs whatever became of
/// the one before; `check(HRESULT)` sees what creation and initialisation give. The result is that of the creation;
/// without an object there is nothing more.
template <typename Action, typename Check>
HRESULT WithNetCfg(const wchar_t* lockClient, Action action, Check check) noexcept {
  constexpr DWORD kAnyServer = CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER;
  Microsoft::WRL::ComPtr<INetCfg> netCfg;
  const HRESULT created = ::CoCreateInstance(CLSID_CNetCfg, nullptr, kAnyServer, IID_PPV_ARGS(&netCfg));
  check(created);
  if (netCfg == nullptr) return created;

  Microsoft::WRL::ComPtr<INetCfgLock> lock;
  if (lockClient != nullptr) netCfg.As(&lock);
  TaskText holder;
  if (lock != nullptr) lock->AcquireWriteLock(kSessionLockTimeoutMs, lockClient, holder.Put());
  check(netCfg->Initialize(nullptr));
  action(netCfg.Get());
  if (lockClient != nullptr) netCfg->Apply();
  netCfg->Uninitialize();
  if (lock != nullptr) lock->ReleaseWriteLock();
  return created;
}

/// Gives the display name to the network component with this instance GUID text. True whatever happened.
bool RenameVlanComponent(const wchar_t* instanceId, const wchar_t* displayName) noexcept;

/// Reads the device node id of the network component with this instance GUID text; empty when it has none. `size` is in
/// characters. True whatever happened.
bool GetDeviceNodeId(const wchar_t* instanceId, wchar_t* buffer, std::size_t size) noexcept;

/// Restarts the adapter with this instance GUID text. True whatever happened; a failed restart is an assertion.
bool RestartAdapter(const wchar_t* instanceId) noexcept;

/// Restarts one device through its class installer (DIF_PROPERTYCHANGE). False when the device or its class installer
/// refuses.
bool RestartDevice(const wchar_t* deviceNodeId) noexcept;

}  // namespace qvrn
