#include "tools/wmi/qvrnwmiprovider/classfactory.h"

#include <new>

#include "tools/wmi/qvrnwmiprovider/modulecounters.h"
#include "tools/wmi/qvrnwmiprovider/qvrnwmiprovider.h"

namespace qvrn {

HRESULT ClassFactory::QueryInterface(REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (riid != IID_IUnknown && riid != IID_IClassFactory) return E_NOINTERFACE;
  *ppv = static_cast<IClassFactory*>(this);
  AddRef();
  return S_OK;
}

// A plain increment, while Release is atomic: COM hands a new factory to one thread only.
ULONG ClassFactory::AddRef() noexcept {
  const ULONG references = m_references.load(std::memory_order_relaxed) + 1;
  m_references.store(references, std::memory_order_relaxed);
  return references;
}

ULONG ClassFactory::Release() noexcept {
  const ULONG references = --m_references;
  if (references == 0) delete this;
  return references;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** ppv) noexcept {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (outer != nullptr) return CLASS_E_NOAGGREGATION;
  auto* provider = new (std::nothrow) QvrnWmiProvider;
  if (provider == nullptr) return E_OUTOFMEMORY;
  const HRESULT hr = provider->QueryInterface(riid, ppv);
  if (FAILED(hr)) delete provider;
  return hr;
}

HRESULT ClassFactory::LockServer(BOOL lock) noexcept {
  if (lock) {
    LockModule();
  } else {
    UnlockModule();
  }
  return S_OK;
}

HRESULT CreateClassFactory(REFIID riid, void** ppv) noexcept {
  auto* factory = new (std::nothrow) ClassFactory;
  if (factory == nullptr) return E_OUTOFMEMORY;
  const HRESULT hr = factory->QueryInterface(riid, ppv);
  if (FAILED(hr)) delete factory;
  return hr;
}

}  // namespace qvrn
