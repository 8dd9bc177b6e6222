#include "lab/netcfgclass.h"

#include "lab/netcfgenumerator.h"

namespace lab {

HRESULT NetCfgClass::FindComponent(LPCWSTR id, INetCfgComponent** component) noexcept {
  if (component != nullptr) *component = nullptr;
  return m_session->Call(
      L"INetCfgClass::FindComponent", Needs::kInitialized,
      [&] { return FindComponentById(m_session, &m_classGuid, id, component); }, m_classGuid, id);
}

HRESULT NetCfgClass::EnumComponents(IEnumNetCfgComponent** enumerator) noexcept {
  if (enumerator == nullptr) return E_POINTER;
  *enumerator = nullptr;
  return m_session->Call(
      L"INetCfgClass::EnumComponents", Needs::kInitialized,
      [&] { return EnumerateComponents(m_session, m_classGuid, enumerator); }, m_classGuid);
}

}  // namespace lab
