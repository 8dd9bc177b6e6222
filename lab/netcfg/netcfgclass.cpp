#include "lab/netcfg/netcfgclass.h"

#include <iterator>

#include "lab/netcfg/netcfgcomponent.h"
#include "lab/netcfg/netcfgenumerator.h"
#include "lab/netcfg/netcfginstaller.h"

namespace lab {
namespace {

using Microsoft::WRL::ComPtr;

struct ComponentKind {
  using Enumerator = IEnumNetCfgComponent;
  using Element = INetCfgComponent;
  using Item = ComponentPointer;
  static constexpr const wchar_t* kNext = L"IEnumNetCfgComponent::Next";
  static constexpr const wchar_t* kSkip = L"IEnumNetCfgComponent::Skip";
  static constexpr const wchar_t* kReset = L"IEnumNetCfgComponent::Reset";
  static constexpr const wchar_t* kClone = L"IEnumNetCfgComponent::Clone";
  static ComPtr<Element> Wrap(const SessionPointer& session, const Item& record) {
    return Make<NetCfgComponent>(session, record);
  }
};

/// How the journal names the one on whose behalf something is installed or removed.
const wchar_t* TokenText(const OBO_TOKEN* token) {
  constexpr const wchar_t* kTypes[] = {L"OBO_?", L"OBO_USER", L"OBO_COMPONENT", L"OBO_SOFTWARE"};
  if (token == nullptr) return nullptr;
  const auto type = static_cast<unsigned>(token->Type);
  return kTypes[type < std::size(kTypes) ? type : 0];
}

}  // namespace

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

HRESULT NetCfgClass::SelectAndInstall(HWND, OBO_TOKEN* token, INetCfgComponent** component) noexcept {
  if (component != nullptr) *component = nullptr;
  return m_session->Call(
      L"INetCfgClassSetup::SelectAndInstall", Needs::kWriteLock, [] { return E_NOTIMPL; }, m_classGuid,
      TokenText(token));
}

HRESULT NetCfgClass::Install(LPCWSTR id, OBO_TOKEN* token, DWORD setupFlags, DWORD upgradeFromBuild, LPCWSTR answerFile,
                             LPCWSTR answerSections, INetCfgComponent** component) noexcept {
  if (component != nullptr) *component = nullptr;
  return m_session->Call(
      L"INetCfgClassSetup::Install", Needs::kWriteLock,
      [&]() -> HRESULT {
        if (id == nullptr) return E_INVALIDARG;
        ComponentPointer installed;
        const HRESULT hr = InstallComponent(*m_session, *FindNetworkClass(m_classGuid), id, installed);
        if (SUCCEEDED(hr) && component != nullptr) *component = Make<NetCfgComponent>(m_session, installed).Detach();
        return hr;
      },
      m_classGuid, id, TokenText(token), setupFlags, upgradeFromBuild, answerFile, answerSections);
}

HRESULT NetCfgClass::DeInstall(INetCfgComponent* component, OBO_TOKEN* token, LPWSTR* references) noexcept {
  if (references != nullptr) *references = nullptr;
  const ComPtr<NetCfgComponent> own = Own<NetCfgComponent>(component);
  const GUID instance = own == nullptr ? GUID{} : own->Record().instance;
  return m_session->Call(
      L"INetCfgClassSetup::DeInstall", Needs::kWriteLock,
      [&]() -> HRESULT {
        if (own == nullptr || own->Record().networkClass->guid != m_classGuid) return E_INVALIDARG;
        return RemoveComponent(*m_session, instance);
      },
      m_classGuid, instance, TokenText(token));
}

HRESULT EnumerateComponents(const SessionPointer& session, const GUID& classGuid, IEnumNetCfgComponent** enumerator) {
  const NetworkClass* const networkClass = FindNetworkClass(classGuid);
  if (networkClass == nullptr) return E_INVALIDARG;
  ComponentRecords records;
  for (const ComponentPointer& record : session->Components()) {
    if (record->networkClass == networkClass) records.push_back(record);
  }
  *enumerator = Make<NetCfgEnumerator<ComponentKind>>(session, std::move(records)).Detach();
  return S_OK;
}

HRESULT FindComponentById(const SessionPointer& session, const GUID* classGuid, LPCWSTR id,
                          INetCfgComponent** component) {
  if (id == nullptr) return E_INVALIDARG;
  for (const ComponentPointer& record : session->Components()) {
    if (classGuid != nullptr && record->networkClass->guid != *classGuid) continue;
    if (!record->HasId(id)) continue;
    if (component != nullptr) *component = Make<NetCfgComponent>(session, record).Detach();
    return S_OK;
  }
  return S_FALSE;
}

}  // namespace lab
