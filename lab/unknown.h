// What the lab's COM objects have in common: reference counting, interfaces, and how many of a kind are alive.
#pragma once

#include <windows.h>

#include <unknwn.h>
#include <wrl/client.h>

#include <atomic>
#include <utility>

namespace lab {

/// An object with the interfaces `First` and `Rest`; IUnknown is First's. Lives on the heap, is born with one reference
/// and deletes itself with the last; Make gives the first to its owner.
template <typename First, typename... Rest>
class Unknown : public First, public Rest... {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    const IID& wanted = id == __uuidof(IUnknown) ? __uuidof(First) : id;
    if (!(Offer<First>(wanted, object) || ... || Offer<Rest>(wanted, object))) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    const ULONG references = --m_references;
    if (references == 0) delete this;
    return references;
  }

 protected:
  virtual ~Unknown() = default;

 private:
  template <typename Interface>
  bool Offer(REFIID id, void** object) noexcept {
    if (id != __uuidof(Interface)) return false;
    *object = static_cast<Interface*>(this);
    return true;
  }

  std::atomic<ULONG> m_references{1};
};

/// A new object with its owner. ComPtr::Attach would not do: with this compiler's headers it adds a reference.
template <typename Object, typename... Arguments>
Microsoft::WRL::ComPtr<Object> Make(Arguments&&... arguments) {
  Microsoft::WRL::ComPtr<Object> owner;
  *owner.GetAddressOf() = new Object(std::forward<Arguments>(arguments)...);
  return owner;
}

/// A base, besides Unknown, of the classes whose objects count as one kind; `Kind` need not be defined.
template <typename Kind>
class Counted {
 public:
  /// Objects that are alive in the process.
  static long Live() noexcept { return s_live; }

 protected:
  Counted() noexcept { ++s_live; }
  ~Counted() { --s_live; }

 private:
  static inline std::atomic<long> s_live{0};
};

}  // namespace lab
