// Ways to components: IEnumNetCfgComponent over a snapshot, and finding by id.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include "lab/netcfgcomponent.h"

namespace lab {

class NetCfgComponentEnumerator final : public NetCfgObject<IEnumNetCfgComponent> {
 public:
  NetCfgComponentEnumerator(SessionPointer session, ComponentRecords records, std::size_t next = 0)
      : m_session(std::move(session)), m_records(std::move(records)), m_next(next) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, INetCfgComponent** components, ULONG* fetched) noexcept override;
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) noexcept override;
  HRESULT STDMETHODCALLTYPE Reset() noexcept override;
  HRESULT STDMETHODCALLTYPE Clone(IEnumNetCfgComponent** clone) noexcept override;

 private:
  const SessionPointer m_session;
  const ComponentRecords m_records;
  std::size_t m_next;
};

/// EnumComponents of INetCfg and INetCfgClass: the components of one class as they were when the session was
/// initialised. E_INVALIDARG for a class that is not a network class.
HRESULT EnumerateComponents(const SessionPointer& session, const GUID& classGuid, IEnumNetCfgComponent** enumerator);

/// FindComponent of INetCfg (`classGuid` null: all classes) and INetCfgClass: the first component with this id,
/// compared without regard to case; S_FALSE when there is none. `component` may be null.
HRESULT FindComponentById(const SessionPointer& session, const GUID* classGuid, LPCWSTR id,
                          INetCfgComponent** component);

}  // namespace lab
