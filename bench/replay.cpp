#include "bench/replay.h"

#include <devguid.h>
#include <objbase.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/comtext.h"

namespace bench {
namespace {

using qvrn::TaskText;
using Texts = std::vector<std::wstring>;

const GUID& ClassOf(const std::wstring& name) { return name == L"Net" ? GUID_DEVCLASS_NET : GUID_DEVCLASS_NETTRANS; }

// --- Calls of one shape --------------------------------------------------------------------------------------------

template <auto Object, auto Method>
HRESULT Do(Live& live, const Texts&) {
  return ((live.*Object).Get()->*Method)();
}

template <auto Method>
HRESULT ComponentText(Live& live, const Texts& arguments) {
  TaskText text;
  return (live.Component(arguments[0])->*Method)(text.Put());
}

template <auto Method, typename Value>
HRESULT ComponentValue(Live& live, const Texts& arguments) {
  Value value = {};
  return (live.Component(arguments[0])->*Method)(&value);
}

// --- The others ----------------------------------------------------------------------------------------------------

HRESULT QueryLock(Live& live, const Texts&) { return live.netCfg.As(&live.lock); }
HRESULT QuerySetup(Live& live, const Texts&) { return live.networkClass.As(&live.setup); }
HRESULT Initialize(Live& live, const Texts&) { return live.netCfg->Initialize(nullptr); }

HRESULT EnumComponents(Live& live, const Texts& arguments) {
  return live.netCfg->EnumComponents(&ClassOf(arguments[0]), &live.components);
}

HRESULT EnumClassComponents(Live& live, const Texts&) { return live.networkClass->EnumComponents(&live.components); }

HRESULT NextComponent(Live& live, const Texts&) { return live.components->Next(1, &live.newComponent, nullptr); }

HRESULT FindComponent(Live& live, const Texts& arguments) {
  return live.netCfg->FindComponent(arguments[0].c_str(), &live.newComponent);
}

HRESULT QueryNetCfgClass(Live& live, const Texts& arguments) {
  return live.netCfg->QueryNetCfgClass(&ClassOf(arguments[0]), IID_PPV_ARGS(&live.networkClass));
}

HRESULT AcquireWriteLock(Live& live, const Texts& arguments) {
  TaskText holder;
  return live.lock->AcquireWriteLock(std::stoul(arguments[0]), arguments[1].c_str(), holder.Put());
}

HRESULT Install(Live& live, const Texts& arguments) {
  return live.setup->Install(arguments[1].c_str(), nullptr, 0, 0, nullptr, nullptr, &live.newComponent);
}

HRESULT DeInstall(Live& live, const Texts& arguments) {
  return live.setup->DeInstall(live.Component(arguments[1]), nullptr, nullptr);
}

HRESULT SetDisplayName(Live& live, const Texts& arguments) {
  return live.Component(arguments[0])->SetDisplayName(arguments[1].c_str());
}

HRESULT OpenParamKey(Live& live, const Texts& arguments) {
  return live.Component(arguments[0])->OpenParamKey(&live.newKey);
}

struct Method {
  const char* name;
  HRESULT (*call)(Live& live, const Texts& arguments);
};

const Method kMethods[] = {
    {"INetCfg::QueryInterface", &QueryLock},
    {"INetCfg::Initialize", &Initialize},
    {"INetCfg::Uninitialize", &Do<&Live::netCfg, &INetCfg::Uninitialize>},
    {"INetCfg::Apply", &Do<&Live::netCfg, &INetCfg::Apply>},
    {"INetCfg::EnumComponents", &EnumComponents},
    {"INetCfg::FindComponent", &FindComponent},
    {"INetCfg::QueryNetCfgClass", &QueryNetCfgClass},
    {"INetCfgLock::AcquireWriteLock", &AcquireWriteLock},
    {"INetCfgLock::ReleaseWriteLock", &Do<&Live::lock, &INetCfgLock::ReleaseWriteLock>},
    {"INetCfgClass::QueryInterface", &QuerySetup},
    {"INetCfgClass::EnumComponents", &EnumClassComponents},
    {"INetCfgClassSetup::Install", &Install},
    {"INetCfgClassSetup::DeInstall", &DeInstall},
    {"IEnumNetCfgComponent::Reset", &Do<&Live::components, &IEnumNetCfgComponent::Reset>},
    {"IEnumNetCfgComponent::Next", &NextComponent},
    {"INetCfgComponent::GetInstanceGuid", &ComponentValue<&INetCfgComponent::GetInstanceGuid, GUID>},
    {"INetCfgComponent::GetDeviceStatus", &ComponentValue<&INetCfgComponent::GetDeviceStatus, ULONG>},
    {"INetCfgComponent::GetId", &ComponentText<&INetCfgComponent::GetId>},
    {"INetCfgComponent::GetDisplayName", &ComponentText<&INetCfgComponent::GetDisplayName>},
    {"INetCfgComponent::GetPnpDevNodeId", &ComponentText<&INetCfgComponent::GetPnpDevNodeId>},
    {"INetCfgComponent::GetBindName", &ComponentText<&INetCfgComponent::GetBindName>},
    {"INetCfgComponent::SetDisplayName", &SetDisplayName},
    {"INetCfgComponent::OpenParamKey", &OpenParamKey},
};

Texts Split(const std::wstring& text) {
  Texts parts;
  for (std::size_t start = 0, end = 0; end != std::wstring::npos; start = end + 2) {
    end = text.find(L", ", start);
    parts.push_back(text.substr(start, end - start));
  }
  return parts;
}

}  // namespace

HKEY Live::Key(HKEY recorded) {
  const auto value = reinterpret_cast<std::uintptr_t>(recorded);
  if (value >= reinterpret_cast<std::uintptr_t>(HKEY_CLASSES_ROOT)) return recorded;
  if (newKey != nullptr) m_keys[recorded] = std::exchange(newKey, nullptr);
  return m_keys[recorded];
}

HRESULT Live::CreateNetCfg() {
  m_components.clear();
  newComponent.Reset();
  return ::CoCreateInstance(CLSID_CNetCfg, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&netCfg));
}

INetCfgComponent* Live::Component(const std::wstring& guid) {
  if (newComponent != nullptr) m_components[guid] = std::exchange(newComponent, nullptr);
  return m_components.at(guid).Get();
}

Call NetworkCall(const std::wstring& line) {
  const std::size_t open = line.find(L'(');
  const std::size_t close = line.rfind(L") = 0x");
  const std::string name(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(open));
  const auto* const method = std::find_if(std::begin(kMethods), std::end(kMethods),
                                          [&](const Method& candidate) { return name == candidate.name; });
  if (method == std::end(kMethods)) throw std::runtime_error("no way to make again: " + name);
  const auto result = static_cast<LONG>(std::stoul(line.substr(close + 6), nullptr, 16));
  const Texts arguments = Split(line.substr(open + 1, close - open - 1));
  return {name, line, result, [call = method->call, arguments](Live& live) { return LONG{call(live, arguments)}; }};
}

}  // namespace bench
