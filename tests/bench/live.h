#pragma once

#include <windows.h>

#include <netcfgx.h>

#include <wrl/client.h>

#include <map>
#include <string>
#include <vector>

namespace bench {

/// The keys and network configuration objects that recorded calls are made on when they are made again. Recorded names
/// of keys and components stand for the live ones: what was handed out last is what the next new name stands for.
class Live {
 public:
  /// The live key of a recorded one; predefined keys are their own.
  HKEY Key(HKEY recorded);
  /// Where the live key of a recorded one goes when it is opened.
  HKEY* Opened(HKEY recorded) { return &m_keys[recorded]; }
  LSTATUS Close(HKEY recorded);
  /// A buffer for data that nobody looks at.
  BYTE* Room(DWORD bytes);

  /// A new session with the network configuration, in place of the one before.
  HRESULT CreateNetCfg();
  /// The component with this recorded GUID; throws std::runtime_error when none was handed out for it.
  INetCfgComponent* Component(const std::wstring& guid);

  Microsoft::WRL::ComPtr<INetCfg> netCfg;
  Microsoft::WRL::ComPtr<INetCfgLock> lock;
  Microsoft::WRL::ComPtr<INetCfgClass> networkClass;
  Microsoft::WRL::ComPtr<INetCfgClassSetup> setup;
  Microsoft::WRL::ComPtr<IEnumNetCfgComponent> components;
  Microsoft::WRL::ComPtr<IEnumNetCfgBindingPath> paths;
  Microsoft::WRL::ComPtr<INetCfgBindingPath> path;
  Microsoft::WRL::ComPtr<IEnumNetCfgBindingInterface> interfaces;
  Microsoft::WRL::ComPtr<INetCfgBindingInterface> bindingInterface;
  Microsoft::WRL::ComPtr<INetCfgComponent> newComponent;  ///< handed out, and not named yet
  HKEY newKey = nullptr;                                  ///< the same

 private:
  std::map<HKEY, HKEY> m_keys;
  std::map<std::wstring, Microsoft::WRL::ComPtr<INetCfgComponent>> m_components;
  std::vector<BYTE> m_room;
};

}  // namespace bench
