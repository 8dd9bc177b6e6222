#pragma once

#include "mux/notifyob/cmuxvirtualminiport.h"
#include "mux/notifyob/vlantexts.h"

namespace qvrn {

/// The virtual miniport of one VLAN.
class CMuxVlanMiniport final : public CMuxVirtualMiniport {
 public:
  /// The texts are copied, cut to 99 characters each, when none of them is null; otherwise LoadConfiguration fills
  /// them.
  CMuxVlanMiniport(INetCfg* netCfg, const GUID* miniportGuid, const VlanTexts& texts) noexcept;

  /// Reads the three values from the instance's parameter key, up to the first that cannot be read.
  HRESULT LoadConfiguration() noexcept override;

  /// Writes each value as a whole field of 200 bytes; failed writes go unnoticed.
  HRESULT InsertRegistryParams(INetCfgComponent* component) noexcept override;

  const wchar_t* VlanNumber() const noexcept override { return m_vlanNumber; }
  const wchar_t* VlanName() const noexcept override { return m_vlanName; }

 private:
  wchar_t m_vlanNumber[kTextChars] = {};
  wchar_t m_vlanName[kTextChars] = {};
  wchar_t m_priority[kTextChars] = {};
};

}  // namespace qvrn
