// What the COM objects of a client's session with the network configuration have in common.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <memory>
#include <utility>

#include "lab/netcfg/netcfgsession.h"
#include "lab/unknown.h"

namespace lab {

using SessionPointer = std::shared_ptr<NetCfgSession>;

/// The kind that LiveNetCfgObjects counts.
using CountedNetCfg = Counted<struct NetCfgObjects>;

/// Under which name a client's query for a second interface of an object is recorded.
template <typename Interface>
inline constexpr const wchar_t* kQueryName = nullptr;
template <>
inline constexpr const wchar_t* kQueryName<INetCfgLock> = L"INetCfg::QueryInterface(INetCfgLock)";
template <>
inline constexpr const wchar_t* kQueryName<INetCfgClassSetup> = L"INetCfgClass::QueryInterface(INetCfgClassSetup)";
template <>
inline constexpr const wchar_t* kQueryName<INetCfgComponentBindings> =
    L"INetCfgComponent::QueryInterface(INetCfgComponentBindings)";

// Only the session's objects know it, so an answer tells that an object is one of them.
// {6C0E1D53-97B2-4F3A-8A14-D5E02B7C4F68}
inline constexpr IID kOwnNetCfgObject = {0x6c0e1d53, 0x97b2, 0x4f3a, {0x8a, 0x14, 0xd5, 0xe0, 0x2b, 0x7c, 0x4f, 0x68}};

/// An object of the session. Queries for the interfaces `Rest` are calls that are recorded and can be made to fail; the
/// others are not.
template <typename First, typename... Rest>
class NetCfgObject : public Unknown<First, Rest...>, private CountedNetCfg {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    const wchar_t* name = nullptr;
    ((id == __uuidof(Rest) ? void(name = kQueryName<Rest>) : void()), ...);
    if (name == nullptr) return Hand(id, object);
    *object = nullptr;
    return m_session->Call(name, Needs::kNothing, [&] { return Hand(id, object); });
  }

  /// QueryInterface as a part of another call.
  HRESULT Hand(REFIID id, void** object) noexcept {
    return Unknown<First, Rest...>::QueryInterface(id == kOwnNetCfgObject ? __uuidof(First) : id, object);
  }

 protected:
  explicit NetCfgObject(SessionPointer session) noexcept : m_session(std::move(session)) {}

  const SessionPointer m_session;
};

/// The object of the class `Object`, the only one here whose first interface is `First`, behind an interface that a
/// client handed in; null for one that is not the lab's.
template <typename Object, typename First>
Microsoft::WRL::ComPtr<Object> Own(First* object) noexcept {
  Microsoft::WRL::ComPtr<Object> owner;
  void* own = nullptr;
  if (object != nullptr && SUCCEEDED(object->QueryInterface(kOwnNetCfgObject, &own))) {
    *owner.GetAddressOf() = static_cast<Object*>(static_cast<First*>(own));
  }
  return owner;
}

}  // namespace lab
