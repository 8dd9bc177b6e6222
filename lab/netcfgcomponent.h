// INetCfgComponent and its enumerator.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <memory>

#include "lab/netcfgobject.h"
#include "lab/netcfgrecords.h"
#include "lab/netcfgsession.h"

namespace lab {

using SessionPointer = std::shared_ptr<NetCfgSession>;

/// A component in a client's hands. It outlives its INetCfg; its calls are recorded with its instance GUID as first
/// argument.
class NetCfgComponent final : public NetCfgObject<INetCfgComponent> {
 public:
  NetCfgComponent(SessionPointer session, std::shared_ptr<const ComponentRecord> record)
      : m_session(std::move(session)), m_record(std::move(record)) {}

  HRESULT STDMETHODCALLTYPE GetDisplayName(LPWSTR* name) noexcept override;
  HRESULT STDMETHODCALLTYPE SetDisplayName(LPCWSTR name) noexcept override;
  HRESULT STDMETHODCALLTYPE GetHelpText(LPWSTR* text) noexcept override;
  HRESULT STDMETHODCALLTYPE GetId(LPWSTR* id) noexcept override;
  HRESULT STDMETHODCALLTYPE GetCharacteristics(LPDWORD characteristics) noexcept override;
  HRESULT STDMETHODCALLTYPE GetInstanceGuid(GUID* guid) noexcept override;
  HRESULT STDMETHODCALLTYPE GetPnpDevNodeId(LPWSTR* id) noexcept override;
  HRESULT STDMETHODCALLTYPE GetClassGuid(GUID* guid) noexcept override;
  HRESULT STDMETHODCALLTYPE GetBindName(LPWSTR* name) noexcept override;
  HRESULT STDMETHODCALLTYPE GetDeviceStatus(ULONG* status) noexcept override;
  HRESULT STDMETHODCALLTYPE OpenParamKey(HKEY* key) noexcept override;
  HRESULT STDMETHODCALLTYPE RaisePropertyUi(HWND parent, DWORD flags, IUnknown* context) noexcept override;

 private:
  /// A getter of a text for the caller to free. `read` gives the text; an empty one is E_FAIL unless `mayBeEmpty`.
  template <typename Read>
  HRESULT GiveText(const wchar_t* method, LPWSTR* text, bool mayBeEmpty, Read read) noexcept;
  template <typename Type>
  HRESULT Give(const wchar_t* method, Type* out, const Type& value) noexcept;
  std::wstring DisplayName() const;
  bool HasDeviceKey() const;

  const SessionPointer m_session;
  const std::shared_ptr<const ComponentRecord> m_record;
};

}  // namespace lab
