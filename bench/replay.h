#pragma once

#include <windows.h>

#include <netcfgx.h>
#include <setupapi.h>

#include <wrl/client.h>

#include <functional>
#include <map>
#include <string>

namespace bench {

/// The keys and network configuration objects that recorded calls are made on when they are made again. A recorded key
/// or component stands for a live one: a new name for what was handed out last.
class Live {
 public:
  /// The live key of a recorded one; predefined keys are their own.
  HKEY Key(HKEY recorded);
  /// Where the live key of a recorded one goes when it is opened.
  HKEY* Opened(HKEY recorded) { return &m_keys[recorded]; }
  /// A new session with the network configuration, in place of the one before.
  HRESULT CreateNetCfg();
  /// The component with this recorded GUID; throws std::out_of_range when none was handed out for it.
  INetCfgComponent* Component(const std::wstring& guid);

  Microsoft::WRL::ComPtr<INetCfg> netCfg;
  Microsoft::WRL::ComPtr<INetCfgLock> lock;
  Microsoft::WRL::ComPtr<INetCfgClass> networkClass;
  Microsoft::WRL::ComPtr<INetCfgClassSetup> setup;
  Microsoft::WRL::ComPtr<IEnumNetCfgComponent> components;
  Microsoft::WRL::ComPtr<INetCfgComponent> newComponent;  ///< handed out, and not named yet
  HKEY newKey = nullptr;                                  ///< the same
  std::map<void*, void*> handles;                         ///< INF files and sets of devices, by the recorded ones
  INFCONTEXT line = {};                                   ///< found last
  SP_DEVINFO_DATA device = {sizeof(SP_DEVINFO_DATA), {}, 0, 0};
  SP_DEVINFO_LIST_DETAIL_DATA_W detail = {sizeof(SP_DEVINFO_LIST_DETAIL_DATA_W), {}, nullptr, {}};

 private:
  std::map<HKEY, HKEY> m_keys;
  std::map<std::wstring, Microsoft::WRL::ComPtr<INetCfgComponent>> m_components;
};

/// A platform call that the provider made.
struct Call {
  std::string name;                  ///< "RegOpenKeyExW", "INetCfg::Initialize"
  std::wstring arguments;            ///< as a text; what tells this call from others of its name
  LONG result;                       ///< what the provider got
  std::function<LONG(Live&)> again;  ///< the same call with the same arguments
};

/// A call that the lab's journal shows as "METHOD(ARGUMENTS) = 0xRESULT". Throws std::runtime_error for one that cannot
/// be made again.
Call NetworkCall(const std::wstring& line);

}  // namespace bench
