#include "tools/winhalvextune/cvlanlist.h"

#include <winsock2.h>

#include <iphlpapi.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "mux/notifyob/muxregistry.h"
#include "platform/assertion.h"
#include "platform/comtext.h"
#include "tools/winhalvextune/common.h"
#include "tools/winhalvextune/cvlankeysearch.h"

namespace qvrn {
namespace {

constexpr wchar_t kDefaultPriority[] = L"0";
constexpr int kAddressesCalls = 5;

template <std::size_t Size>
void CopyField(wchar_t (&field)[Size], const wchar_t* text) noexcept {
  const HRESULT hr = CopyText(field, text);
  QVRN_CHECK_HRESULT(hr, kVlanListSource);
}

// --- Link states ---------------------------------------------------------------------------------------------------

using AddressesBuffer = std::unique_ptr<BYTE[]>;

// The system's table of interfaces, which may grow between two calls. False after a report.
bool QueryAddresses(AddressesBuffer& buffer) noexcept {
  ULONG size = 0;
  ULONG status = ERROR_BUFFER_OVERFLOW;
  for (int call = 0; call < kAddressesCalls && status == ERROR_BUFFER_OVERFLOW; ++call) {
    buffer.reset();
    if (size != 0) {
      buffer.reset(new (std::nothrow) BYTE[size]);
      if (buffer == nullptr) {
        ShowSystemError(Message::SystemCallFailed, ::GetLastError());
        return false;
      }
    }
    status =
        ::GetAdaptersAddresses(AF_UNSPEC, 0, nullptr, reinterpret_cast<IP_ADAPTER_ADDRESSES*>(buffer.get()), &size);
  }
  if (status == ERROR_SUCCESS) return true;
  ShowSystemError(Message::AdapterAddressesUnavailable, status);
  return false;
}

struct InterfaceState {
  Bstr name;
  DWORD isUp;
};

std::vector<InterfaceState> ReadInterfaceStates(const AddressesBuffer& buffer) {
  std::vector<InterfaceState> states;
  const auto* adapter = reinterpret_cast<const IP_ADAPTER_ADDRESSES*>(buffer.get());
  for (; adapter != nullptr; adapter = adapter->Next) {
    states.push_back({Widen(adapter->AdapterName), adapter->OperStatus == IfOperStatusUp ? 1UL : 0UL});
  }
  return states;
}

DWORD LinkStateOf(const std::vector<InterfaceState>& states, const wchar_t* instanceId) {
  const Bstr wanted(instanceId);
  const auto found = std::find_if(states.begin(), states.end(), [&wanted](const InterfaceState& state) {
    return ::VarBstrCmp(state.name.Get(), wanted.Get(), LOCALE_USER_DEFAULT, 0) == static_cast<HRESULT>(VARCMP_EQ);
  });
  return found == states.end() ? 0 : found->isUp;
}

}  // namespace

// --- Entry ---------------------------------------------------------------------------------------------------------

CVlanEntry::CVlanEntry(const wchar_t* instanceId, CVlanKeySearch& search) {
  CopyField(m_instanceId, instanceId);
  EnsureKey(search);
}

CVlanEntry::CVlanEntry(const wchar_t* instanceId, const VlanTexts& values) noexcept {
  CopyField(m_instanceId, instanceId);
  SetValues(values);
}

void CVlanEntry::EnsureKey(CVlanKeySearch& search) {
  if (!m_vlanRegKey) m_vlanRegKey = search.Find(m_instanceId);
  QVRN_CHECK(m_vlanRegKey, "m_VlanRegKey != 0", kVlanListSource);
}

void CVlanEntry::SetValues(const VlanTexts& values) noexcept {
  CopyField(m_number, values.number);
  CopyField(m_vlanName, values.name);
  CopyField(m_priority, values.priority);
}

bool CVlanEntry::Load(CVlanKeySearch& search) {
  EnsureKey(search);
  return m_vlanRegKey.ReadText(kVlanNumber, m_number) == ERROR_SUCCESS &&
         ReadOrWriteDefault(kVlanName, m_vlanName, kDefaultVlanName) &&
         ReadOrWriteDefault(kVlanPriority, m_priority, kDefaultPriority);
}

// A value that is there but cannot be read is left alone: it is somebody's.
bool CVlanEntry::ReadOrWriteDefault(const wchar_t* name, wchar_t (&field)[kTextChars],
                                    const wchar_t* defaultText) noexcept {
  const LSTATUS status = m_vlanRegKey.ReadText(name, field);
  if (status != ERROR_FILE_NOT_FOUND) return status == ERROR_SUCCESS;
  if (!WriteValue(name, defaultText)) return false;
  CopyField(field, defaultText);
  return true;
}

bool CVlanEntry::WriteValue(const wchar_t* name, const wchar_t* text) noexcept {
  const LSTATUS status = m_vlanRegKey.WriteText(name, text);
  if (status == ERROR_SUCCESS) return true;
  return FailWithSystemError(Message::RegistryValueUnusable, status, kVlanListSource);
}

bool CVlanEntry::Write(const VlanTexts& values) {
  SetValues(values);
  CVlanKeySearch search;
  EnsureKey(search);
  if (!WriteValue(kVlanName, m_vlanName) || !WriteValue(kVlanNumber, m_number) ||
      !WriteValue(kVlanPriority, m_priority)) {
    return false;
  }
  wchar_t displayName[kTextChars];
  FormatText(displayName, L"%s%s", kVlanDevicePrefix, m_vlanName);
  RenameVlanComponent(m_instanceId, displayName);
  return true;
}

// --- List ----------------------------------------------------------------------------------------------------------

bool CVlanList::Add(const wchar_t* instanceId, CVlanKeySearch& search) noexcept try {
  CVlanEntry entry(instanceId, search);
  if (!entry.Load(search)) return false;
  m_entries.push_front(std::move(entry));
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool CVlanList::Add(const wchar_t* instanceId, const VlanTexts& values) noexcept try {
  m_entries.emplace_front(instanceId, values);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

std::deque<CVlanEntry>::iterator CVlanList::Locate(const wchar_t* instanceId) noexcept {
  return std::find_if(m_entries.begin(), m_entries.end(),
                      [instanceId](const CVlanEntry& entry) { return SameText(entry.InstanceId(), instanceId); });
}

bool CVlanList::Remove(const wchar_t* instanceId) noexcept {
  const auto found = Locate(instanceId);
  if (found == m_entries.end()) return false;
  m_entries.erase(found);
  return true;
}

bool CVlanList::Write(const wchar_t* instanceId, const VlanTexts& values) {
  const auto entry = Locate(instanceId);
  QVRN_CHECK(entry != m_entries.end(), "0", kVlanListSource);
  return entry != m_entries.end() && entry->Write(values);
}

const CVlanEntry* CVlanList::FindBy(Field field, const wchar_t* text) const noexcept {
  const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                  [=](const CVlanEntry& entry) { return SameText((entry.*field)(), text); });
  return found == m_entries.end() ? nullptr : &*found;
}

const CVlanEntry* CVlanList::Find(const wchar_t* instanceId) const noexcept {
  return instanceId == nullptr ? nullptr : FindBy(&CVlanEntry::InstanceId, instanceId);
}

const CVlanEntry* CVlanList::FindByNumber(const wchar_t* number) const noexcept {
  return FindBy(&CVlanEntry::Number, number);
}

const wchar_t* CVlanList::FieldOf(const wchar_t* instanceId, Field field) const noexcept {
  const CVlanEntry* entry = Find(instanceId);
  return entry == nullptr ? nullptr : (entry->*field)();
}

const wchar_t* CVlanList::NumberOf(const wchar_t* instanceId) const noexcept {
  return FieldOf(instanceId, &CVlanEntry::Number);
}

const wchar_t* CVlanList::NameOf(const wchar_t* instanceId) const noexcept {
  return FieldOf(instanceId, &CVlanEntry::VlanName);
}

const wchar_t* CVlanList::PriorityOf(const wchar_t* instanceId) const noexcept {
  return FieldOf(instanceId, &CVlanEntry::Priority);
}

bool CVlanList::IsTaken(Field field, const wchar_t* text, const wchar_t* excludedInstanceId) const noexcept {
  const CVlanEntry* entry = FindBy(field, text);
  return entry != nullptr && (excludedInstanceId == nullptr || !SameText(entry->InstanceId(), excludedInstanceId));
}

bool CVlanList::IsNameTaken(const wchar_t* name, const wchar_t* excludedInstanceId) const noexcept {
  return IsTaken(&CVlanEntry::VlanName, name, excludedInstanceId);
}

bool CVlanList::IsNumberTaken(const wchar_t* number, const wchar_t* excludedInstanceId) const noexcept {
  return IsTaken(&CVlanEntry::Number, number, excludedInstanceId);
}

const wchar_t* CVlanList::FieldAt(DWORD index, Field field) const noexcept {
  const bool inBounds = !m_entries.empty() && index <= Count();
  QVRN_CHECK(inBounds, "0", kVlanListSource);
  return inBounds && index < Count() ? (m_entries[index].*field)() : nullptr;
}

const wchar_t* CVlanList::InstanceIdAt(DWORD index) const noexcept { return FieldAt(index, &CVlanEntry::InstanceId); }

const wchar_t* CVlanList::NumberAt(DWORD index) const noexcept { return FieldAt(index, &CVlanEntry::Number); }

const wchar_t* CVlanList::NameAt(DWORD index) const noexcept { return FieldAt(index, &CVlanEntry::VlanName); }

const wchar_t* CVlanList::PriorityAt(DWORD index) const noexcept { return FieldAt(index, &CVlanEntry::Priority); }

bool CVlanList::RefreshLinkStates() noexcept try {
  AddressesBuffer buffer;
  if (m_entries.empty() || !QueryAddresses(buffer)) return false;
  const std::vector<InterfaceState> states = ReadInterfaceStates(buffer);
  bool changed = false;
  for (CVlanEntry& entry : m_entries) {
    const DWORD linkUp = LinkStateOf(states, entry.InstanceId());
    changed = changed || linkUp != entry.LinkUp();
    entry.SetLinkUp(linkUp);
  }
  return changed;
} catch (const std::bad_alloc&) {
  ShowSystemError(Message::SystemCallFailed, ::GetLastError());
  return false;
}

}  // namespace qvrn
