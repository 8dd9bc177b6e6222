// INetCfgClass: the components of one class.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include "lab/netcfgcomponent.h"

namespace lab {

class NetCfgClass final : public NetCfgObject<INetCfgClass> {
 public:
  NetCfgClass(SessionPointer session, const GUID& classGuid) : m_session(std::move(session)), m_classGuid(classGuid) {}

  HRESULT STDMETHODCALLTYPE FindComponent(LPCWSTR id, INetCfgComponent** component) noexcept override;
  HRESULT STDMETHODCALLTYPE EnumComponents(IEnumNetCfgComponent** enumerator) noexcept override;

 private:
  const SessionPointer m_session;
  const GUID m_classGuid;
};

}  // namespace lab
