// Class objects that forward to another one, and say or fail what a test wants.
#pragma once

#include <wrl/client.h>

#include <atomic>
#include <functional>
#include <string>

#include "platform/wmi.h"

namespace tests {

/// Forwards every method to `target`. Lives on the stack of a test.
class ForwardingObject : public IWbemClassObject {
 public:
  explicit ForwardingObject(IWbemClassObject* target) : m_target(target) {}

  /// Called before each Get. A failure is the result; a value that it fills is the answer.
  std::function<HRESULT(const std::wstring& name, VARIANT* value)> onGet;
  /// A failure is that of every SpawnInstance.
  HRESULT spawnResult = S_OK;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) noexcept override {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return --m_references; }
  HRESULT STDMETHODCALLTYPE GetQualifierSet(IWbemQualifierSet** set) noexcept override {
    return m_target->GetQualifierSet(set);
  }
  HRESULT STDMETHODCALLTYPE Get(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE* type,
                                LONG* flavor) noexcept override {
    const HRESULT hr = onGet ? onGet(name, value) : S_OK;
    if (FAILED(hr) || value->vt != VT_EMPTY) return hr;
    return m_target->Get(name, flags, value, type, flavor);
  }
  HRESULT STDMETHODCALLTYPE Put(LPCWSTR name, LONG flags, VARIANT* value, CIMTYPE type) noexcept override {
    return m_target->Put(name, flags, value, type);
  }
  HRESULT STDMETHODCALLTYPE Delete(LPCWSTR name) noexcept override { return m_target->Delete(name); }
  HRESULT STDMETHODCALLTYPE GetNames(LPCWSTR qualifier, LONG flags, VARIANT* value,
                                     SAFEARRAY** names) noexcept override {
    return m_target->GetNames(qualifier, flags, value, names);
  }
  HRESULT STDMETHODCALLTYPE BeginEnumeration(LONG flags) noexcept override { return m_target->BeginEnumeration(flags); }
  HRESULT STDMETHODCALLTYPE Next(LONG flags, BSTR* name, VARIANT* value, CIMTYPE* type,
                                 LONG* flavor) noexcept override {
    return m_target->Next(flags, name, value, type, flavor);
  }
  HRESULT STDMETHODCALLTYPE EndEnumeration() noexcept override { return m_target->EndEnumeration(); }
  HRESULT STDMETHODCALLTYPE GetPropertyQualifierSet(LPCWSTR name, IWbemQualifierSet** set) noexcept override {
    return m_target->GetPropertyQualifierSet(name, set);
  }
  HRESULT STDMETHODCALLTYPE Clone(IWbemClassObject** copy) noexcept override { return m_target->Clone(copy); }
  HRESULT STDMETHODCALLTYPE GetObjectText(LONG flags, BSTR* text) noexcept override {
    return m_target->GetObjectText(flags, text);
  }
  HRESULT STDMETHODCALLTYPE SpawnDerivedClass(LONG flags, IWbemClassObject** object) noexcept override {
    return m_target->SpawnDerivedClass(flags, object);
  }
  HRESULT STDMETHODCALLTYPE SpawnInstance(LONG flags, IWbemClassObject** object) noexcept override {
    return spawnResult == S_OK ? m_target->SpawnInstance(flags, object) : spawnResult;
  }
  HRESULT STDMETHODCALLTYPE CompareTo(LONG flags, IWbemClassObject* other) noexcept override {
    return m_target->CompareTo(flags, other);
  }
  HRESULT STDMETHODCALLTYPE GetPropertyOrigin(LPCWSTR name, BSTR* origin) noexcept override {
    return m_target->GetPropertyOrigin(name, origin);
  }
  HRESULT STDMETHODCALLTYPE InheritsFrom(LPCWSTR ancestor) noexcept override {
    return m_target->InheritsFrom(ancestor);
  }
  HRESULT STDMETHODCALLTYPE GetMethod(LPCWSTR name, LONG flags, IWbemClassObject** in,
                                      IWbemClassObject** out) noexcept override {
    return m_target->GetMethod(name, flags, in, out);
  }
  HRESULT STDMETHODCALLTYPE PutMethod(LPCWSTR name, LONG flags, IWbemClassObject* in,
                                      IWbemClassObject* out) noexcept override {
    return m_target->PutMethod(name, flags, in, out);
  }
  HRESULT STDMETHODCALLTYPE DeleteMethod(LPCWSTR name) noexcept override { return m_target->DeleteMethod(name); }
  HRESULT STDMETHODCALLTYPE BeginMethodEnumeration(LONG flags) noexcept override {
    return m_target->BeginMethodEnumeration(flags);
  }
  HRESULT STDMETHODCALLTYPE NextMethod(LONG flags, BSTR* name, IWbemClassObject** in,
                                       IWbemClassObject** out) noexcept override {
    return m_target->NextMethod(flags, name, in, out);
  }
  HRESULT STDMETHODCALLTYPE EndMethodEnumeration() noexcept override { return m_target->EndMethodEnumeration(); }
  HRESULT STDMETHODCALLTYPE GetMethodQualifierSet(LPCWSTR name, IWbemQualifierSet** set) noexcept override {
    return m_target->GetMethodQualifierSet(name, set);
  }
  HRESULT STDMETHODCALLTYPE GetMethodOrigin(LPCWSTR name, BSTR* origin) noexcept override {
    return m_target->GetMethodOrigin(name, origin);
  }

 private:
  Microsoft::WRL::ComPtr<IWbemClassObject> m_target;
  std::atomic<ULONG> m_references{0};
};

}  // namespace tests
