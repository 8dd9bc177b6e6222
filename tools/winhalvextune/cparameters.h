// One advanced driver parameter of an adapter: an enumeration, an integer in a range, or free text.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "platform/boundedtext.h"
#include "platform/registrykey.h"

namespace qvrn {

/// The host runs Windows Server 2008, where three standardised keywords mirror LargeSendOffload. Never set in the
/// provider; a host that wants the mirroring sets it.
extern bool p_bIsOs2008;

/// The parameter that is mirrored, and its mirrors in the order in which they are read and written.
inline constexpr wchar_t kLargeSendOffload[] = L"LargeSendOffload";
inline constexpr const wchar_t* kLargeSendOffloadMirrors[] = {L"*LsoV1IPv4", L"*LsoV2IPv4", L"*LsoV2IPv6"};

/// A parameter value or its description: 100 characters, terminator included.
using ParameterText = wchar_t[kTextChars];

/// An adapter's instance key, opened when first needed and then kept open while the wanted access stays the same, so
/// that a load or an apply opens it once and not once per parameter.
class CInstanceKey {
 public:
  /// `path` is copied.
  explicit CInstanceKey(const wchar_t* path) noexcept;

  /// ERROR_SUCCESS when the key is open with `access`, else the failure of RegOpenKeyExW.
  LSTATUS Open(REGSAM access) noexcept;
  /// The key that Open opened.
  const RegistryKey& Get() const noexcept { return m_key; }
  /// Closes what was open. False after an assertion.
  bool Close() noexcept;

 private:
  wchar_t m_path[kPathChars];
  RegistryKey m_key;
  REGSAM m_access = 0;
};

enum class ParameterKind : DWORD { Enumeration = 0, Integer = 1, Text = 2 };

/// Name (also of its registry value), description and group of a parameter.
struct ParameterLabels {
  std::wstring name;
  std::wstring description;
  std::wstring group;
};

class CParameter {
 public:
  virtual ~CParameter() = default;

  /// Writes the current value to the instance key when it was changed. False after an assertion.
  virtual bool Write(CInstanceKey& instanceKey) const = 0;
  virtual bool RestoreDefault() = 0;
  virtual bool IsChanged() const = 0;
  virtual void Revert() = 0;

  ParameterKind Kind() const noexcept { return m_kind; }
  const std::wstring& Name() const noexcept { return m_labels.name; }
  const std::wstring& Description() const noexcept { return m_labels.description; }
  const std::wstring& Group() const noexcept { return m_labels.group; }

 protected:
  CParameter(ParameterKind kind, ParameterLabels labels) noexcept : m_labels(std::move(labels)), m_kind(kind) {}

  ParameterLabels m_labels;
  bool m_changed = false;

 private:
  ParameterKind m_kind;
};

class CEnumParameter final : public CParameter {
 public:
  struct Entry {
    ParameterText value;
    ParameterText description;
  };

  /// `value` is both the current and the loaded value.
  CEnumParameter(ParameterLabels labels, std::vector<Entry> entries, const wchar_t* value, const wchar_t* defaultValue);

  bool Write(CInstanceKey& instanceKey) const override;
  bool RestoreDefault() override;
  bool IsChanged() const override { return m_changed; }
  void Revert() override;

  /// Selects the first entry with this description. No such entry is an assertion, and false.
  bool SetByDescription(const wchar_t* description);
  /// Selects the entry with this value; two entries may share a description, never a value. False when there is none.
  bool SetByValue(const wchar_t* value);
  /// The description of the entry with this value; null when there is none.
  const wchar_t* GetDescription(const wchar_t* value) const;

  const wchar_t* Value() const noexcept { return m_current; }
  const std::vector<Entry>& Entries() const noexcept { return m_entries; }

 private:
  void Select(const wchar_t* value);

  std::vector<Entry> m_entries;
  ParameterText m_current;
  ParameterText m_loaded;
  ParameterText m_default;
};

class CIntParameter final : public CParameter {
 public:
  struct Range {
    LONG minimum;
    LONG maximum;
    LONG defaultValue;
  };

  /// `value` is both the current and the loaded value.
  CIntParameter(ParameterLabels labels, const Range& range, LONG value) noexcept
      : CParameter(ParameterKind::Integer, std::move(labels)), m_current(value), m_loaded(value), m_range(range) {}

  bool Write(CInstanceKey& instanceKey) const override;
  bool RestoreDefault() override;
  bool IsChanged() const override { return m_changed; }
  void Revert() override;

  void SetValue(LONG value) noexcept;
  LONG Value() const noexcept { return m_current; }
  LONG Minimum() const noexcept { return m_range.minimum; }
  LONG Maximum() const noexcept { return m_range.maximum; }

 private:
  LONG m_current;
  LONG m_loaded;
  Range m_range;
};

class CStringParameter final : public CParameter {
 public:
  CStringParameter(ParameterLabels labels, const wchar_t* text)
      : CParameter(ParameterKind::Text, std::move(labels)), m_text(text) {}

  bool Write(CInstanceKey& instanceKey) const override;
  bool RestoreDefault() override { return true; }
  bool IsChanged() const override { return m_changed; }
  void Revert() override {}

  /// Replaces the text and counts as a change. False after a report when memory is short.
  bool SetText(const wchar_t* text);
  const wchar_t* Text() const noexcept { return m_text.c_str(); }

 private:
  std::wstring m_text;
};

}  // namespace qvrn
