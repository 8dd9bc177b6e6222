#include "tests/bench/networkcalls.h"

#include <devguid.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/comtext.h"
#include "tests/bench/live.h"

namespace bench {
namespace {

using qvrn::TaskText;
using Texts = std::vector<std::wstring>;

const GUID& ClassOf(const std::wstring& name) { return name == L"Net" ? GUID_DEVCLASS_NET : GUID_DEVCLASS_NETTRANS; }

template <auto Method>
HRESULT ComponentText(Live& live, const Texts& arguments) {
  TaskText text;
  return (live.Component(arguments[0])->*Method)(text.Put());
}

HRESULT AcquireWriteLock(Live& live, const Texts& arguments) {
  TaskText holder;
  return live.lock->AcquireWriteLock(std::stoul(arguments[0]), arguments[1].c_str(), holder.Put());
}

HRESULT GetInstanceGuid(Live& live, const Texts& arguments) {
  GUID guid = {};
  return live.Component(arguments[0])->GetInstanceGuid(&guid);
}

HRESULT GetDeviceStatus(Live& live, const Texts& arguments) {
  ULONG status = 0;
  return live.Component(arguments[0])->GetDeviceStatus(&status);
}

// With the query that the journal shows before it without saying of which component.
HRESULT EnumBindingPaths(Live& live, const Texts& arguments) {
  Microsoft::WRL::ComPtr<INetCfgComponentBindings> bindings;
  const HRESULT hr = live.Component(arguments[0])->QueryInterface(IID_PPV_ARGS(&bindings));
  return FAILED(hr) ? hr : bindings->EnumBindingPaths(std::stoul(arguments[1]), &live.paths);
}

HRESULT GetPathToken(Live& live, const Texts&) {
  TaskText token;
  return live.path->GetPathToken(token.Put());
}

struct Method {
  const wchar_t* name;
  HRESULT (*call)(Live& live, const Texts& arguments);
};

const Method kMethods[] = {
    {L"INetCfg::QueryInterface", [](Live& live, const Texts&) { return live.netCfg.As(&live.lock); }},
    {L"INetCfg::Initialize", [](Live& live, const Texts&) { return live.netCfg->Initialize(nullptr); }},
    {L"INetCfg::Uninitialize", [](Live& live, const Texts&) { return live.netCfg->Uninitialize(); }},
    {L"INetCfg::Apply", [](Live& live, const Texts&) { return live.netCfg->Apply(); }},
    {L"INetCfg::EnumComponents",
     [](Live& live, const Texts& arguments) {
       return live.netCfg->EnumComponents(&ClassOf(arguments[0]), &live.components);
     }},
    {L"INetCfg::FindComponent",
     [](Live& live, const Texts& arguments) {
       return live.netCfg->FindComponent(arguments[0].c_str(), &live.newComponent);
     }},
    {L"INetCfg::QueryNetCfgClass",
     [](Live& live, const Texts& arguments) {
       return live.netCfg->QueryNetCfgClass(&ClassOf(arguments[0]), IID_PPV_ARGS(&live.networkClass));
     }},
    {L"INetCfgLock::AcquireWriteLock", &AcquireWriteLock},
    {L"INetCfgLock::ReleaseWriteLock", [](Live& live, const Texts&) { return live.lock->ReleaseWriteLock(); }},
    {L"INetCfgClass::QueryInterface", [](Live& live, const Texts&) { return live.networkClass.As(&live.setup); }},
    {L"INetCfgClass::EnumComponents",
     [](Live& live, const Texts&) { return live.networkClass->EnumComponents(&live.components); }},
    {L"INetCfgClassSetup::Install",
     [](Live& live, const Texts& arguments) {
       return live.setup->Install(arguments[1].c_str(), nullptr, 0, 0, nullptr, nullptr, &live.newComponent);
     }},
    {L"INetCfgClassSetup::DeInstall",
     [](Live& live, const Texts& arguments) {
       return live.setup->DeInstall(live.Component(arguments[1]), nullptr, nullptr);
     }},
    {L"IEnumNetCfgComponent::Reset", [](Live& live, const Texts&) { return live.components->Reset(); }},
    {L"IEnumNetCfgComponent::Next",
     [](Live& live, const Texts&) { return live.components->Next(1, &live.newComponent, nullptr); }},
    {L"INetCfgComponent::GetInstanceGuid", &GetInstanceGuid},
    {L"INetCfgComponent::GetDeviceStatus", &GetDeviceStatus},
    {L"INetCfgComponent::GetId", &ComponentText<&INetCfgComponent::GetId>},
    {L"INetCfgComponent::GetDisplayName", &ComponentText<&INetCfgComponent::GetDisplayName>},
    {L"INetCfgComponent::GetPnpDevNodeId", &ComponentText<&INetCfgComponent::GetPnpDevNodeId>},
    {L"INetCfgComponent::GetBindName", &ComponentText<&INetCfgComponent::GetBindName>},
    {L"INetCfgComponent::SetDisplayName",
     [](Live& live, const Texts& arguments) {
       return live.Component(arguments[0])->SetDisplayName(arguments[1].c_str());
     }},
    {L"INetCfgComponent::OpenParamKey",
     [](Live& live, const Texts& arguments) { return live.Component(arguments[0])->OpenParamKey(&live.newKey); }},
    {L"INetCfgComponent::QueryInterface", [](Live&, const Texts&) { return S_OK; }},
    {L"INetCfgComponentBindings::EnumBindingPaths", &EnumBindingPaths},
    {L"IEnumNetCfgBindingPath::Next",
     [](Live& live, const Texts&) { return live.paths->Next(1, &live.path, nullptr); }},
    {L"INetCfgBindingPath::GetPathToken", &GetPathToken},
    {L"INetCfgBindingPath::IsEnabled", [](Live& live, const Texts&) { return live.path->IsEnabled(); }},
    {L"INetCfgBindingPath::Enable",
     [](Live& live, const Texts& arguments) { return live.path->Enable(arguments[1] == L"TRUE"); }},
    {L"INetCfgBindingPath::EnumBindingInterfaces",
     [](Live& live, const Texts&) { return live.path->EnumBindingInterfaces(&live.interfaces); }},
    {L"IEnumNetCfgBindingInterface::Next",
     [](Live& live, const Texts&) { return live.interfaces->Next(1, &live.bindingInterface, nullptr); }},
    {L"INetCfgBindingInterface::GetUpperComponent",
     [](Live& live, const Texts&) { return live.bindingInterface->GetUpperComponent(&live.newComponent); }},
};

Texts Split(std::wstring_view text) {
  constexpr std::wstring_view kSeparator = L", ";
  Texts parts;
  for (std::size_t end = 0; end != std::wstring_view::npos;) {
    end = text.find(kSeparator);
    parts.emplace_back(text.substr(0, end));
    if (end != std::wstring_view::npos) text.remove_prefix(end + kSeparator.size());
  }
  return parts;
}

}  // namespace

Call NetworkCall(const std::wstring& line) {
  const std::size_t open = line.find(L'(');
  const std::size_t close = line.rfind(L") = 0x");
  const std::wstring name = line.substr(0, open);
  const auto* const method = std::find_if(std::begin(kMethods), std::end(kMethods),
                                          [&](const Method& candidate) { return name == candidate.name; });
  if (method == std::end(kMethods) || close == std::wstring::npos) {
    throw std::runtime_error("no way to make again: " + std::string(line.begin(), line.end()));
  }
  const auto result = static_cast<LONG>(std::stoul(line.substr(close + 6), nullptr, 16));
  Texts arguments = Split(std::wstring_view(line).substr(open + 1, close - open - 1));
  return {name, result, [call = method->call, arguments = std::move(arguments)](Live& live) -> LONG {
            return call(live, arguments);
          }};
}

}  // namespace bench
