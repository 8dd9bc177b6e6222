// The VLANs of one physical adapter, each mirrored from the instance key of its virtual miniport below the network
// class key: `VlanID`, `VlanName` and `Priority`, all REG_SZ.
#pragma once

#include <windows.h>

#include <deque>

#include "mux/notifyob/vlantexts.h"
#include "platform/boundedtext.h"
#include "platform/registrykey.h"

namespace qvrn {

class CVlanKeySearch;

/// One VLAN. Number and priority are decimal text; longer texts than a field holds are an assertion, and cut.
class CVlanEntry {
 public:
  /// An entry still to be loaded, with the instance key that the search finds.
  CVlanEntry(const wchar_t* instanceId, CVlanKeySearch& search);
  /// An entry that holds these values; the registry is not touched.
  CVlanEntry(const wchar_t* instanceId, const VlanTexts& values) noexcept;

  /// Reads the three values, and writes the default of a name or priority that is absent. False without a number, or
  /// when a value can neither be read nor written.
  bool Load(CVlanKeySearch& search);
  /// Takes the values over, writes them and renames the miniport's device. False when a value cannot be written; what
  /// was written before it stays, and the entry holds the new values all the same.
  bool Write(const VlanTexts& values);
  void SetLinkUp(DWORD linkUp) noexcept { m_linkUp = linkUp; }

  const wchar_t* InstanceId() const noexcept { return m_instanceId; }
  const wchar_t* VlanName() const noexcept { return m_vlanName; }
  const wchar_t* Number() const noexcept { return m_number; }
  const wchar_t* Priority() const noexcept { return m_priority; }
  /// 1 while the VLAN's interface is operationally up, else 0.
  DWORD LinkUp() const noexcept { return m_linkUp; }

 private:
  void EnsureKey(CVlanKeySearch& search);
  void SetValues(const VlanTexts& values) noexcept;
  bool ReadOrWriteDefault(const wchar_t* name, wchar_t (&field)[kTextChars], const wchar_t* defaultText) noexcept;
  bool WriteValue(const wchar_t* name, const wchar_t* text) noexcept;

  wchar_t m_instanceId[kGuidChars] = {};
  wchar_t m_vlanName[kTextChars] = {};
  wchar_t m_number[kTextChars] = {};
  DWORD m_linkUp = 0;
  wchar_t m_priority[kTextChars] = {};
  RegistryKey m_vlanRegKey;
};

/// The list; every new entry goes to the head. Texts are compared exactly, character by character. Accessors by
/// instance id or index give null where there is no entry.
class CVlanList {
 public:
  /// Loads an entry from the registry. False, with the list unchanged, when there is none to load.
  bool Add(const wchar_t* instanceId, CVlanKeySearch& search) noexcept;
  /// Adds an entry with these values. False when memory is short.
  bool Add(const wchar_t* instanceId, const VlanTexts& values) noexcept;
  bool Remove(const wchar_t* instanceId) noexcept;
  /// The entry's Write. False, after an assertion, for an instance id that no entry has.
  bool Write(const wchar_t* instanceId, const VlanTexts& values);

  const wchar_t* NumberOf(const wchar_t* instanceId) const noexcept;
  const wchar_t* NameOf(const wchar_t* instanceId) const noexcept;
  const wchar_t* PriorityOf(const wchar_t* instanceId) const noexcept;

  /// Whether a VLAN has the name, or the number; the first one that has it does not count when it is the excluded one
  /// (which may be null).
  bool IsNameTaken(const wchar_t* name, const wchar_t* excludedInstanceId) const noexcept;
  bool IsNumberTaken(const wchar_t* number, const wchar_t* excludedInstanceId) const noexcept;

  /// An index above the count, or any on an empty list, is an assertion; the count itself is not (kept for walks that
  /// stop at the first null).
  const wchar_t* InstanceIdAt(DWORD index) const noexcept;
  const wchar_t* NumberAt(DWORD index) const noexcept;
  const wchar_t* NameAt(DWORD index) const noexcept;
  const wchar_t* PriorityAt(DWORD index) const noexcept;

  /// Null also for a null instance id.
  const CVlanEntry* Find(const wchar_t* instanceId) const noexcept;
  const CVlanEntry* FindByNumber(const wchar_t* number) const noexcept;

  /// Asks the system which of the VLANs' interfaces are up (GetAdaptersAddresses). True when any state changed.
  bool RefreshLinkStates() noexcept;
  DWORD Count() const noexcept { return static_cast<DWORD>(m_entries.size()); }

 private:
  using Field = const wchar_t* (CVlanEntry::*)() const noexcept;

  std::deque<CVlanEntry>::iterator Locate(const wchar_t* instanceId) noexcept;
  const CVlanEntry* FindBy(Field field, const wchar_t* text) const noexcept;
  const wchar_t* FieldOf(const wchar_t* instanceId, Field field) const noexcept;
  const wchar_t* FieldAt(DWORD index, Field field) const noexcept;
  bool IsTaken(Field field, const wchar_t* text, const wchar_t* excludedInstanceId) const noexcept;

  std::deque<CVlanEntry> m_entries;
};

}  // namespace qvrn
