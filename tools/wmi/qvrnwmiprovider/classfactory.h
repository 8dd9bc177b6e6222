#pragma once

#include <windows.h>

#include <unknwn.h>

#include <atomic>

namespace qvrn {

/// Creates provider objects. Starts with no reference; not counted as a live object.
class ClassFactory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) noexcept override;
  ULONG STDMETHODCALLTYPE AddRef() noexcept override;
  ULONG STDMETHODCALLTYPE Release() noexcept override;
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) noexcept override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override;

 private:
  ~ClassFactory() = default;
  friend HRESULT CreateClassFactory(REFIID riid, void** ppv) noexcept;

  std::atomic<ULONG> m_references{0};
};

/// A new factory's `riid`. E_OUTOFMEMORY, or the failure of QueryInterface.
HRESULT CreateClassFactory(REFIID riid, void** ppv) noexcept;

}  // namespace qvrn
