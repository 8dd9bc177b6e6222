// What the lab's class objects and qualifier sets have in common.
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "lab/unknown.h"
#include "platform/comtext.h"
#include "platform/wmi.h"

namespace lab {

/// The kind that LiveClassObjects counts.
using CountedObject = Counted<struct WbemObjects>;

/// The state of a Begin...Next...End enumeration by name.
class NameCursor {
 public:
  void Begin(std::vector<std::wstring> names) {
    const std::scoped_lock lock(m_lock);
    m_names = std::move(names);
    m_next = 0;
    m_running = true;
  }

  /// S_OK with the next name, WBEM_S_NO_MORE_DATA behind the last one, WBEM_E_UNEXPECTED outside an enumeration.
  HRESULT Next(std::wstring& name) {
    const std::scoped_lock lock(m_lock);
    if (!m_running) return WBEM_E_UNEXPECTED;
    if (m_next == m_names.size()) return WBEM_S_NO_MORE_DATA;
    name = m_names[m_next++];
    return S_OK;
  }

  void End() noexcept {
    const std::scoped_lock lock(m_lock);
    m_running = false;
  }

 private:
  std::mutex m_lock;
  std::vector<std::wstring> m_names;
  std::size_t m_next = 0;
  bool m_running = false;
};

/// Hands a value over to a caller's VARIANT, whose content is taken for garbage; does nothing without one.
inline void Give(qvrn::Variant& value, VARIANT* target) noexcept {
  if (target != nullptr) *target = std::exchange(*value.Get(), VARIANT{});
}

/// Hands a copy of a text to a caller's BSTR; does nothing without one.
inline void Give(const std::wstring& text, BSTR* target) {
  if (target != nullptr) *target = qvrn::Bstr(text.c_str()).Release();
}

template <typename Number>
void Give(Number value, Number* target) noexcept {
  if (target != nullptr) *target = value;
}

}  // namespace lab
