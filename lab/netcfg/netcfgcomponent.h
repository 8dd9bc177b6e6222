// INetCfgComponent with INetCfgComponentBindings.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include "lab/netcfg/netcfgobject.h"
#include "lab/netcfg/netcfgrecords.h"

namespace lab {

/// A component in a client's hands. It outlives its INetCfg; its calls are recorded with its instance GUID as first
/// argument.
class NetCfgComponent final : public NetCfgObject<INetCfgComponent, INetCfgComponentBindings> {
 public:
  NetCfgComponent(SessionPointer session, ComponentPointer record)
      : NetCfgObject(std::move(session)), m_record(std::move(record)) {}

  const ComponentRecord& Record() const noexcept { return *m_record; }

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

  HRESULT STDMETHODCALLTYPE EnumBindingPaths(DWORD flags, IEnumNetCfgBindingPath** paths) noexcept override;
  // Nobody needs the others: they are E_NOTIMPL.
  HRESULT STDMETHODCALLTYPE BindTo(INetCfgComponent*) noexcept override;
  HRESULT STDMETHODCALLTYPE UnbindFrom(INetCfgComponent*) noexcept override;
  HRESULT STDMETHODCALLTYPE SupportsBindingInterface(DWORD, LPCWSTR) noexcept override;
  HRESULT STDMETHODCALLTYPE IsBoundTo(INetCfgComponent*) noexcept override;
  HRESULT STDMETHODCALLTYPE IsBindableTo(INetCfgComponent*) noexcept override;
  HRESULT STDMETHODCALLTYPE MoveBefore(INetCfgBindingPath*, INetCfgBindingPath*) noexcept override;
  HRESULT STDMETHODCALLTYPE MoveAfter(INetCfgBindingPath*, INetCfgBindingPath*) noexcept override;

 private:
  /// A getter of a text for the caller to free. `read` gives the text; an empty one is E_FAIL unless `mayBeEmpty`.
  template <typename Read>
  HRESULT GiveText(const wchar_t* method, LPWSTR* text, bool mayBeEmpty, Read read) noexcept;
  template <typename Type>
  HRESULT Give(const wchar_t* method, Type* out, const Type& value) noexcept;
  HRESULT NotImplemented(const wchar_t* method) noexcept;
  std::wstring DisplayName() const;
  bool HasDeviceKey() const;

  const ComponentPointer m_record;
};

}  // namespace lab
