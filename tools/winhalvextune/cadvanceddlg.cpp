#include "tools/winhalvextune/cadvanceddlg.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>

#include "platform/assertion.h"
#include "platform/registrykey.h"
#include "tools/winhalvextune/common.h"

namespace qvrn {
namespace {

constexpr char kModelSource[] = "cadvanceddlg";
constexpr wchar_t kConfigKey[] = L"\\Ndi\\config";
constexpr wchar_t kReceiveRings[] = L"Number of Receive Rings";
constexpr wchar_t kDefaultGroup[] = L"General";
constexpr wchar_t kHiddenGroup[] = L"None";
// What a value that cannot be read counts as. A stored -1 is taken for it (kept for clients: such an adapter has
// never been listed).
constexpr LONG kUnreadable = -1;

void ReportStatus(Message id, LSTATUS status) noexcept { ShowSystemError(id, static_cast<DWORD>(status)); }

void Append(wchar_t (&path)[kPathChars], const wchar_t* text) noexcept {
  const HRESULT hr = AppendText(path, text);
  QVRN_CHECK_HRESULT(hr, kModelSource);
}

// Writes the default of an absent value and takes it as the value. False after an assertion.
bool CreateValue(const RegistryKey& key, const wchar_t* name, const wchar_t* defaultText,
                 ParameterText& text) noexcept {
  const LSTATUS status = key.WriteText(name, defaultText);
  if (status != ERROR_SUCCESS) {
    return FailWithSystemError(Message::RegistryValueUnusable, status, kModelSource);
  }
  CopyText(text, defaultText);
  return true;
}

// The value that three mirrors share: the first that is 1, or the last one read.
LONG ReadMirrors(const RegistryKey& key, const wchar_t* defaultText, ParameterText& text) noexcept {
  QVRN_CHECK(p_bIsOs2008, "p_bIsOs2008", kModelSource);
  for (const wchar_t* mirror : kLargeSendOffloadMirrors) {
    ParameterText mirrored;
    const LSTATUS status = key.ReadText(mirror, mirrored);
    if (status == ERROR_SUCCESS) {
      CopyText(text, mirrored);
      if (::_wtoi(text) == 1) break;
      continue;
    }
    if (defaultText == nullptr) break;
    if (status == ERROR_FILE_NOT_FOUND) {
      const LSTATUS retVal = key.WriteText(mirror, defaultText);
      QVRN_CHECK(retVal == ERROR_SUCCESS, "retVal == 0L", kModelSource);
    }
    CopyText(text, defaultText);
    break;
  }
  return ::_wtoi(text);
}

// Reads a parameter's value from the instance key, writing the default when it is absent: its text and its decimal
// conversion, kUnreadable after an assertion. Only a value that is absent gets the default, so that one which merely
// cannot be read is never overwritten.
LONG ReadOrCreateValue(CInstanceKey& instanceKey, const wchar_t* name, const wchar_t* defaultText,
                       ParameterText& text) noexcept {
  QVRN_CHECK(defaultText != nullptr, "DefaultValue != 0", kModelSource);
  text[0] = L'\0';
  LSTATUS status = instanceKey.Open(KEY_ALL_ACCESS);
  if (status != ERROR_SUCCESS) {
    FailWithSystemError(Message::RegistryKeyUnusable, status, kModelSource);
    return kUnreadable;
  }
  const RegistryKey& key = instanceKey.Get();
  if (p_bIsOs2008 && SameText(name, kLargeSendOffload)) return ReadMirrors(key, defaultText, text);

  status = key.ReadText(name, text);
  if (status == ERROR_FILE_NOT_FOUND) {
    if (defaultText != nullptr && !CreateValue(key, name, defaultText, text)) return kUnreadable;
  } else if (status != ERROR_SUCCESS) {
    FailWithSystemError(Message::RegistryValueUnusable, status, kModelSource);
    return kUnreadable;
  }
  return ::_wtoi(text);
}

// Reads a value that a description cannot do without. False after a report and an assertion.
bool ReadRequired(const RegistryKey& descriptor, const wchar_t* name, ParameterText& text) noexcept {
  return descriptor.ReadText(name, text) == ERROR_SUCCESS || FailWithMissingValue(name, kModelSource);
}

// The allowed settings below a parameter's description; none, or one that cannot be read, is an assertion.
std::vector<CEnumParameter::Entry> ReadEntries(const wchar_t* descriptorPath) {
  wchar_t path[kPathChars];
  CopyText(path, descriptorPath);
  Append(path, L"\\Enum");
  RegistryKey key;
  DWORD count = 0;
  const LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, path, KEY_READ);
  if (status != ERROR_SUCCESS) {
    ReportStatus(Message::RegistryKeyUnusable, status);
  } else {
    key.CountValues(count);
  }
  QVRN_CHECK(count != 0, "0", kModelSource);
  std::vector<CEnumParameter::Entry> entries(count);
  for (DWORD index = 0; index < count; ++index) {
    const LSTATUS read = key.EnumerateText(index, entries[index].value, entries[index].description);
    QVRN_CHECK(read == ERROR_SUCCESS, "0", kModelSource);
  }
  return entries;
}

// The powers of two up to the number of processors, each its own description.
std::vector<CEnumParameter::Entry> RingEntries(DWORD processors) {
  const LONG last = IntegerLog2(static_cast<LONG>(processors));
  std::vector<CEnumParameter::Entry> entries(static_cast<std::size_t>(last) + 1);
  for (LONG exponent = 0; exponent <= last; ++exponent) {
    CEnumParameter::Entry& entry = entries[static_cast<std::size_t>(exponent)];
    ::_itow(PowerOfTwo(exponent), entry.value, 10);
    CopyText(entry.description, entry.value);
  }
  return entries;
}

}  // namespace

