// As much of the platform as the parsers of text need to be compiled for this machine itself; texts are its own wide
// ones. Only the fuzzer includes this.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <string>

using HRESULT = int;
using LONG = int;
using ULONG = unsigned;
using DWORD = unsigned;
using BSTR = wchar_t*;
using VARTYPE = unsigned short;
using CIMTYPE = long;
using LPCWSTR = const wchar_t*;

constexpr HRESULT S_OK = 0;
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005);
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057);
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000E);
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFF);
constexpr HRESULT STRSAFE_E_INSUFFICIENT_BUFFER = static_cast<HRESULT>(0x8007007A);
constexpr VARTYPE VT_EMPTY = 0, VT_I4 = 3, VT_BSTR = 8;

struct VARIANT {
  VARTYPE vt = VT_EMPTY;
  LONG lVal = 0;
  BSTR bstrVal = nullptr;
};

#define SUCCEEDED(hr) ((hr) >= 0)
#define FAILED(hr) ((hr) < 0)

inline BSTR SysAllocString(const wchar_t* text) { return text == nullptr ? nullptr : ::wcsdup(text); }
inline void SysFreeString(BSTR text) { std::free(text); }
inline unsigned SysStringLen(BSTR text) { return text == nullptr ? 0 : static_cast<unsigned>(std::wcslen(text)); }
inline void VariantInit(VARIANT* value) { *value = {}; }
inline HRESULT VariantClear(VARIANT* value) {
  if (value->vt == VT_BSTR) SysFreeString(value->bstrVal);
  *value = {};
  return S_OK;
}
inline void CoTaskMemFree(void* memory) { std::free(memory); }
constexpr unsigned CP_ACP = 0;
constexpr unsigned CP_UTF8 = 65001;
/// A character for each byte, and a byte for each character: as long as the platform's at least, and never shorter.
inline int MultiByteToWideChar(unsigned page, DWORD, const char* text, int bytes, wchar_t* wide, int chars) {
  if (page == CP_UTF8) {
    for (int i = 0; i < chars && wide != nullptr; ++i) wide[i] = static_cast<unsigned char>(text[i]);
    return bytes;
  }
  if (wide != nullptr) ::mbstowcs(wide, text, static_cast<std::size_t>(chars));
  return static_cast<int>(::mbstowcs(nullptr, text, 0)) + 1;
}
inline int WideCharToMultiByte(unsigned, DWORD, const wchar_t* text, int chars, char* bytes, int size, const char*,
                               int*) {
  for (int i = 0; i < size && bytes != nullptr; ++i) bytes[i] = static_cast<char>(text[i]);
  return chars;
}
inline DWORD GetLastError() { return 0; }

inline HRESULT StringCchCopyW(wchar_t* destination, std::size_t size, const wchar_t* source) {
  const std::size_t length = ::wcsnlen(source, size - 1);
  std::wmemcpy(destination, source, length)[length] = L'\0';
  return source[length] == L'\0' ? S_OK : STRSAFE_E_INSUFFICIENT_BUFFER;
}
inline int _wcsnicmp(const wchar_t* one, const wchar_t* other, std::size_t length) {
  return ::wcsncasecmp(one, other, length);
}
inline int _wcsicmp(const wchar_t* one, const wchar_t* other) { return ::wcscasecmp(one, other); }
