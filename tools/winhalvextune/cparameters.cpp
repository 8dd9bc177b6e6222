#include "tools/winhalvextune/cparameters.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <new>

#include "platform/assertion.h"
#include "tools/winhalvextune/common.h"

namespace qvrn {

bool p_bIsOs2008 = false;

namespace {

constexpr char kParametersSource[] = "cparameters";
constexpr std::size_t kValueChars = 12;

bool OpenForWriting(CInstanceKey& instanceKey) noexcept {
  const LSTATUS status = instanceKey.Open(KEY_WRITE);
  if (status == ERROR_SUCCESS) return true;
  return FailWithSystemError(Message::RegistryKeyUnusable, status, kParametersSource, "false");
}

bool WriteOwnValue(const RegistryKey& key, const std::wstring& name, const wchar_t* text) noexcept {
  const LSTATUS status = key.WriteText(name.c_str(), text);
  if (status == ERROR_SUCCESS) return true;
  return FailWithSystemError(Message::RegistryValueUnusable, status, kParametersSource, "false");
}

}  // namespace

CInstanceKey::CInstanceKey(const wchar_t* path) noexcept { CopyText(m_path, path); }

LSTATUS CInstanceKey::Open(REGSAM access) noexcept {
  if (m_key && m_access == access) return ERROR_SUCCESS;
  m_access = access;
  return m_key.Open(HKEY_LOCAL_MACHINE, m_path, access);
}

bool CInstanceKey::Close() noexcept {
  const LSTATUS status = m_key.Close();
  QVRN_CHECK(status == ERROR_SUCCESS, "false", kParametersSource);
  return status == ERROR_SUCCESS;
}

CEnumParameter::CEnumParameter(ParameterLabels labels, std::vector<Entry> entries, const wchar_t* value,
                               const wchar_t* defaultValue)
    : CParameter(ParameterKind::Enumeration, std::move(labels)), m_entries(std::move(entries)) {
  CopyText(m_current, value);
  CopyText(m_loaded, value);
  CopyText(m_default, defaultValue);
}

bool CEnumParameter::Write(CInstanceKey& instanceKey) const {
  if (!m_changed) return true;
  if (!OpenForWriting(instanceKey)) return false;
  const RegistryKey& key = instanceKey.Get();
  if (p_bIsOs2008 && m_labels.name == kLargeSendOffload) {
    for (const wchar_t* mirror : kLargeSendOffloadMirrors) {
      const LSTATUS retVal = key.WriteText(mirror, m_current);
      QVRN_CHECK(retVal == ERROR_SUCCESS, "retVal == 0L", kParametersSource);
    }
  }
  return WriteOwnValue(key, m_labels.name, m_current);
}

bool CEnumParameter::RestoreDefault() {
  if (!SameText(m_current, m_default)) Select(m_default);
  return true;
}

void CEnumParameter::Revert() {
  CopyText(m_current, m_loaded);
  m_changed = false;
}

bool CEnumParameter::SetByDescription(const wchar_t* description) {
  const auto entry = std::find_if(m_entries.begin(), m_entries.end(),
                                  [=](const Entry& candidate) { return SameText(candidate.description, description); });
  QVRN_CHECK(entry != m_entries.end(), "0", kParametersSource);
  if (entry == m_entries.end()) return false;
  Select(entry->value);
  return true;
}

bool CEnumParameter::SetByValue(const wchar_t* value) {
  if (GetDescription(value) == nullptr) return false;
  Select(value);
  return true;
}

const wchar_t* CEnumParameter::GetDescription(const wchar_t* value) const {
  const auto entry = std::find_if(m_entries.begin(), m_entries.end(),
                                  [=](const Entry& candidate) { return SameText(candidate.value, value); });
  return entry == m_entries.end() ? nullptr : entry->description;
}

void CEnumParameter::Select(const wchar_t* value) {
  CopyText(m_current, value);
  m_changed = !SameText(m_current, m_loaded);
}

bool CIntParameter::Write(CInstanceKey& instanceKey) const {
  if (!m_changed) return true;
  if (!OpenForWriting(instanceKey)) return false;
  wchar_t text[kValueChars];
  ::_itow(m_current, text, 10);
  // Kept for clients that write several values: a failed write of an integer goes unnoticed, the others are written and
  // the restart follows.
  instanceKey.Get().WriteText(m_labels.name.c_str(), text);
  return true;
}

bool CIntParameter::RestoreDefault() {
  SetValue(m_range.defaultValue);
  return true;
}

void CIntParameter::Revert() { SetValue(m_loaded); }

void CIntParameter::SetValue(LONG value) noexcept {
  m_current = value;
  m_changed = m_current != m_loaded;
}

bool CStringParameter::Write(CInstanceKey& instanceKey) const {
  if (!m_changed) return true;
  return OpenForWriting(instanceKey) && WriteOwnValue(instanceKey.Get(), m_labels.name, m_text.c_str());
}

bool CStringParameter::SetText(const wchar_t* text) try {
  m_text = text;
  m_changed = true;
  return true;
} catch (const std::bad_alloc&) {
  ShowSystemError(Message::SystemCallFailed, ::GetLastError());
  return false;
}

}  // namespace qvrn
