// A client of the lab's network configuration, as tests play it.
#pragma once

#include <windows.h>

#include <devguid.h>
#include <netcfgx.h>

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <string>
#include <vector>

#include "lab/netcfg/netcfg.h"
#include "platform/comtext.h"

namespace tests {

inline constexpr const GUID& kNetClass = GUID_DEVCLASS_NET;
inline constexpr const GUID& kTransportClass = GUID_DEVCLASS_NETTRANS;

template <typename Object>
std::wstring TextOf(Object* object, HRESULT (STDMETHODCALLTYPE Object::*get)(LPWSTR*)) {
  qvrn::TaskText text;
  EXPECT_EQ((object->*get)(text.Put()), S_OK);
  return text.Get();
}
inline std::wstring BindName(INetCfgComponent* component) { return TextOf(component, &INetCfgComponent::GetBindName); }
inline std::wstring Token(INetCfgBindingPath* path) { return TextOf(path, &INetCfgBindingPath::GetPathToken); }

/// The binding paths that end in a component.
inline std::vector<Microsoft::WRL::ComPtr<INetCfgBindingPath>> Paths(INetCfgComponent* component) {
  std::vector<Microsoft::WRL::ComPtr<INetCfgBindingPath>> found;
  Microsoft::WRL::ComPtr<INetCfgComponentBindings> bindings;
  Microsoft::WRL::ComPtr<IEnumNetCfgBindingPath> paths;
  Microsoft::WRL::ComPtr<INetCfgBindingPath> path;
  EXPECT_EQ(component->QueryInterface(IID_PPV_ARGS(&bindings)), S_OK);
  EXPECT_EQ(bindings->EnumBindingPaths(EBP_ABOVE, &paths), S_OK);
  while (paths->Next(1, &path, nullptr) == S_OK) found.push_back(path);
  return found;
}

/// "+TOKEN" of each enabled path that ends in a component, "-TOKEN" of each disabled one.
inline std::vector<std::wstring> PathStates(INetCfgComponent* component) {
  std::vector<std::wstring> states;
  for (const auto& path : Paths(component)) {
    states.push_back((path->IsEnabled() == S_OK ? L"+" : L"-") + Token(path.Get()));
  }
  return states;
}

/// A client's session.
struct Session {
  Microsoft::WRL::ComPtr<INetCfg> netCfg;
  Microsoft::WRL::ComPtr<INetCfgLock> lock;

  Session() {
    EXPECT_EQ(lab::NetCfgClassFactory()->CreateInstance(nullptr, IID_PPV_ARGS(&netCfg)), S_OK);
    EXPECT_EQ(netCfg.As(&lock), S_OK);
  }
  /// One that is ready for changes, or for questions only.
  explicit Session(bool withLock) : Session() {
    EXPECT_EQ(withLock ? Acquire(0, L"test") : S_OK, S_OK);
    EXPECT_EQ(netCfg->Initialize(nullptr), S_OK);
  }

  HRESULT Acquire(DWORD timeout, const wchar_t* client, std::wstring* holder = nullptr) const {
    qvrn::TaskText name;
    const HRESULT hr = lock->AcquireWriteLock(timeout, client, name.Put());
    if (holder != nullptr) *holder = name.Get() == nullptr ? L"(null)" : name.Get();
    return hr;
  }
  Microsoft::WRL::ComPtr<INetCfgComponent> Find(const wchar_t* id) const {
    Microsoft::WRL::ComPtr<INetCfgComponent> component;
    netCfg->FindComponent(id, &component);
    return component;
  }
  Microsoft::WRL::ComPtr<INetCfgClassSetup> Setup(const GUID& classGuid) const {
    Microsoft::WRL::ComPtr<INetCfgClassSetup> setup;
    EXPECT_EQ(netCfg->QueryNetCfgClass(&classGuid, IID_PPV_ARGS(&setup)), S_OK);
    return setup;
  }
};

}  // namespace tests
