#include "lab/netcfg/netcfgcomponent.h"

#include "lab/labkey.h"
#include "lab/netcfg/netcfgbindings.h"
#include "lab/netcfg/netcfgobject.h"

namespace lab {
namespace {

constexpr ULONG kDeviceNotThere = 24;  // CM_PROB_DEVICE_NOT_THERE

class NetCfgComponent final : public NetCfgObject<INetCfgComponent, INetCfgComponentBindings> {
 public:
  NetCfgComponent(SessionPointer session, ComponentPointer record)
      : NetCfgObject(std::move(session)), m_record(std::move(record)) {}

  const ComponentRecord& Record() const noexcept { return *m_record; }

  HRESULT STDMETHODCALLTYPE GetDisplayName(LPWSTR* name) noexcept override {
    return Tell(L"INetCfgComponent::GetDisplayName", name, [&] { return Give(name, DisplayName()); });
  }
  HRESULT STDMETHODCALLTYPE SetDisplayName(LPCWSTR name) noexcept override {
    return m_session->Call(L"INetCfgComponent::SetDisplayName", Needs::kWriteLock, With(m_record->instance, name),
                           [&] { return name == nullptr ? E_INVALIDARG : qvrn::HrFromWin32(WriteDisplayName(name)); });
  }
  HRESULT STDMETHODCALLTYPE GetId(LPWSTR* id) noexcept override {
    return Tell(L"INetCfgComponent::GetId", id, [&] { return Give(id, m_record->id); });
  }
  HRESULT STDMETHODCALLTYPE GetInstanceGuid(GUID* guid) noexcept override {
    return Tell(L"INetCfgComponent::GetInstanceGuid", guid, [&] { return Give(guid, m_record->instance); });
  }
  HRESULT STDMETHODCALLTYPE GetPnpDevNodeId(LPWSTR* id) noexcept override {
    return Tell(L"INetCfgComponent::GetPnpDevNodeId", id,
                [&] { return m_record->deviceId.empty() ? E_FAIL : Give(id, m_record->deviceId); });
  }
  HRESULT STDMETHODCALLTYPE GetBindName(LPWSTR* name) noexcept override {
    return Tell(L"INetCfgComponent::GetBindName", name, [&] { return Give(name, GuidText(m_record->instance)); });
  }
  HRESULT STDMETHODCALLTYPE GetDeviceStatus(ULONG* status) noexcept override {
    return Tell(L"INetCfgComponent::GetDeviceStatus", status, [&] {
      if (HasDeviceKey()) return S_OK;
      *status = kDeviceNotThere;
      return static_cast<HRESULT>(SPAPI_E_NO_SUCH_DEVINST);
    });
  }
  HRESULT STDMETHODCALLTYPE OpenParamKey(HKEY* key) noexcept override {
    return Tell(L"INetCfgComponent::OpenParamKey", key, [&] {
      return qvrn::HrFromWin32(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, m_record->keyPath.c_str(), 0, KEY_ALL_ACCESS, key));
    });
  }
  HRESULT STDMETHODCALLTYPE EnumBindingPaths(DWORD flags, IEnumNetCfgBindingPath** paths) noexcept override {
    return Ask(L"INetCfgComponentBindings::EnumBindingPaths", Needs::kInitialized, With(m_record->instance, flags),
               paths,
               [&] { return flags == EBP_ABOVE ? Give(paths, BindingPathsAbove(m_session, m_record)) : E_NOTIMPL; });
  }

  HRESULT STDMETHODCALLTYPE GetHelpText(LPWSTR*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetCharacteristics(LPDWORD) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetClassGuid(GUID*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE RaisePropertyUi(HWND, DWORD, IUnknown*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE BindTo(INetCfgComponent*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE UnbindFrom(INetCfgComponent*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SupportsBindingInterface(DWORD, LPCWSTR) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsBoundTo(INetCfgComponent*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsBindableTo(INetCfgComponent*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE MoveBefore(INetCfgBindingPath*, INetCfgBindingPath*) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE MoveAfter(INetCfgBindingPath*, INetCfgBindingPath*) noexcept override { return E_NOTIMPL; }

 private:
  template <typename Type, typename Body>
  HRESULT Tell(const wchar_t* method, Type* out, const Body& body) noexcept {
    return Ask(method, Needs::kNothing, With(m_record->instance), out, body);
  }

  bool HasDeviceKey() const {
    qvrn::RegistryKey key;
    return !m_record->deviceId.empty() &&
           key.Open(HKEY_LOCAL_MACHINE, m_record->DeviceKeyPath().c_str(), KEY_QUERY_VALUE) == ERROR_SUCCESS;
  }
  std::wstring DisplayName() const {
    const std::wstring name =
        m_record->deviceId.empty() ? L"" : MachineText(m_record->DeviceKeyPath(), L"FriendlyName");
    return name.empty() ? MachineText(m_record->keyPath, L"DriverDesc") : name;
  }
  LSTATUS WriteDisplayName(const wchar_t* name) const {
    qvrn::RegistryKey key;
    const bool isOfDevice = HasDeviceKey();
    const std::wstring path = isOfDevice ? m_record->DeviceKeyPath() : m_record->keyPath;
    const LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_SET_VALUE);
    return status != ERROR_SUCCESS ? status : key.WriteText(isOfDevice ? L"FriendlyName" : L"DriverDesc", name);
  }

  const ComponentPointer m_record;
};

}  // namespace

Microsoft::WRL::ComPtr<INetCfgComponent> MakeComponent(const SessionPointer& session, ComponentPointer record) {
  return Make<NetCfgComponent>(session, std::move(record));
}

const ComponentRecord& RecordOf(INetCfgComponent& component) noexcept {
  return static_cast<NetCfgComponent&>(component).Record();
}

}  // namespace lab
