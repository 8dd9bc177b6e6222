#pragma once

#include <windows.h>

#include "mux/notifyob/vlantexts.h"
#include "platform/boundedtext.h"
#include "platform/handle.h"
#include "platform/registrykey.h"
#include "tools/winhalvextune/cvlanlist.h"

namespace qvrn {

/// A host that shows help sets this: it is told the topic when a change of VLANs begins ("AddVlan", "RemoveVlan"), and
/// "VlanHelp" when it ends. Never set in the provider.
extern void (*g_helpHook)(const wchar_t* topic);

/// Held while VLANs are changed, from before an engine is opened, so that each change of the process sees what the one
/// before it has left. Whoever waits holds nothing that a change needs. The thread that holds it may take it again, as
/// COM may bring a request to a thread that waits for an answer. No final status is told while it is held.
class VlanChangeGate {
 public:
  VlanChangeGate() noexcept;
  ~VlanChangeGate();
  VlanChangeGate(const VlanChangeGate&) = delete;
  VlanChangeGate& operator=(const VlanChangeGate&) = delete;
};

/// The VLAN engine of one physical adapter: its VLANs, checks of new values, and the changes themselves. For one
/// request and one thread.
class CVlanDlg {
 public:
  /// `instanceKeyPath` is relative to HKEY_LOCAL_MACHINE. Throws std::bad_alloc.
  explicit CVlanDlg(const wchar_t* instanceKeyPath);
  CVlanDlg(const CVlanDlg&) = delete;
  CVlanDlg& operator=(const CVlanDlg&) = delete;
  ~CVlanDlg();

  /// Reads the adapter's instance GUID, where the driver's files lie, and which VLANs the driver has above the adapter.
  /// True also where there is no driver. False after a report.
  bool Prepare() noexcept;

  /// Stores the pending values and the VLAN that is being edited (empty for a new one). False, with nothing stored,
  /// when a text has 100 characters or more.
  bool SetVlanParams(const wchar_t* editedInstanceId, const VlanTexts& texts) noexcept;
  /// Whether the values can be given to the VLAN being edited: none missing, name and number not another VLAN's, number
  /// from 1 to 4095. The priority is left to the notify core.
  bool ValidateVlanInput(const VlanTexts& texts) noexcept;

  /// Installs the driver where it is missing and creates a VLAN with the pending values. True whatever happened: the
  /// list tells.
  bool AddVlan() noexcept;
  /// Removes a VLAN of the adapter. True whatever happened: the list tells.
  bool RemoveVlan(const wchar_t* instanceId) noexcept;
  /// Restarts the physical adapter.
  bool RestartAdapter() const noexcept;

  /// For a host that serialises changes of VLANs across processes, which nothing here does: the mutex, closed with the
  /// engine.
  void HoldMutex(HANDLE mutex) noexcept { m_mutex.Reset(mutex); }

  CVlanList& List() noexcept { return m_list; }
  bool IsDriverInstalled() const noexcept { return m_isDriverInstalled; }
  bool IsBound() const noexcept { return m_isBound; }
  bool IsModified() const noexcept { return m_isModified; }

 private:
  bool ReadInstanceId() noexcept;
  bool ReadPackageDirectory() noexcept;
  bool ReadBindings();
  void AddBoundVlans(const wchar_t* strings, LONG chars);
  bool InstallDriver() const noexcept;
  bool IsPending(const VlanTexts& texts) const noexcept;

  wchar_t m_instanceKeyPath[kPathChars];
  wchar_t m_packageDirectory[kPathChars] = {};
  wchar_t m_instanceId[kGuidChars] = {};
  bool m_isBound = false;
  bool m_isDriverInstalled = false;
  CVlanList m_list;
  wchar_t m_number[kTextChars] = {};
  wchar_t m_vlanName[kTextChars] = {};
  wchar_t m_priority[kTextChars] = {};
  wchar_t m_editedInstanceId[kGuidChars] = {};
  KernelHandle m_mutex;
  bool m_isModified = false;
};

}  // namespace qvrn
