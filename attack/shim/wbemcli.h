#pragma once
#include <windows.h>

/// What the scan for an instance's class reads.
struct IWbemClassObject {
  HRESULT Get(const wchar_t* name, LONG flags, VARIANT* value, CIMTYPE* type, LONG* flavor);
};

constexpr unsigned WBEM_E_NOT_FOUND = 0x80041002;
