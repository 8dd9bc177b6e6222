#include "tools/wmi/qvrnwmiprovider/objectpath.h"

#include <oleauto.h>
#include <strsafe.h>

#include <algorithm>

#include "platform/comtext.h"
#include "platform/hresult.h"

namespace qvrn {

HRESULT ClassNameFromPath(const wchar_t* path, wchar_t* buffer, std::size_t size) noexcept {
  if (path == nullptr || buffer == nullptr) return E_INVALIDARG;
  const wchar_t* start = path;
  const wchar_t* end = path;
  for (; *end != L'\0' && *end != L'.'; ++end) {
    if (*end == L':') start = end + 1;
  }
  const auto length = static_cast<std::size_t>(end - start);
  if (length == 0 || length + 1 > size) {
    if (size != 0) *buffer = L'\0';
    return E_FAIL;
  }
  *std::copy_n(start, length, buffer) = L'\0';
  return S_OK;
}

HRESULT ClassNameOfInstance(IWbemClassObject* instance, wchar_t* buffer, std::size_t* size) noexcept try {
  if (instance == nullptr) return S_OK;
  if (size == nullptr) return E_FAIL;
  const Bstr property(L"__CLASS");
  Variant value;
  const HRESULT hr = instance->Get(property.Get(), 0, value.Put(), nullptr, nullptr);
  if (SUCCEEDED(hr) && value.IsText()) {
    const std::size_t needed = ::SysStringLen(value.Get()->bstrVal) + 1;
    if (buffer != nullptr && *size >= needed) ::StringCchCopyW(buffer, needed, value.Text());
    *size = needed;
  }
  return hr;
} catch (...) {
  return HresultFromCurrentException();
}

QuotedKeyPath::QuotedKeyPath(const wchar_t* path) noexcept {
  ::StringCchCopyW(m_text.data(), m_text.size(), path == nullptr ? L"" : path);
  const wchar_t* start = nullptr;
  for (wchar_t* character = m_text.data(); *character != L'\0'; ++character) {
    if (*character == L'.') {
      *character = L'\0';
    } else if (*character == L'"' && start == nullptr) {
      start = character + 1;
    } else if (*character == L'"') {
      *character = L'\0';
      m_key = start;
      return;
    }
  }
}

ReferenceDigits::ReferenceDigits(const wchar_t* path) noexcept {
  int equalSigns = 0;
  int quotes = 0;
  auto end = m_text.begin();
  const wchar_t* const limit = path + ::wcsnlen(path, m_text.size() - 1);
  for (const wchar_t* character = path; character < limit; ++character) {
    if (*character == L'=') {
      ++equalSigns;
    } else if (equalSigns == 2 && *character == L'"') {
      ++quotes;
    } else if (quotes == 1 && *character >= L'0' && *character <= L'9') {
      *end++ = *character;
    }
  }
}

}  // namespace qvrn
