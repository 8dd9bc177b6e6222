#include "lab/netcfg/netcfg.h"

#include <netcfgx.h>

#include <atomic>
#include <memory>

#include "lab/netcfg/netcfgclass.h"
#include "lab/netcfg/netcfgcomponent.h"
#include "lab/netcfg/netcfgobject.h"

namespace lab {
namespace {

std::atomic<long> g_references{0};

class NetCfg final : public NetCfgObject<INetCfg, INetCfgLock> {
 public:
  NetCfg() : NetCfgObject(std::make_shared<NetCfgSession>()) { ++g_references; }

  ULONG STDMETHODCALLTYPE AddRef() noexcept override {
    ++g_references;
    return NetCfgObject::AddRef();
  }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    --g_references;
    return NetCfgObject::Release();
  }

  HRESULT STDMETHODCALLTYPE Initialize(PVOID) noexcept override {
    return m_session->Call(L"INetCfg::Initialize", Needs::kNothing, With(), [&] {
      if (m_session->IsInitialized()) return NETCFG_E_ALREADY_INITIALIZED;
      m_session->Initialize();
      return S_OK;
    });
  }

  HRESULT STDMETHODCALLTYPE Uninitialize() noexcept override {
    return m_session->Call(L"INetCfg::Uninitialize", Needs::kInitialized, With(), [&] {
      m_session->Uninitialize();
      return S_OK;
    });
  }

  /// Changes are written when they are made, so that there is nothing left to do here.
  HRESULT STDMETHODCALLTYPE Apply() noexcept override {
    return m_session->Call(L"INetCfg::Apply", Needs::kWriteLock, With(), [] { return S_OK; });
  }

  HRESULT STDMETHODCALLTYPE EnumComponents(const GUID* classGuid, IEnumNetCfgComponent** components) noexcept override {
    if (classGuid == nullptr) return E_POINTER;
    const NetworkClass* const networkClass = FindNetworkClass(*classGuid);
    return Ask(L"INetCfg::EnumComponents", Needs::kInitialized, With(*classGuid), components, [&] {
      return networkClass == nullptr ? E_INVALIDARG : Give(components, ComponentsOf(m_session, *networkClass));
    });
  }

  /// S_FALSE when there is none.
  HRESULT STDMETHODCALLTYPE FindComponent(LPCWSTR id, INetCfgComponent** component) noexcept override {
    if (component != nullptr) *component = nullptr;
    return m_session->Call(L"INetCfg::FindComponent", Needs::kInitialized, With(id), [&] {
      if (id == nullptr) return E_INVALIDARG;
      const ComponentPointer found = m_session->Find(id);
      return found == nullptr ? S_FALSE : Give(component, MakeComponent(m_session, found));
    });
  }

  HRESULT STDMETHODCALLTYPE QueryNetCfgClass(const GUID* classGuid, REFIID iid, void** object) noexcept override {
    if (classGuid == nullptr) return E_POINTER;
    const NetworkClass* const networkClass = FindNetworkClass(*classGuid);
    return Ask(L"INetCfg::QueryNetCfgClass", Needs::kInitialized, With(*classGuid, iid), object, [&] {
      return networkClass == nullptr ? E_INVALIDARG : QueryClass(m_session, *networkClass, iid, object);
    });
  }

  HRESULT STDMETHODCALLTYPE AcquireWriteLock(DWORD timeout, LPCWSTR client, LPWSTR* holder) noexcept override {
    if (holder != nullptr) *holder = nullptr;
    return m_session->Call(L"INetCfgLock::AcquireWriteLock", Needs::kNothing, With(timeout, client), [&] {
      if (client == nullptr) return E_INVALIDARG;
      if (m_session->IsInitialized()) return NETCFG_E_ALREADY_INITIALIZED;
      std::wstring name;
      const HRESULT hr = m_session->Lock().Acquire(timeout, client, name);
      if (hr == S_FALSE && holder != nullptr) Give(holder, name);
      return hr;
    });
  }

  HRESULT STDMETHODCALLTYPE ReleaseWriteLock() noexcept override {
    return m_session->Call(L"INetCfgLock::ReleaseWriteLock", Needs::kNothing, With(), [&] {
      if (!m_session->Lock().IsHeld()) return NETCFG_E_NO_WRITE_LOCK;
      m_session->Lock().Release();
      return S_OK;
    });
  }

  HRESULT STDMETHODCALLTYPE Cancel() noexcept override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE IsWriteLocked(LPWSTR*) noexcept override { return E_NOTIMPL; }
};

class NetCfgFactory final : public Unknown<IClassFactory> {
 public:
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept override try {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    return Make<NetCfg>()->Hand(iid, object);
  } catch (...) {
    return qvrn::HresultFromCurrentException();
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) noexcept override { return S_OK; }
};

}  // namespace

IClassFactory* NetCfgClassFactory() {
  static NetCfgFactory& factory = *new NetCfgFactory;
  return &factory;
}

long LiveNetCfgObjects() { return CountedNetCfg::Live(); }

long NetCfgReferences() { return g_references; }

}  // namespace lab
