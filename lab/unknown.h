// IUnknown for objects that have one interface besides it.
#pragma once

#include <windows.h>

#include <unknwn.h>
#include <wrl/client.h>

#include <atomic>
#include <utility>

namespace lab {

/// Lives on the heap, is born with one reference and deletes itself with the last; Make gives the first to its owner.
template <typename Interface>
class Unknown : public Interface {
 public:
  Unknown() noexcept = default;
  Unknown(const Unknown&) = delete;
  Unknown& operator=(const Unknown&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    const bool known = id == __uuidof(IUnknown) || id == __uuidof(Interface);
    *object = known ? static_cast<Interface*>(this) : nullptr;
    if (known) AddRef();
    return known ? S_OK : E_NOINTERFACE;
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
  std::atomic<ULONG> m_references{1};
};

/// A new object with its owner. ComPtr::Attach would not do: with this compiler's headers it adds a reference.
template <typename Object, typename... Arguments>
Microsoft::WRL::ComPtr<Object> Make(Arguments&&... arguments) {
  Microsoft::WRL::ComPtr<Object> owner;
  *owner.GetAddressOf() = new Object(std::forward<Arguments>(arguments)...);
  return owner;
}

}  // namespace lab
