// The enumerators of the network configuration: each walks over what was there when it was made.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <vector>

#include "lab/netcfg/netcfgobject.h"

namespace lab {

template <typename Enumerator, typename Element>
class NetCfgEnumerator final : public NetCfgObject<Enumerator> {
 public:
  using Elements = std::vector<Microsoft::WRL::ComPtr<Element>>;

  /// `next` and `reset` are the names of the calls.
  NetCfgEnumerator(SessionPointer session, const wchar_t* next, const wchar_t* reset, Elements elements)
      : NetCfgObject<Enumerator>(std::move(session)),
        m_nextName(next),
        m_resetName(reset),
        m_elements(std::move(elements)) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, Element** elements, ULONG* fetched) noexcept override {
    if (fetched != nullptr) *fetched = 0;
    if (count > 1 && fetched == nullptr) return E_POINTER;
    return this->Ask(m_nextName, Needs::kInitialized, With(count), elements, [&] {
      ULONG given = 0;
      for (; given < count && m_next < m_elements.size(); ++given) m_elements[m_next++].CopyTo(&elements[given]);
      if (fetched != nullptr) *fetched = given;
      return given == count ? S_OK : S_FALSE;
    });
  }
  HRESULT STDMETHODCALLTYPE Reset() noexcept override {
    return this->m_session->Call(m_resetName, Needs::kInitialized, With(), [&] {
      m_next = 0;
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(Enumerator**) noexcept override { return E_NOTIMPL; }

 private:
  const wchar_t* const m_nextName;
  const wchar_t* const m_resetName;
  const Elements m_elements;
  std::size_t m_next = 0;
};

}  // namespace lab
