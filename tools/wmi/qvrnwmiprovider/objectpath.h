// Object paths and class names, scanned the way clients of this provider have always been able to write them.
#pragma once

#include <array>
#include <cstddef>

#include "platform/wmi.h"

namespace qvrn {

/// The class name of an object path: from behind the last ':' before the first '.', up to that '.' or the path's end.
/// S_OK; E_INVALIDARG for a null path or buffer; E_FAIL for an empty name or one that does not fit `size` characters
/// with its terminator, and then the buffer holds an empty text.
HRESULT ClassNameFromPath(const wchar_t* path, wchar_t* buffer, std::size_t size) noexcept;

/// The class name of an instance (`__CLASS`). `size` receives the characters needed, terminator included; the name is
/// copied when there is a buffer of at least that many. The result is that of the property's Get; E_FAIL without
/// `size`.
HRESULT ClassNameOfInstance(IWbemClassObject* instance, wchar_t* buffer, std::size_t* size) noexcept;

/// What the handlers read from an object path: the text between its first two double quotes, whatever the key property
/// is called, and the class name before the first '.'. A longer path is cut after 260 characters; a '.' inside the
/// quotes ends the key (kept for clients that append to the key; none holds a '.').
class QuotedKeyPath {
 public:
  /// `path` may be null.
  explicit QuotedKeyPath(const wchar_t* path) noexcept;
  QuotedKeyPath(const QuotedKeyPath&) = delete;
  QuotedKeyPath& operator=(const QuotedKeyPath&) = delete;

  /// Null when the path has fewer than two double quotes.
  const wchar_t* Key() const noexcept { return m_key; }
  const wchar_t* ClassName() const noexcept { return m_text.data(); }

 private:
  std::array<wchar_t, 261> m_text;
  const wchar_t* m_key = nullptr;
};

/// The decimal digits of an association path's first reference: those between the first two double quotes behind the
/// second '='. A longer path is cut after 260 characters. Empty when there are none.
class ReferenceDigits {
 public:
  explicit ReferenceDigits(const wchar_t* path) noexcept;

  const wchar_t* Text() const noexcept { return m_text.data(); }

 private:
  std::array<wchar_t, 261> m_text = {};
};

}  // namespace qvrn
