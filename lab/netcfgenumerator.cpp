#include "lab/netcfgenumerator.h"

#include <algorithm>
#include <cwchar>

namespace lab {

using Microsoft::WRL::ComPtr;

HRESULT NetCfgComponentEnumerator::Next(ULONG count, INetCfgComponent** components, ULONG* fetched) noexcept {
  if (fetched != nullptr) *fetched = 0;
  if (components == nullptr || (count > 1 && fetched == nullptr)) return E_POINTER;
  std::fill_n(components, count, nullptr);
  return m_session->Call(
      L"IEnumNetCfgComponent::Next", Needs::kInitialized,
      [&] {
        std::vector<ComPtr<INetCfgComponent>> made;
        while (made.size() < count && m_next + made.size() < m_records.size()) {
          made.push_back(MakeNetCfgObject<NetCfgComponent>(m_session, m_records[m_next + made.size()]));
        }
        m_next += made.size();
        for (ComPtr<INetCfgComponent>& component : made) *components++ = component.Detach();
        if (fetched != nullptr) *fetched = static_cast<ULONG>(made.size());
        return made.size() == count ? S_OK : S_FALSE;
      },
      count);
}

HRESULT NetCfgComponentEnumerator::Skip(ULONG count) noexcept {
  return m_session->Call(
      L"IEnumNetCfgComponent::Skip", Needs::kInitialized,
      [&] {
        const std::size_t skipped = std::min<std::size_t>(count, m_records.size() - m_next);
        m_next += skipped;
        return skipped == count ? S_OK : S_FALSE;
      },
      count);
}

HRESULT NetCfgComponentEnumerator::Reset() noexcept {
  return m_session->Call(L"IEnumNetCfgComponent::Reset", Needs::kInitialized, [&] {
    m_next = 0;
    return S_OK;
  });
}

HRESULT NetCfgComponentEnumerator::Clone(IEnumNetCfgComponent** clone) noexcept {
  if (clone == nullptr) return E_POINTER;
  *clone = nullptr;
  return m_session->Call(L"IEnumNetCfgComponent::Clone", Needs::kInitialized, [&] {
    *clone = MakeNetCfgObject<NetCfgComponentEnumerator>(m_session, m_records, m_next).Detach();
    return S_OK;
  });
}

HRESULT EnumerateComponents(const SessionPointer& session, const GUID& classGuid, IEnumNetCfgComponent** enumerator) {
  const NetworkClass* const networkClass = FindNetworkClass(classGuid);
  if (networkClass == nullptr) return E_INVALIDARG;
  ComponentRecords records;
  for (const auto& record : session->Components()) {
    if (record->networkClass == networkClass) records.push_back(record);
  }
  *enumerator = MakeNetCfgObject<NetCfgComponentEnumerator>(session, std::move(records)).Detach();
  return S_OK;
}

HRESULT FindComponentById(const SessionPointer& session, const GUID* classGuid, LPCWSTR id,
                          INetCfgComponent** component) {
  if (id == nullptr) return E_INVALIDARG;
  for (const auto& record : session->Components()) {
    if (classGuid != nullptr && record->networkClass->guid != *classGuid) continue;
    if (::_wcsicmp(record->id.c_str(), id) != 0) continue;
    if (component != nullptr) *component = MakeNetCfgObject<NetCfgComponent>(session, record).Detach();
    return S_OK;
  }
  return S_FALSE;
}

}  // namespace lab
