// Owners of texts and values that cross COM interfaces.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

namespace qvrn {

/// A BSTR. Constructing one from a text throws std::bad_alloc when SysAllocString fails.
class Bstr {
 public:
  Bstr() noexcept = default;
  explicit Bstr(const wchar_t* text) : m_text(::SysAllocString(text)) {
    if (m_text == nullptr && text != nullptr) throw std::bad_alloc();
  }
  Bstr(Bstr&& other) noexcept : m_text(std::exchange(other.m_text, nullptr)) {}
  Bstr& operator=(Bstr&& other) noexcept {
    std::swap(m_text, other.m_text);
    return *this;
  }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  ~Bstr() { ::SysFreeString(m_text); }

  BSTR Get() const noexcept { return m_text; }
  BSTR* Put() noexcept {
    ::SysFreeString(m_text);
    m_text = nullptr;
    return &m_text;
  }
  BSTR Release() noexcept { return std::exchange(m_text, nullptr); }

 private:
  BSTR m_text = nullptr;
};

/// Narrow text, in the system's code page, as wide text; empty for null. Throws std::bad_alloc.
inline Bstr Widen(const char* narrow) {
  const int chars = ::MultiByteToWideChar(CP_ACP, 0, narrow, -1, nullptr, 0);
  std::vector<wchar_t> wide(static_cast<std::size_t>(chars) + 1);
  ::MultiByteToWideChar(CP_ACP, 0, narrow, -1, wide.data(), chars);
  return Bstr(wide.data());
}

/// A VARIANT, cleared at its end.
class Variant {
 public:
  Variant() noexcept { ::VariantInit(&m_value); }
  /// VT_BSTR holding a copy of `text`; throws std::bad_alloc when SysAllocString fails.
  explicit Variant(const wchar_t* text) : Variant() {
    m_value.bstrVal = Bstr(text).Release();
    m_value.vt = VT_BSTR;
  }
  /// VT_I4.
  explicit Variant(LONG number) noexcept : Variant() {
    m_value.vt = VT_I4;
    m_value.lVal = number;
  }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  ~Variant() { ::VariantClear(&m_value); }

  VARIANT* Get() noexcept { return &m_value; }
  const VARIANT* Get() const noexcept { return &m_value; }
  /// Clears the value and gives its address for a function that fills it.
  VARIANT* Put() noexcept {
    ::VariantClear(&m_value);
    return &m_value;
  }

  /// True for VT_BSTR with a string in it.
  bool IsText() const noexcept { return m_value.vt == VT_BSTR && m_value.bstrVal != nullptr; }
  const wchar_t* Text() const noexcept { return m_value.bstrVal; }
  bool IsInteger() const noexcept { return m_value.vt == VT_I4; }
  LONG Integer() const noexcept { return m_value.lVal; }

 private:
  VARIANT m_value;
};

/// A text that the platform allocated with CoTaskMemAlloc.
class TaskText {
 public:
  TaskText() noexcept = default;
  TaskText(const TaskText&) = delete;
  TaskText& operator=(const TaskText&) = delete;
  ~TaskText() { Reset(); }

  wchar_t* Get() const noexcept { return m_text; }
  wchar_t** Put() noexcept {
    Reset();
    return &m_text;
  }
  wchar_t* Release() noexcept { return std::exchange(m_text, nullptr); }
  void Reset() noexcept {
    ::CoTaskMemFree(m_text);
    m_text = nullptr;
  }

 private:
  wchar_t* m_text = nullptr;
};

}  // namespace qvrn
