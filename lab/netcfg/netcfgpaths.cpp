#include "lab/netcfg/netcfgpaths.h"

#include <algorithm>

#include "platform/registrykey.h"

namespace lab {
namespace {

using qvrn::RegistryKey;

constexpr wchar_t kLinkage[] = L"Linkage";

bool Is(const ComponentRecord& component, const wchar_t* networkClass) {
  return component.networkClass->name == std::wstring_view(networkClass);
}

bool BindsTo(const ComponentRecord& upper, const ComponentRecord& lower) {
  if (Is(lower, L"Net")) return Is(upper, L"NetTrans") && !(upper.HasId(kVlanProtocol) && lower.HasId(kVlanMiniport));
  const bool isTop = Is(upper, L"NetClient") || Is(upper, L"NetService");
  return isTop && Is(lower, L"NetTrans") && !lower.HasId(kVlanProtocol);
}

bool Passes(const BindingPath& path, const ComponentRecord& component) {
  return std::any_of(path.begin(), path.end(), [&](const auto& one) { return one->instance == component.instance; });
}

bool IsEnabledAtFirst(const BindingPath& path) {
  return std::none_of(path.begin(), path.end(), [](const auto& one) { return one->HasId(kVlanProtocol); });
}

/// Takes the state of a path back, and the key with the last one: a machine without states looks as if nobody had ever
/// set one.
LSTATUS ForgetPath(HKEY instanceKey, const BindingPath& path) {
  RegistryKey key;
  LSTATUS status = key.Open(instanceKey, kLinkage, KEY_QUERY_VALUE | KEY_SET_VALUE);
  if (status == ERROR_SUCCESS) status = key.DeleteValue(PathToken(path).c_str());
  if (status != ERROR_SUCCESS) return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
  DWORD left = 0;
  if (key.CountValues(left) == ERROR_SUCCESS && left == 0) ::RegDeleteKeyW(instanceKey, kLinkage);
  return ERROR_SUCCESS;
}

}  // namespace

BindingPaths PathsAbove(const ComponentRecords& components, const ComponentPointer& lowest) {
  BindingPaths paths;
  for (const ComponentPointer& upper : components) {
    if (!BindsTo(*upper, *lowest)) continue;
    paths.push_back({upper, lowest});
    for (BindingPath& path : PathsAbove(components, upper)) {
      path.push_back(lowest);
      paths.push_back(std::move(path));
    }
  }
  return paths;
}

BindingPaths PathsBelow(const ComponentRecords& components, const ComponentPointer& owner) {
  BindingPaths paths;
  for (const ComponentPointer& adapter : components) {
    if (!Is(*adapter, L"Net")) continue;
    for (BindingPath& path : PathsAbove(components, adapter)) {
      if (path.front()->instance == owner->instance) paths.push_back(std::move(path));
    }
  }
  return paths;
}

std::wstring PathToken(const BindingPath& path) {
  std::wstring token;
  for (const ComponentPointer& component : path) {
    if (!token.empty()) token += L"->";
    token += Is(*component, L"Net") ? GuidText(component->instance) : component->id;
  }
  return token;
}

bool IsPathEnabled(const BindingPath& path) {
  DWORD state = 0;
  DWORD bytes = sizeof(state);
  const std::wstring key = path.back()->keyPath + L'\\' + kLinkage;
  const LSTATUS status = ::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), PathToken(path).c_str(), RRF_RT_REG_DWORD,
                                        nullptr, &state, &bytes);
  return status == ERROR_SUCCESS ? state != 0 : IsEnabledAtFirst(path);
}

LSTATUS EnablePath(const BindingPath& path, bool enable) {
  RegistryKey instanceKey;
  LSTATUS status = instanceKey.Open(HKEY_LOCAL_MACHINE, path.back()->keyPath.c_str(), KEY_READ | KEY_WRITE);
  if (status != ERROR_SUCCESS) return status;
  if (enable == IsEnabledAtFirst(path)) return ForgetPath(instanceKey.Get(), path);
  RegistryKey linkage;
  const DWORD state = enable ? 1 : 0;
  status = linkage.Create(instanceKey.Get(), kLinkage, KEY_SET_VALUE);
  return status != ERROR_SUCCESS ? status
                                 : linkage.WriteBytes(PathToken(path).c_str(), REG_DWORD, &state, sizeof(state));
}

void ForgetPaths(const ComponentRecords& components, const ComponentRecord& component) {
  for (const ComponentPointer& lowest : components) {
    RegistryKey instanceKey;
    for (const BindingPath& path : PathsAbove(components, lowest)) {
      if (!Passes(path, component)) continue;
      if (!instanceKey) instanceKey.Open(HKEY_LOCAL_MACHINE, lowest->keyPath.c_str(), KEY_READ | KEY_WRITE);
      ForgetPath(instanceKey.Get(), path);
    }
  }
}

}  // namespace lab
