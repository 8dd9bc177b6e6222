#include "lab/netcfg/netcfgpaths.h"

#include <algorithm>

#include "lab/labkey.h"
#include "platform/registrykey.h"

namespace lab {
namespace {

using qvrn::RegistryKey;

bool Is(const ComponentRecord& component, const wchar_t* networkClass) {
  return component.networkClass->name == std::wstring_view(networkClass);
}

bool BindsTo(const ComponentRecord& upper, const ComponentRecord& lower) {
  if (Is(lower, L"Net")) return Is(upper, L"NetTrans") && !(upper.HasId(kVlanProtocol) && lower.HasId(kVlanMiniport));
  const bool isTop = Is(upper, L"NetClient") || Is(upper, L"NetService");
  return isTop && Is(lower, L"NetTrans") && !lower.HasId(kVlanProtocol);
}

bool IsEnabledAtFirst(const BindingPath& path) {
  return std::none_of(path.begin(), path.end(), [](const auto& one) { return one->HasId(kVlanProtocol); });
}

std::wstring LinkageKey(const BindingPath& path) { return path.back()->keyPath + L"\\Linkage"; }

/// Takes the state of a path back, and the key with the last one: a machine without states looks as if nobody had ever
/// set one.
LSTATUS ForgetPath(const BindingPath& path) {
  RegistryKey key;
  LSTATUS status = key.Open(HKEY_LOCAL_MACHINE, LinkageKey(path).c_str(), KEY_QUERY_VALUE | KEY_SET_VALUE);
  if (status == ERROR_SUCCESS) status = key.DeleteValue(PathToken(path).c_str());
  DWORD left = 1;
  if (status == ERROR_SUCCESS) key.CountValues(left);
  if (left == 0) ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, LinkageKey(path).c_str());
  return status == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : status;
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

std::wstring PathToken(const BindingPath& path) {
  std::wstring token;
  for (const ComponentPointer& component : path) {
    if (!token.empty()) token += L"->";
    token += Is(*component, L"Net") ? GuidText(component->instance) : component->id;
  }
  return token;
}

bool IsPathEnabled(const BindingPath& path) {
  return MachineNumber(LinkageKey(path), PathToken(path).c_str(), IsEnabledAtFirst(path) ? 1 : 0) != 0;
}

LSTATUS EnablePath(const BindingPath& path, bool enable) {
  if (enable == IsEnabledAtFirst(path)) return ForgetPath(path);
  RegistryKey key;
  const DWORD state = enable ? 1 : 0;
  const LSTATUS status = key.Create(HKEY_LOCAL_MACHINE, LinkageKey(path).c_str(), KEY_SET_VALUE);
  return status != ERROR_SUCCESS ? status : key.WriteBytes(PathToken(path).c_str(), REG_DWORD, &state, sizeof(state));
}

void ForgetPaths(const ComponentRecords& components, const ComponentRecord& component) {
  for (const ComponentPointer& lowest : components) {
    for (const BindingPath& path : PathsAbove(components, lowest)) {
      if (std::any_of(path.begin(), path.end(), [&](const auto& one) { return one->instance == component.instance; })) {
        ForgetPath(path);
      }
    }
  }
}

}  // namespace lab
