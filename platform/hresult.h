#pragma once

#include <windows.h>

#include <new>

namespace qvrn {

/// The HRESULT of a Win32 error: codes at or below 0 are passed on unchanged, so that setup codes (0xE0000xxx) and
/// values that are HRESULTs already survive.
constexpr HRESULT HrFromWin32(LONG code) noexcept {
  return code <= 0 ? static_cast<HRESULT>(code)
                   : static_cast<HRESULT>(0x80070000u | (static_cast<DWORD>(code) & 0xFFFFu));
}

/// The HRESULT of the calling thread's last error, for a call that has failed: E_FAIL where it left no error.
inline HRESULT HrFromLastError() noexcept {
  const HRESULT hr = HrFromWin32(static_cast<LONG>(::GetLastError()));
  return hr == S_OK ? E_FAIL : hr;
}

/// For the catch-all at the end of a COM method: E_OUTOFMEMORY for std::bad_alloc, E_UNEXPECTED for anything else.
inline HRESULT HresultFromCurrentException() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace qvrn
