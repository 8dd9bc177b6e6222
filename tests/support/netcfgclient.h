// A client of the lab's network configuration, as tests play it.
#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <gtest/gtest.h>
#include <wrl/client.h>

#include <string>
#include <vector>

#include "lab/netcfg/netcfg.h"
#include "platform/comtext.h"

namespace tests {

inline constexpr GUID kNetClass = {0x4D36E972, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
inline constexpr GUID kTransportClass = {0x4D36E975, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

inline std::wstring BindName(INetCfgComponent* component) {
  qvrn::TaskText name;
  EXPECT_EQ(component->GetBindName(name.Put()), S_OK);
  return name.Get();
}

inline std::wstring Token(INetCfgBindingPath* path) {
  qvrn::TaskText token;
  EXPECT_EQ(path->GetPathToken(token.Put()), S_OK);
  return token.Get();
}

using BindingPaths = std::vector<Microsoft::WRL::ComPtr<INetCfgBindingPath>>;

inline BindingPaths Paths(INetCfgComponent* component, DWORD flags = EBP_ABOVE) {
  BindingPaths found;
  Microsoft::WRL::ComPtr<INetCfgComponentBindings> bindings;
  Microsoft::WRL::ComPtr<IEnumNetCfgBindingPath> paths;
  Microsoft::WRL::ComPtr<INetCfgBindingPath> path;
  EXPECT_EQ(component->QueryInterface(IID_PPV_ARGS(&bindings)), S_OK);
  EXPECT_EQ(bindings->EnumBindingPaths(flags, &paths), S_OK);
  while (paths->Next(1, &path, nullptr) == S_OK) found.push_back(path);
  return found;
}

/// "+TOKEN" of each enabled path of a component, "-TOKEN" of each disabled one.
inline std::vector<std::wstring> PathStates(INetCfgComponent* component, DWORD flags = EBP_ABOVE) {
  std::vector<std::wstring> states;
  for (const auto& path : Paths(component, flags)) {
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
