#include "lab/netcfg/netcfgcomponent.h"

#include "lab/netcfg/netcfgbindings.h"
#include "platform/registrykey.h"

namespace lab {
namespace {

using qvrn::HrFromWin32;
using qvrn::RegistryKey;

constexpr ULONG kDeviceNotThere = 24;  // CM_PROB_DEVICE_NOT_THERE

/// A text value below HKEY_LOCAL_MACHINE; empty when it is absent.
std::wstring ReadMachineText(const std::wstring& path, const wchar_t* name) {
  RegistryKey key;
  wchar_t text[qvrn::kPathChars];
  if (key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_QUERY_VALUE) != ERROR_SUCCESS) return {};
  return key.ReadText(name, text) == ERROR_SUCCESS ? text : L"";
}

DWORD ReadMachineNumber(const std::wstring& path, const wchar_t* name) {
  DWORD number = 0;
  DWORD bytes = sizeof(number);
  const LSTATUS status =
      ::RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, RRF_RT_REG_DWORD, nullptr, &number, &bytes);
  return status == ERROR_SUCCESS ? number : 0;
}

}  // namespace

template <typename Read>
HRESULT NetCfgComponent::GiveText(const wchar_t* method, LPWSTR* text, bool mayBeEmpty, Read read) noexcept {
  if (text == nullptr) return E_POINTER;
  *text = nullptr;
  return m_session->Call(
      method, Needs::kNothing,
      [&] {
        const std::wstring found = read();
        if (found.empty() && !mayBeEmpty) return E_FAIL;
        *text = TaskCopy(found);
        return S_OK;
      },
      m_record->instance);
}

template <typename Type>
HRESULT NetCfgComponent::Give(const wchar_t* method, Type* out, const Type& value) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = Type{};
  return m_session->Call(
      method, Needs::kNothing,
      [&] {
        *out = value;
        return S_OK;
      },
      m_record->instance);
}

HRESULT NetCfgComponent::GetDisplayName(LPWSTR* name) noexcept {
  return GiveText(L"INetCfgComponent::GetDisplayName", name, true, [this] { return DisplayName(); });
}

HRESULT NetCfgComponent::SetDisplayName(LPCWSTR name) noexcept {
  return m_session->Call(
      L"INetCfgComponent::SetDisplayName", Needs::kWriteLock,
      [&] {
        if (name == nullptr) return E_INVALIDARG;
        RegistryKey key;
        const bool hasDevice = HasDeviceKey();
        const std::wstring path = hasDevice ? m_record->DeviceKeyPath() : m_record->keyPath;
        const LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, path.c_str(), KEY_SET_VALUE);
        if (status != ERROR_SUCCESS) return HrFromWin32(status);
        return HrFromWin32(key.WriteText(hasDevice ? L"FriendlyName" : L"DriverDesc", name));
      },
      m_record->instance, name);
}

HRESULT NetCfgComponent::GetHelpText(LPWSTR* text) noexcept {
  return GiveText(L"INetCfgComponent::GetHelpText", text, true,
                  [this] { return ReadMachineText(m_record->keyPath, L"HelpText"); });
}

HRESULT NetCfgComponent::GetId(LPWSTR* id) noexcept {
  return GiveText(L"INetCfgComponent::GetId", id, true, [this] { return m_record->id; });
}

HRESULT NetCfgComponent::GetCharacteristics(LPDWORD characteristics) noexcept {
  return Give(L"INetCfgComponent::GetCharacteristics", characteristics,
              ReadMachineNumber(m_record->keyPath, L"Characteristics"));
}

HRESULT NetCfgComponent::GetInstanceGuid(GUID* guid) noexcept {
  return Give(L"INetCfgComponent::GetInstanceGuid", guid, m_record->instance);
}

HRESULT NetCfgComponent::GetPnpDevNodeId(LPWSTR* id) noexcept {
  return GiveText(L"INetCfgComponent::GetPnpDevNodeId", id, false, [this] { return m_record->deviceId; });
}

HRESULT NetCfgComponent::GetClassGuid(GUID* guid) noexcept {
  return Give(L"INetCfgComponent::GetClassGuid", guid, m_record->networkClass->guid);
}