/// One \Ndi\config subkey while it is read.
struct CAdvancedDlg::Descriptor {
  const RegistryKey& key;
  const wchar_t* path;
  CInstanceKey& instanceKey;
  ParameterLabels labels;
};

CAdvancedDlg::CAdvancedDlg(const wchar_t* instanceKeyPath) noexcept { CopyText(m_instanceKeyPath, instanceKeyPath); }

bool CAdvancedDlg::Load(const wchar_t* deviceNodeId) {
  m_deviceNodeId = deviceNodeId;
  SYSTEM_INFO system = {};
  ::GetSystemInfo(&system);
  m_processors = system.dwNumberOfProcessors;
  const bool loaded = ScanDescriptors();
  QVRN_CHECK(loaded, "0", kModelSource);
  return loaded;
}

bool CAdvancedDlg::ScanDescriptors() {
  wchar_t path[kPathChars];
  CopyText(path, m_instanceKeyPath);
  Append(path, kConfigKey);
  RegistryKey config;
  LSTATUS status = config.Open(HKEY_LOCAL_MACHINE, path, KEY_READ);
  DWORD subkeys = 0;
  if (status == ERROR_SUCCESS) status = config.CountSubkeys(subkeys);
  if (status != ERROR_SUCCESS) {
    ReportStatus(Message::RegistryKeyUnusable, status);
    return false;
  }

  Append(path, L"\\");
  const std::size_t prefix = std::wcslen(path);
  CInstanceKey instanceKey(m_instanceKeyPath);
  const DWORD slots = std::min<DWORD>(subkeys, kSlots);
  for (DWORD slot = 0; slot < slots; ++slot) {
    wchar_t name[kPathChars] = {};
    status = config.SubkeyName(slot, name);
    if (status != ERROR_SUCCESS) {
      ReportStatus(Message::RegistryKeyUnusable, status);
      return false;
    }
    path[prefix] = L'\0';
    Append(path, name);
    if (!ScanDescriptor(instanceKey, path, name, slot)) return false;
  }
  return true;
}

bool CAdvancedDlg::ScanDescriptor(CInstanceKey& instanceKey, wchar_t (&path)[kPathChars], const wchar_t* name,
                                  DWORD slot) {
  RegistryKey key;
  const LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, path, KEY_QUERY_VALUE);
  if (status != ERROR_SUCCESS) {
    ReportStatus(Message::RegistryKeyUnusable, status);
    return false;
  }
  ParameterText group;
  if (key.ReadText(L"Group", group) != ERROR_SUCCESS) CopyText(group, kDefaultGroup);
  if (SameText(group, kHiddenGroup)) return true;
  EnterGroup(group);

  ParameterText description;
  if (!ReadRequired(key, L"ParamDesc", description)) return false;
  Descriptor descriptor{key, path, instanceKey, {name, description, group}};
  const Builder builder = BuilderFor(descriptor);
  QVRN_CHECK(builder != nullptr, "0", kModelSource);
  if (builder == nullptr) return false;
  m_slots[slot] = (this->*builder)(descriptor);
  return m_slots[slot] != nullptr;
}

