// IUnknown for objects that have one interface besides it.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>

namespace lab {

/// Lives on the heap, is born with one reference and deletes itself with the last (see Adopt).
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

}  // namespace lab
