// What the COM objects of a client's session with the network configuration have in common.
#pragma once

#include <windows.h>

#include <netcfgx.h>
#include <objbase.h>

#include <cstring>
#include <new>
#include <utility>

#include "lab/netcfg/netcfgsession.h"
#include "lab/unknown.h"

namespace lab {

/// The kind that LiveNetCfgObjects counts.
using CountedNetCfg = Counted<struct NetCfgObjects>;

/// Under which name a client's query for an object's second interface is recorded; null for any other.
inline const wchar_t* QueryName(REFIID id) noexcept {
  if (id == __uuidof(INetCfgLock)) return L"INetCfg::QueryInterface(INetCfgLock)";
  if (id == __uuidof(INetCfgClassSetup)) return L"INetCfgClass::QueryInterface(INetCfgClassSetup)";
  if (id == __uuidof(INetCfgComponentBindings)) return L"INetCfgComponent::QueryInterface(INetCfgComponentBindings)";
  return nullptr;
}

/// An object of the session. Queries for the interfaces `Rest` are calls that are recorded and can be made to fail; the
/// others are not. Methods that no client of the lab calls are E_NOTIMPL, unrecorded.
template <typename First, typename... Rest>
class NetCfgObject : public Unknown<First, Rest...>, private CountedNetCfg {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    const wchar_t* const name = QueryName(id);
    return name == nullptr ? Hand(id, object)
                           : m_session->Call(name, Needs::kNothing, With(), [&] { return Hand(id, object); });
  }

  /// QueryInterface as a part of another call.
  HRESULT Hand(REFIID id, void** object) noexcept { return Unknown<First, Rest...>::QueryInterface(id, object); }

 protected:
  explicit NetCfgObject(SessionPointer session) noexcept : m_session(std::move(session)) {}

  /// A call whose out-parameter, which must not be null, is cleared first.
  template <typename Type, typename Arguments, typename Body>
  HRESULT Ask(const wchar_t* method, Needs needs, const Arguments& arguments, Type* out, const Body& body) noexcept {
    if (out == nullptr) return E_POINTER;
    *out = {};
    return m_session->Call(method, needs, arguments, body);
  }

  const SessionPointer m_session;
};

/// The result of a call that gives something; null is for a caller that does not want it.
template <typename Type>
HRESULT Give(Type* out, const Type& value) noexcept {
  if (out != nullptr) *out = value;
  return S_OK;
}
template <typename Interface, typename Object>
HRESULT Give(Interface** out, Microsoft::WRL::ComPtr<Object> object) noexcept {
  if (out != nullptr) *out = object.Detach();
  return S_OK;
}
/// A text, for the caller to free with CoTaskMemFree.
inline HRESULT Give(wchar_t** out, const std::wstring& text) {
  const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
  *out = static_cast<wchar_t*>(::CoTaskMemAlloc(bytes));
  if (*out == nullptr) throw std::bad_alloc();
  std::memcpy(*out, text.c_str(), bytes);
  return S_OK;
}

}  // namespace lab