HRESULT NetCfgComponent::GetBindName(LPWSTR* name) noexcept {
  return GiveText(L"INetCfgComponent::GetBindName", name, false, [this] { return GuidText(m_record->instance); });
}

HRESULT NetCfgComponent::GetDeviceStatus(ULONG* status) noexcept {
  if (status == nullptr) return E_POINTER;
  *status = 0;
  return m_session->Call(
      L"INetCfgComponent::GetDeviceStatus", Needs::kNothing,
      [&] {
        if (HasDeviceKey()) return S_OK;
        *status = kDeviceNotThere;
        return static_cast<HRESULT>(SPAPI_E_NO_SUCH_DEVINST);
      },
      m_record->instance);
}

HRESULT NetCfgComponent::OpenParamKey(HKEY* key) noexcept {
  if (key == nullptr) return E_POINTER;
  *key = nullptr;
  return m_session->Call(
      L"INetCfgComponent::OpenParamKey", Needs::kNothing,
      [&] {
        return HrFromWin32(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, m_record->keyPath.c_str(), 0, KEY_ALL_ACCESS, key));
      },
      m_record->instance);
}

HRESULT NetCfgComponent::RaisePropertyUi(HWND, DWORD, IUnknown*) noexcept {
  return NotImplemented(L"INetCfgComponent::RaisePropertyUi");
}

HRESULT NetCfgComponent::EnumBindingPaths(DWORD flags, IEnumNetCfgBindingPath** paths) noexcept {
  if (paths == nullptr) return E_POINTER;
  *paths = nullptr;
  return m_session->Call(
      L"INetCfgComponentBindings::EnumBindingPaths", Needs::kInitialized,
      [&] { return EnumerateBindingPaths(m_session, m_record, flags, paths); }, m_record->instance, flags);
}

HRESULT NetCfgComponent::BindTo(INetCfgComponent*) noexcept {
  return NotImplemented(L"INetCfgComponentBindings::BindTo");
}

HRESULT NetCfgComponent::UnbindFrom(INetCfgComponent*) noexcept {
  return NotImplemented(L"INetCfgComponentBindings::UnbindFrom");
}

HRESULT NetCfgComponent::SupportsBindingInterface(DWORD, LPCWSTR) noexcept {
  return NotImplemented(L"INetCfgComponentBindings::SupportsBindingInterface");
}

HRESULT NetCfgComponent::IsBoundTo(INetCfgComponent*) noexcept {
  return NotImplemented(L"INetCfgComponentBindings::IsBoundTo");
}

HRESULT NetCfgComponent::IsBindableTo(INetCfgComponent*) noexcept {
  return NotImplemented(L"INetCfgComponentBindings::IsBindableTo");
}

HRESULT NetCfgComponent::MoveBefore(INetCfgBindingPath*, INetCfgBindingPath*) noexcept {
  return NotImplemented(L"INetCfgComponentBindings::MoveBefore");
}

HRESULT NetCfgComponent::MoveAfter(INetCfgBindingPath*, INetCfgBindingPath*) noexcept {
  return NotImplemented(L"INetCfgComponentBindings::MoveAfter");
}

HRESULT NetCfgComponent::NotImplemented(const wchar_t* method) noexcept {
  return m_session->Call(
      method, Needs::kNothing, [] { return E_NOTIMPL; }, m_record->instance);
}

std::wstring NetCfgComponent::DisplayName() const {
  if (!m_record->deviceId.empty()) {
    std::wstring friendlyName = ReadMachineText(m_record->DeviceKeyPath(), L"FriendlyName");
    if (!friendlyName.empty()) return friendlyName;
  }
  return ReadMachineText(m_record->keyPath, L"DriverDesc");
}

bool NetCfgComponent::HasDeviceKey() const {
  RegistryKey key;
  return !m_record->deviceId.empty() &&
         key.Open(HKEY_LOCAL_MACHINE, m_record->DeviceKeyPath().c_str(), KEY_QUERY_VALUE) == ERROR_SUCCESS;
}

}  // namespace lab
