// INetCfgClass with INetCfgClassSetup: the components of one class. EnumComponents and FindComponent of INetCfg give
// the same.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include "lab/netcfg/netcfgobject.h"

namespace lab {

class NetCfgClass final : public NetCfgObject<INetCfgClass, INetCfgClassSetup> {
 public:
  NetCfgClass(SessionPointer session, const GUID& classGuid)
      : NetCfgObject(std::move(session)), m_classGuid(classGuid) {}

  HRESULT STDMETHODCALLTYPE FindComponent(LPCWSTR id, INetCfgComponent** component) noexcept override;
  HRESULT STDMETHODCALLTYPE EnumComponents(IEnumNetCfgComponent** enumerator) noexcept override;

  /// E_NOTIMPL: there is nobody to select.
  HRESULT STDMETHODCALLTYPE SelectAndInstall(HWND parent, OBO_TOKEN* token,
                                             INetCfgComponent** component) noexcept override;
  /// On whose behalf, setup flags, build number and answers are recorded and change nothing. The new component is there
  /// for this session at once, and for every session that is initialised later, whether Apply is called or not.
  HRESULT STDMETHODCALLTYPE Install(LPCWSTR id, OBO_TOKEN* token, DWORD setupFlags, DWORD upgradeFromBuild,
                                    LPCWSTR answerFile, LPCWSTR answerSections,
                                    INetCfgComponent** component) noexcept override;
  /// E_INVALIDARG for a component of another class. Nobody holds references on components, so there are none to list.
  HRESULT STDMETHODCALLTYPE DeInstall(INetCfgComponent* component, OBO_TOKEN* token,
                                      LPWSTR* references) noexcept override;

 private:
  const GUID m_classGuid;
};

/// EnumComponents of INetCfg and INetCfgClass: the components of one class that the session knows. E_INVALIDARG for a
/// class that is not a network class.
HRESULT EnumerateComponents(const SessionPointer& session, const GUID& classGuid, IEnumNetCfgComponent** enumerator);

/// FindComponent of INetCfg (`classGuid` null: all classes) and INetCfgClass: the first component with this id,
/// compared without regard to case; S_FALSE when there is none. `component` may be null.
HRESULT FindComponentById(const SessionPointer& session, const GUID* classGuid, LPCWSTR id,
                          INetCfgComponent** component);

}  // namespace lab
