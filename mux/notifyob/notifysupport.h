// What the network configuration engine and the adapter locator share: finding a component, values in a component's
// parameter key, and the intermediate driver's UpperBindings.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <wrl/client.h>

#include <memory>

#include "mux/notifyob/muxregistry.h"

namespace qvrn {

/// QueryInterface; E_FAIL where it succeeds without an interface.
template <typename Interface>
HRESULT QueryFor(IUnknown* object, Microsoft::WRL::ComPtr<Interface>& found) noexcept {
  const HRESULT hr = object->QueryInterface(IID_PPV_ARGS(found.ReleaseAndGetAddressOf()));
  return SUCCEEDED(hr) && found == nullptr ? E_FAIL : hr;
}

/// The next element of one of the network configuration's enumerations. S_OK with an element, S_FALSE at the end, or
/// the failure. The enumerator may be null.
template <typename Enumerator, typename Element>
HRESULT FetchElement(Enumerator* enumerator, Microsoft::WRL::ComPtr<Element>& element) noexcept {
  element.Reset();
  if (enumerator == nullptr) return S_FALSE;
  ULONG fetched = 0;
  const HRESULT hr = enumerator->Next(1, &element, &fetched);
  return hr == S_OK && element == nullptr ? S_FALSE : hr;
}

/// The same for those whom neither end nor failure concerns: false then.
template <typename Enumerator, typename Element>
bool FetchNext(Enumerator* enumerator, Microsoft::WRL::ComPtr<Element>& element) noexcept {
  return FetchElement(enumerator, element) == S_OK;
}

/// Finds the network-class component with this instance GUID. S_OK: `*component` holds a reference. S_FALSE: there is
/// none and `*component` is untouched. Otherwise the failure of the enumeration or of a component's GetInstanceGuid.
HRESULT HrFindInstance(INetCfg* netCfg, const GUID* instanceGuid, INetCfgComponent** component) noexcept;

/// Reads a value of the component's parameter key into a buffer of 4096 bytes; larger values are refused although
/// larger ones can be written (kept for machines with a larger backup, whose bindings have always stayed as they are).
/// Results: S_OK with the size read; the failure of OpenParamKey; E_INVALIDARG for an absent value; E_ABORT for an
/// empty or unreadable one; E_OUTOFMEMORY for a too large one. On failure `*sizeBytes` is 0 and the first four bytes of
/// the buffer are zero.
HRESULT ReadRegistryParams(INetCfgComponent* component, const wchar_t* valueName, void* buffer,
                           DWORD* sizeBytes) noexcept;

/// Writes `sizeChars` characters as REG_MULTI_SZ. The failure of OpenParamKey, or the Win32 code of the write.
LONG InsertRegistryParams(INetCfgComponent* component, const wchar_t* valueName, DWORD sizeChars,
                          const void* data) noexcept;

/// The failure of OpenParamKey, or the Win32 code of the deletion.
LONG DeleteRegistryParams(INetCfgComponent* component, const wchar_t* valueName) noexcept;

/// Puts `entry` in front of UpperBindings of an open key, without looking for a duplicate. A Win32 code.
LONG AddToUpperBindings(HKEY key, const wchar_t* entry) noexcept;

/// Takes `entry` (without regard to case) out of UpperBindings of an open key. The stored size shrinks by the entry's
/// length plus one character whether or not it was there (kept for the driver, which has always read values like that);
/// nothing left deletes the value. A Win32 code; ERROR_FILE_NOT_FOUND when there is no value.
LONG RemoveFromUpperBindings(HKEY key, const wchar_t* entry) noexcept;

/// "\Device\" and the GUID text; null when memory is short.
std::unique_ptr<wchar_t[]> MakeDeviceName(const wchar_t* guidText) noexcept;

/// The text after the last backslash; null when there is none or memory is short.
std::unique_ptr<wchar_t[]> GuidFromDeviceName(const wchar_t* deviceName) noexcept;

/// Whether a multi-string of `lengthChars` characters has an entry equal to `token` without regard to case.
bool IsTokenInList(const wchar_t* token, const wchar_t* multiString, DWORD lengthChars) noexcept;

}  // namespace qvrn
