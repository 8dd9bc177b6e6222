// The enumerators of the network configuration: each walks over what was there when it was made.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <vector>

#include "lab/netcfg/netcfgobject.h"

namespace lab {

/// Under which names an enumerator's calls are recorded.
struct EnumeratorNames {
  const wchar_t* next;
  const wchar_t* reset;
};
template <typename Enumerator>
inline constexpr EnumeratorNames kEnumeratorNames = {};
template <>
inline constexpr EnumeratorNames kEnumeratorNames<IEnumNetCfgComponent> = {L"IEnumNetCfgComponent::Next",
                                                                           L"IEnumNetCfgComponent::Reset"};
template <>
inline constexpr EnumeratorNames kEnumeratorNames<IEnumNetCfgBindingPath> = {L"IEnumNetCfgBindingPath::Next",
                                                                             L"IEnumNetCfgBindingPath::Reset"};
template <>
inline constexpr EnumeratorNames kEnumeratorNames<IEnumNetCfgBindingInterface> = {
    L"IEnumNetCfgBindingInterface::Next", L"IEnumNetCfgBindingInterface::Reset"};

template <typename Enumerator, typename Element>
class NetCfgEnumerator final : public NetCfgObject<Enumerator> {
 public:
  using Elements = std::vector<Microsoft::WRL::ComPtr<Element>>;

  NetCfgEnumerator(SessionPointer session, Elements elements)
      : NetCfgObject<Enumerator>(std::move(session)), m_elements(std::move(elements)) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, Element** elements, ULONG* fetched) noexcept override {
    if (fetched != nullptr) *fetched = 0;
    if (count > 1 && fetched == nullptr) return E_POINTER;
    return this->Ask(
        kEnumeratorNames<Enumerator>.next, Needs::kInitialized, elements,
        [&] {
          ULONG given = 0;
          for (; given < count && m_next < m_elements.size(); ++given) m_elements[m_next++].CopyTo(&elements[given]);
          if (fetched != nullptr) *fetched = given;
          return given == count ? S_OK : S_FALSE;
        },
        count);
  }
  HRESULT STDMETHODCALLTYPE Reset() noexcept override {
    return this->m_session->Call(kEnumeratorNames<Enumerator>.reset, Needs::kInitialized, [&] {
      m_next = 0;
      return S_OK;
    });
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG) noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(Enumerator**) noexcept override { return E_NOTIMPL; }

 private:
  const Elements m_elements;
  std::size_t m_next = 0;
};

}  // namespace lab
