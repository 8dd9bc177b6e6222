#include "lab/netcfg/netcfgclass.h"

#include <iterator>

#include "lab/netcfg/netcfgcomponent.h"
#include "lab/netcfg/netcfgenumerator.h"
#include "lab/netcfg/netcfginstaller.h"

namespace lab {
namespace {

using ComponentEnumerator = NetCfgEnumerator<IEnumNetCfgComponent, INetCfgComponent>;

/// How the journal names the one on whose behalf something is installed or removed.
const wchar_t* TokenText(const OBO_TOKEN* token) {
  constexpr const wchar_t* kTypes[] = {L"OBO_?", L"OBO_USER", L"OBO_COMPONENT", L"OBO_SOFTWARE"};
  if (token == nullptr) return nullptr;
  const auto type = static_cast<unsigned>(token->Type);
  return kTypes[type < std::size(kTypes) ? type : 0];
}

class NetCfgClass final : public NetCfgObject<INetCfgClass, INetCfgClassSetup> {
 public:
  NetCfgClass(SessionPointer session, const NetworkClass& networkClass)
      : NetCfgObject(std::move(session)), m_class(networkClass) {}

  HRESULT STDMETHODCALLTYPE EnumComponents(IEnumNetCfgComponent** components) noexcept override {
    return Ask(L"INetCfgClass::EnumComponents", Needs::kInitialized, With(m_class.guid), components,
               [&] { return Give(components, ComponentsOf(m_session, m_class)); });
  }
  /// On whose behalf, setup flags, build number and answers are recorded and change nothing. The new component is there
  /// for this session at once, and for every session that is initialised later, whether Apply is called or not.
  HRESULT STDMETHODCALLTYPE Install(LPCWSTR id, OBO_TOKEN* token, DWORD setupFlags, DWORD upgradeFromBuild,
                                    LPCWSTR answerFile, LPCWSTR answerSections,
                                    INetCfgComponent** component) noexcept override {
    if (component != nullptr) *component = nullptr;
    const wchar_t* const behalf = TokenText(token);
    const auto arguments = With(m_class.guid, id, behalf, setupFlags, upgradeFromBuild, answerFile, answerSections);
    return m_session->Call(L"INetCfgClassSetup::Install", Needs::kWriteLock, arguments, [&] {
      if (id == nullptr) return E_INVALIDARG;
      const ComponentPointer installed = InstallComponent(*m_session, m_class, id);
      return installed == nullptr ? static_cast<HRESULT>(SPAPI_E_NO_DRIVER_SELECTED)
                                  : Give(component, MakeComponent(m_session, installed));
    });
  }
  /// E_INVALIDARG for a component of another class. Nobody holds references on components, so there are none to list.
  HRESULT STDMETHODCALLTYPE DeInstall(INetCfgComponent* component, OBO_TOKEN* token,
                                      LPWSTR* references) noexcept override {
    if (references != nullptr) *references = nullptr;
    const ComponentRecord* const record = component == nullptr ? nullptr : &RecordOf(*component);
    const GUID instance = record == nullptr ? GUID{} : record->instance;
    const wchar_t* const behalf = TokenText(token);
    return m_session->Call(L"INetCfgClassSetup::DeInstall", Needs::kWriteLock, With(m_class.guid, instance, behalf),
                           [&] {
                             const bool isOfClass = record != nullptr && record->networkClass == &m_class;
                             return isOfClass ? RemoveComponent(*m_session, *record) : E_INVALIDARG;
                           });
  }
  HRESULT STDMETHODCALLTYPE FindComponent(LPCWSTR, INetCfgComponent**) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SelectAndInstall(HWND, OBO_TOKEN*, INetCfgComponent**) noexcept override {
    return E_NOTIMPL;
  }

 private:
  const NetworkClass& m_class;
};

}  // namespace

HRESULT QueryClass(const SessionPointer& session, const NetworkClass& networkClass, REFIID id, void** object) {
  return Make<NetCfgClass>(session, networkClass)->Hand(id, object);
}

Microsoft::WRL::ComPtr<IEnumNetCfgComponent> ComponentsOf(const SessionPointer& session,
                                                          const NetworkClass& networkClass) {
  ComponentEnumerator::Elements components;
  for (const ComponentPointer& record : session->Components()) {
    if (record->networkClass == &networkClass) components.push_back(MakeComponent(session, record));
  }
  return Make<ComponentEnumerator>(session, L"IEnumNetCfgComponent::Next", L"IEnumNetCfgComponent::Reset",
                                   std::move(components));
}

}  // namespace lab
