#include "lab/netcfg/netcfg.h"

#include <netcfgx.h>

#include <atomic>
#include <memory>

#include "lab/netcfg/netcfgclass.h"
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
    return m_session->Call(L"INetCfg::Initialize", Needs::kNothing, [&] {
      if (m_session->IsInitialized()) return NETCFG_E_ALREADY_INITIALIZED;
      m_session->Initialize();
      return S_OK;
    });
  }

  HRESULT STDMETHODCALLTYPE Uninitialize() noexcept override {
    return m_session->Call(L"INetCfg::Uninitialize", Needs::kInitialized, [&] {
      m_session->Uninitialize();
      return S_OK;
    });
  }

  /// Changes are written when they are made, so that there is nothing left to do here.
  HRESULT STDMETHODCALLTYPE Apply() noexcept override {
    return m_session->Call(L"INetCfg::Apply", Needs::kWriteLock, [] { return S_OK; });
  }

  /// For the same reason nothing can be taken back.
  HRESULT STDMETHODCALLTYPE Cancel() noexcept override {
    return m_session->Call(L"INetCfg::Cancel", Needs::kWriteLock, [] { return E_NOTIMPL; });
  }

  HRESULT STDMETHODCALLTYPE EnumComponents(const GUID* classGuid, IEnumNetCfgComponent** enumerator) noexcept override {
    if (classGuid == nullptr || enumerator == nullptr) return E_POINTER;
    *enumerator = nullptr;
    return m_session->Call(
        L"INetCfg::EnumComponents", Needs::kInitialized,
        [&] { return EnumerateComponents(m_session, *classGuid, enumerator); }, *classGuid);
  }

  HRESULT STDMETHODCALLTYPE FindComponent(LPCWSTR id, INetCfgComponent** component) noexcept override {
    if (component != nullptr) *component = nullptr;
    return m_session->Call(
        L"INetCfg::FindComponent", Needs::kInitialized,
        [&] { return FindComponentById(m_session, nullptr, id, component); }, id);
  }

  HRESULT STDMETHODCALLTYPE QueryNetCfgClass(const GUID* classGuid, REFIID iid, void** object) noexcept override {
    if (classGuid == nullptr || object == nullptr) return E_POINTER;
    *object = nullptr;
    return m_session->Call(
        L"INetCfg::QueryNetCfgClass", Needs::kInitialized,
        [&]() -> HRESULT {
          if (FindNetworkClass(*classGuid) == nullptr) return E_INVALIDARG;
          return Make<NetCfgClass>(m_session, *classGuid)->Hand(iid, object);
        },
        *classGuid, iid);
  }

  HRESULT STDMETHODCALLTYPE AcquireWriteLock(DWORD timeout, LPCWSTR client, LPWSTR* holder) noexcept override {
    if (holder != nullptr) *holder = nullptr;
    return m_session->Call(
        L"INetCfgLock::AcquireWriteLock", Needs::kNothing,
        [&] {
          if (client == nullptr) return E_INVALIDARG;
          if (m_session->IsInitialized()) return NETCFG_E_ALREADY_INITIALIZED;
          std::wstring name;
          const HRESULT hr = m_session->Lock().Acquire(timeout, client, name);
          if (hr == S_FALSE && holder != nullptr) *holder = TaskCopy(name);
          return hr;
        },
        timeout, client);
  }

  HRESULT STDMETHODCALLTYPE ReleaseWriteLock() noexcept override {
    return m_session->Call(L"INetCfgLock::ReleaseWriteLock", Needs::kNothing, [&] {
      if (!m_session->Lock().IsHeld()) return NETCFG_E_NO_WRITE_LOCK;
      m_session->Lock().Release();
      return S_OK;
    });
  }

  HRESULT STDMETHODCALLTYPE IsWriteLocked(LPWSTR* holder) noexcept override {
    if (holder == nullptr) return E_POINTER;
    *holder = nullptr;
    return m_session->Call(L"INetCfgLock::IsWriteLocked", Needs::kNothing, [&] {
      std::wstring name;
      const HRESULT hr = m_session->Lock().Probe(name);
      if (hr == S_OK) *holder = TaskCopy(name);
      return hr;
    });
  }
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
