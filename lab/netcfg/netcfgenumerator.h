// The enumerators of the network configuration: each walks over a snapshot.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <algorithm>
#include <vector>

#include "lab/netcfg/netcfgobject.h"

namespace lab {

/// `Kind` says what is enumerated:
///   Enumerator, Element   interfaces of the enumerator and of what it gives
///   Item                  what the snapshot holds
///   kNext, kSkip, kReset, kClone   names of the calls
///   Wrap(session, item)   an element's object with its owner
template <typename Kind>
class NetCfgEnumerator final : public NetCfgObject<typename Kind::Enumerator> {
 public:
  using Element = typename Kind::Element;
  using Items = std::vector<typename Kind::Item>;

  NetCfgEnumerator(SessionPointer session, Items items, std::size_t next = 0)
      : NetCfgObject<typename Kind::Enumerator>(std::move(session)), m_items(std::move(items)), m_next(next) {}

  HRESULT STDMETHODCALLTYPE Next(ULONG count, Element** elements, ULONG* fetched) noexcept override {
    if (fetched != nullptr) *fetched = 0;
    if (elements == nullptr || (count > 1 && fetched == nullptr)) return E_POINTER;
    std::fill_n(elements, count, nullptr);
    return this->m_session->Call(
        Kind::kNext, Needs::kInitialized,
        [&] {
          std::vector<Microsoft::WRL::ComPtr<Element>> made;
          while (made.size() < count && m_next + made.size() < m_items.size()) {
            made.push_back(Kind::Wrap(this->m_session, m_items[m_next + made.size()]));
          }
          m_next += made.size();
          for (auto& element : made) *elements++ = element.Detach();
          if (fetched != nullptr) *fetched = static_cast<ULONG>(made.size());
          return made.size() == count ? S_OK : S_FALSE;
        },
        count);
  }

  HRESULT STDMETHODCALLTYPE Skip(ULONG count) noexcept override {
    return this->m_session->Call(
        Kind::kSkip, Needs::kInitialized,
        [&] {
          const std::size_t skipped = std::min<std::size_t>(count, m_items.size() - m_next);
          m_next += skipped;
          return skipped == count ? S_OK : S_FALSE;
        },
        count);
  }

  HRESULT STDMETHODCALLTYPE Reset() noexcept override {
    return this->m_session->Call(Kind::kReset, Needs::kInitialized, [&] {
      m_next = 0;
      return S_OK;
    });
  }

  HRESULT STDMETHODCALLTYPE Clone(typename Kind::Enumerator** clone) noexcept override {
    if (clone == nullptr) return E_POINTER;
    *clone = nullptr;
    return this->m_session->Call(Kind::kClone, Needs::kInitialized, [&] {
      *clone = Make<NetCfgEnumerator>(this->m_session, m_items, m_next).Detach();
      return S_OK;
    });
  }

 private:
  const Items m_items;
  std::size_t m_next;
};

}  // namespace lab
