#include "mux/notifyob/notifybindings.h"

#include <wrl/client.h>

#include <cwchar>

#include "mux/notifyob/notifysupport.h"
#include "mux/notifyob/notifytrace.h"
#include "platform/comtext.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr DWORD kBackupChars = 4096;
constexpr wchar_t kNoUpperComponent[] = L"   Failed to get the upper component of the interface.\n";

// Path tokens one behind the other, each with its terminator, and an empty one at the end.
struct BindingBackup {
  wchar_t tokens[kBackupChars] = {};
  DWORD roomLeft = kBackupChars - 1;
  DWORD storedChars = 0;  ///< of a backup that was read

  bool Append(const wchar_t* token) noexcept {
    const std::size_t length = std::wcslen(token);
    wchar_t* end = tokens + (kBackupChars - 1 - roomLeft);
    if (length + 1 > roomLeft) return false;
    std::wmemcpy(end, token, length + 1);
    roomLeft -= static_cast<DWORD>(length + 1);
    return true;
  }
};

void TraceBindingPath(INetCfgBindingPath* path) noexcept {
  TaskText token;
  const HRESULT hr = path->GetPathToken(token.Put());
  if (SUCCEEDED(hr)) {
    NotifyTrace(kTraceProgress, L"   BindingPath: %s\n", token.Get());
  } else {
    NotifyTrace(kTraceError, L"   BindingPath: GetPathToken failed(HRESULT %x).\n", hr);
  }
}

void BackUpAndDisable(INetCfgBindingPath* path, const wchar_t* token, BindingBackup& backup) noexcept {
  if (path->IsEnabled() != S_OK) return;
  if (!backup.Append(token)) {
    NotifyTrace(kTraceError, L"Adapter binding token %s not disabled due to error\n", token);
    return;
  }
  path->Enable(FALSE);
  NotifyTrace(kTraceProgress, L"Disabled adapter binding token %s \n", token);
}

void EnableIfBackedUp(INetCfgBindingPath* path, const wchar_t* token, const BindingBackup& backup) noexcept {
  if (!IsTokenInList(token, backup.tokens, backup.storedChars)) return;
  const HRESULT status = path->Enable(TRUE);
  const HRESULT enabled = path->IsEnabled();
  NotifyTrace(kTraceProgress, L"Enabled adapter binding token %s status %x IsEnabled=%x\n", token, status, enabled);
}

// Paths through the driver are on while the direct ones are off.
void SwitchPath(INetCfgBindingPath* path, BOOL enable, BindingBackup& backup) noexcept {
  if (IfExistMux(path)) {
    NotifyTrace(kTraceProgress, L"%s muxp path: ", enable ? L"Disable" : L"Enable");
    TraceBindingPath(path);
    path->Enable(!enable);
    return;
  }
  TaskText token;
  if (FAILED(path->GetPathToken(token.Put())) || token.Get() == nullptr) return;
  if (enable) {
    EnableIfBackedUp(path, token.Get(), backup);
  } else {
    BackUpAndDisable(path, token.Get(), backup);
  }
}

HRESULT EnumeratePathsAbove(INetCfgComponent* adapter, ComPtr<IEnumNetCfgBindingPath>& paths) noexcept {
  ComPtr<INetCfgComponentBindings> bindings;
  const HRESULT hr = QueryFor(adapter, bindings);
  return FAILED(hr) ? hr : bindings->EnumBindingPaths(EBP_ABOVE, &paths);
}

void RecordBackup(INetCfgComponent* adapter, BOOL enable, const BindingBackup& backup) noexcept {
  if (enable) {
    DeleteRegistryParams(adapter, kBindingBackup);
    return;
  }
  if (InsertRegistryParams(adapter, kBindingBackup, kBackupChars - backup.roomLeft, backup.tokens) != ERROR_SUCCESS) {
    NotifyTrace(kTraceError,
                L"Binding backing up failed to write to registry.\n User will have to manually enable binded protocols "
                L"in network connection property");
  }
}

// The id of the component above an interface, with the component; traced when it cannot be had.
bool GetUpperComponent(INetCfgBindingInterface* bindingInterface, ComPtr<INetCfgComponent>& component,
                       TaskText& id) noexcept {
  if (SUCCEEDED(bindingInterface->GetUpperComponent(&component)) && component != nullptr &&
      SUCCEEDED(component->GetId(id.Put())) && id.Get() != nullptr) {
    return true;
  }
  NotifyTrace(kTraceError, kNoUpperComponent);
  return false;
}

bool FindMux(IEnumNetCfgBindingInterface* interfaces) noexcept {
  ComPtr<INetCfgBindingInterface> bindingInterface;
  while (FetchNext(interfaces, bindingInterface)) {
    ComPtr<INetCfgComponent> component;
    TaskText id;
    if (!GetUpperComponent(bindingInterface.Get(), component, id) || ::_wcsicmp(id.Get(), kMuxProtocolId) != 0)
      continue;
    GUID guid = {};
    component->GetInstanceGuid(&guid);
    NotifyTrace(kTraceFunction, L"CMuxNotify::IfExistMux - found mux %s\n", GuidText(guid).text);
    return true;
  }
  return false;
}

}  // namespace

void EnableBindings(INetCfgComponent* adapter, BOOL enable) noexcept {
  NotifyTrace(kTraceFunction, L"-->CMuxNotify::EnableBindings.\n");
  BindingBackup backup;
  if (enable) {
    DWORD bytes = sizeof backup.tokens;
    ReadRegistryParams(adapter, kBindingBackup, backup.tokens, &bytes);
    backup.storedChars = bytes / sizeof(wchar_t);
  }
  ComPtr<IEnumNetCfgBindingPath> paths;
  if (FAILED(EnumeratePathsAbove(adapter, paths))) {
    NotifyTrace(kTraceFunction, L"   Couldn't get the binding path enumerator, bindings will not be %s.\n",
                enable ? L"enabled" : L"disabled");
  } else {
    ComPtr<INetCfgBindingPath> path;
    while (FetchNext(paths.Get(), path)) SwitchPath(path.Get(), enable, backup);
    paths.Reset();
    RecordBackup(adapter, enable, backup);
  }
  NotifyTrace(kTraceFunction, L"<--CMuxNotify::EnableBindings.\n");
}

BOOL IfExistMux(INetCfgBindingPath* path) noexcept {
  NotifyTrace(kTraceFunction, L"-->CMuxNotify::IfExistMux.\n");
  ComPtr<IEnumNetCfgBindingInterface> interfaces;
  BOOL found = FALSE;
  if (FAILED(path->EnumBindingInterfaces(&interfaces))) {
    NotifyTrace(kTraceError, L"   Couldn't get the binding interface enumerator.\n");
  } else {
    found = FindMux(interfaces.Get());
  }
  interfaces.Reset();
  NotifyTrace(kTraceFunction, L"<--CMuxNotify::IfExistMux(BOOL = %x).\n", found);
  return found;
}

}  // namespace qvrn
