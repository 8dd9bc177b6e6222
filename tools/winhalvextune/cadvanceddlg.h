// The advanced parameters of one adapter, as its driver's installation described them under \Ndi\config.
#pragma once

#include <windows.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "platform/boundedtext.h"
#include "tools/winhalvextune/cparameters.h"

namespace qvrn {

class CAdvancedDlg {
 public:
  /// A slot is a parameter's position among the \Ndi\config subkeys; hidden parameters leave theirs empty. Parameters
  /// beyond the last slot are left out.
  static constexpr std::size_t kSlots = 30;
  /// Names of groups beyond this are not recorded; their parameters are.
  static constexpr std::size_t kGroups = 10;

  struct ParameterGroup {
    std::wstring name;
    DWORD members;
  };

  /// `instanceKeyPath` is relative to HKEY_LOCAL_MACHINE.
  explicit CAdvancedDlg(const wchar_t* instanceKeyPath) noexcept;

  /// Reads every description and value, and writes the default of each value that is absent. False after an assertion
  /// when a description cannot be used. Throws std::bad_alloc.
  bool Load(const wchar_t* deviceNodeId);

  /// Writes every changed parameter in slot order, then restarts the adapter if there was one. False when a write
  /// failed; a failed restart is an assertion only.
  bool Apply();

  /// Null for an empty slot.
  CParameter* Slot(std::size_t index) const noexcept { return m_slots[index].get(); }
  const std::vector<ParameterGroup>& Groups() const noexcept { return m_groups; }

 private:
  struct Descriptor;
  using Builder = std::unique_ptr<CParameter> (CAdvancedDlg::*)(Descriptor&);

  bool ScanDescriptors();
  bool ScanDescriptor(CInstanceKey& instanceKey, wchar_t (&path)[kPathChars], const wchar_t* name, DWORD slot);
  void EnterGroup(const wchar_t* name);
  Builder BuilderFor(const Descriptor& descriptor) const;

  std::unique_ptr<CParameter> BuildInteger(Descriptor& descriptor);
  std::unique_ptr<CParameter> BuildEnumeration(Descriptor& descriptor);
  std::unique_ptr<CParameter> BuildReceiveRings(Descriptor& descriptor);
  std::unique_ptr<CParameter> BuildText(Descriptor& descriptor);

  wchar_t m_instanceKeyPath[kPathChars];
  std::vector<ParameterGroup> m_groups;
  std::array<std::unique_ptr<CParameter>, kSlots> m_slots;
  std::wstring m_deviceNodeId;
  DWORD m_processors = 0;
};

}  // namespace qvrn
