// Reference counting for the COM objects of the lab's network configuration.
#pragma once

#include <windows.h>

#include <wrl/client.h>

#include <atomic>
#include <utility>

namespace lab {

/// Objects of all kinds that are alive in the process.
inline std::atomic<long> g_liveNetCfgObjects{0};

/// Gives a class the interfaces `First` and `Rest`; IUnknown is First's. Starts with no reference: see
/// MakeNetCfgObject.
template <typename First, typename... Rest>
class NetCfgObject : public First, public Rest... {
 public:
  NetCfgObject() noexcept { ++g_liveNetCfgObjects; }
  NetCfgObject(const NetCfgObject&) = delete;
  NetCfgObject& operator=(const NetCfgObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    *object = ::IsEqualIID(iid, __uuidof(IUnknown)) ? static_cast<First*>(this) : nullptr;
    if (*object == nullptr) *object = Find<First, Rest...>(iid);
    if (*object == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override {
    const ULONG left = --m_references;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~NetCfgObject() { --g_liveNetCfgObjects; }

 private:
  template <typename Interface, typename... Others>
  void* Find(REFIID iid) noexcept {
    if (::IsEqualIID(iid, __uuidof(Interface))) return static_cast<Interface*>(this);
    if constexpr (sizeof...(Others) != 0) return Find<Others...>(iid);
    return nullptr;
  }

  std::atomic<ULONG> m_references{0};
};

template <typename Object, typename... Arguments>
Microsoft::WRL::ComPtr<Object> MakeNetCfgObject(Arguments&&... arguments) {
  return Microsoft::WRL::ComPtr<Object>(new Object(std::forward<Arguments>(arguments)...));
}

}  // namespace lab