void CAdvancedDlg::EnterGroup(const wchar_t* name) {
  const auto group =
      std::find_if(m_groups.begin(), m_groups.end(), [=](const ParameterGroup& known) { return known.name == name; });
  if (group != m_groups.end()) {
    ++group->members;
  } else if (m_groups.size() < kGroups) {
    m_groups.push_back({name, 1});
  }
}

CAdvancedDlg::Builder CAdvancedDlg::BuilderFor(const Descriptor& descriptor) const {
  if (descriptor.labels.description == kReceiveRings) return &CAdvancedDlg::BuildReceiveRings;
  ParameterText type;
  const LSTATUS status = descriptor.key.ReadText(L"type", type);
  if (status == ERROR_FILE_NOT_FOUND) return &CAdvancedDlg::BuildText;
  if (status != ERROR_SUCCESS) return nullptr;
  if (SameText(type, L"int")) return &CAdvancedDlg::BuildInteger;
  if (SameText(type, L"enum")) return &CAdvancedDlg::BuildEnumeration;
  return nullptr;
}

std::unique_ptr<CParameter> CAdvancedDlg::BuildInteger(Descriptor& descriptor) {
  ParameterText minimum;
  ParameterText maximum;
  ParameterText defaultText;
  if (!ReadRequired(descriptor.key, L"min", minimum) || !ReadRequired(descriptor.key, L"max", maximum) ||
      !ReadRequired(descriptor.key, L"default", defaultText)) {
    return nullptr;
  }
  ParameterText text;
  const LONG value = ReadOrCreateValue(descriptor.instanceKey, descriptor.labels.name.c_str(), defaultText, text);
  if (value == kUnreadable) return nullptr;
  const CIntParameter::Range range = {::_wtoi(minimum), ::_wtoi(maximum), ::_wtoi(defaultText)};
  return std::make_unique<CIntParameter>(std::move(descriptor.labels), range, value);
}

std::unique_ptr<CParameter> CAdvancedDlg::BuildEnumeration(Descriptor& descriptor) {
  std::vector<CEnumParameter::Entry> entries = ReadEntries(descriptor.path);
  ParameterText defaultText;
  if (!ReadRequired(descriptor.key, L"default", defaultText)) return nullptr;
  ParameterText text;
  if (ReadOrCreateValue(descriptor.instanceKey, descriptor.labels.name.c_str(), defaultText, text) == kUnreadable) {
    return nullptr;
  }
  return std::make_unique<CEnumParameter>(std::move(descriptor.labels), std::move(entries), text, defaultText);
}

std::unique_ptr<CParameter> CAdvancedDlg::BuildReceiveRings(Descriptor& descriptor) {
  ParameterText defaultText;
  if (!ReadRequired(descriptor.key, L"default", defaultText)) return nullptr;
  ParameterText text;
  const LONG value = ReadOrCreateValue(descriptor.instanceKey, descriptor.labels.name.c_str(), defaultText, text);
  if (value == kUnreadable) return nullptr;
  // The driver uses a power of two; the stored value stays as it is until somebody changes it.
  ::_itow(PowerOfTwo(IntegerLog2(value)), text, 10);
  return std::make_unique<CEnumParameter>(std::move(descriptor.labels), RingEntries(m_processors), text, defaultText);
}

// Free text has no default, so its reading is an assertion each time (kept for developers of drivers, who are to see
// it).
std::unique_ptr<CParameter> CAdvancedDlg::BuildText(Descriptor& descriptor) {
  const LSTATUS status = descriptor.instanceKey.Open(KEY_READ);
  if (status != ERROR_SUCCESS) {
    FailWithSystemError(Message::RegistryKeyUnusable, status, kModelSource);
  }
  ParameterText text;
  if (ReadOrCreateValue(descriptor.instanceKey, descriptor.labels.name.c_str(), nullptr, text) == kUnreadable) {
    return nullptr;
  }
  return std::make_unique<CStringParameter>(std::move(descriptor.labels), text);
}

bool CAdvancedDlg::Apply() {
  const bool changed = std::any_of(m_slots.begin(), m_slots.end(),
                                   [](const auto& slot) { return slot != nullptr && slot->IsChanged(); });
  CInstanceKey instanceKey(m_instanceKeyPath);
  for (const auto& slot : m_slots) {
    if (slot != nullptr && !slot->Write(instanceKey)) return false;
  }
  if (!instanceKey.Close()) return false;
  if (!changed) return true;

  const bool bRet = RestartDevice(m_deviceNodeId.c_str());
  QVRN_CHECK(bRet, "bRet == true", kModelSource);
  return true;
}

}  // namespace qvrn
