// The adapter locator: which network class instances are served adapters, and what belongs to one.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdlib>

#include "platform/boundedtext.h"

namespace qvrn {

/// An instance GUID text as the registry holds it.
using InstanceId = wchar_t[kPathChars];

/// The adapter index in decimal text, such as a DeviceID; 0 for text without digits.
inline DWORD AdapterIndexOf(const wchar_t* decimal) noexcept { return static_cast<DWORD>(::_wtoi(decimal)); }

/// 0 when the index (the number of the instance subkey of the network class) is a served, present adapter. Otherwise
/// the Win32 error of the failing registry call, or E_FAIL when the adapter is not served or not present. On success
/// `instanceId`, when given, receives the adapter's `NetCfgInstanceId`.
LONG CheckAdapterIndex(DWORD index, InstanceId* instanceId = nullptr) noexcept;

/// True when the network configuration has a component with this instance GUID text whose GetDeviceStatus is S_OK.
bool IsAdapterPresent(const wchar_t* instanceId) noexcept;

/// Device node id of the network-class component with this instance GUID, empty where it cannot be had; `size` is in
/// characters. 0; S_FALSE when there is no such component; otherwise the failure of the network configuration.
HRESULT GetAdapterPnpDevNodeId(const GUID& instanceGuid, wchar_t* buffer, std::size_t size) noexcept;

/// `CLASS.KEY="VALUE"`, cut to `size` characters.
void FormatObjectPath(wchar_t* buffer, std::size_t size, const wchar_t* className, const wchar_t* keyName,
                      const wchar_t* keyValue) noexcept;

/// Decimal index of the physical adapter below the virtual miniport with this instance id, from the intermediate
/// driver's UpperBindings; `size` is in characters. 0 or E_FAIL by the last subkey's result: 0 can come with nothing
/// written, E_FAIL with an index written. `buffer` is empty when nothing was written.
HRESULT FindParentAdapterIndex(const wchar_t* instanceId, wchar_t* buffer, std::size_t size) noexcept;

/// Decimal index, without leading zeros, of the class instance whose `NetCfgInstanceId` is exactly this. 0 or E_FAIL; 0
/// with nothing written when no instance has it.
HRESULT GetAdapterIndexByInstanceId(const wchar_t* instanceId, wchar_t* buffer, std::size_t size) noexcept;

}  // namespace qvrn
