#include "mux/notifyob/muxinstall.h"

#include <devguid.h>
#include <setupapi.h>

#include <wrl/client.h>

#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <memory>
#include <new>

#include "mux/notifyob/inffile.h"
#include "mux/notifyob/muxregistry.h"
#include "mux/notifyob/notifylock.h"
#include "mux/notifyob/notifysupport.h"
#include "mux/notifyob/notifytrace.h"
#include "platform/boundedtext.h"
#include "platform/comtext.h"
#include "platform/hresult.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr wchar_t kProtocolInf[] = L"\\muxp.inf";
constexpr wchar_t kMiniportInf[] = L"\\mux_mp.inf";
constexpr wchar_t kInstallClient[] = L"VlanInstall";
constexpr LockPatience kOneAttempt = {1, 0};
constexpr HRESULT kRebootNeeded = 0x0004A020;  // NETCFG_S_REBOOT
constexpr const GUID* kClasses[] = {&GUID_DEVCLASS_NETCLIENT, &GUID_DEVCLASS_NETSERVICE, &GUID_DEVCLASS_NETTRANS,
                                    &GUID_DEVCLASS_NET};

// Kept for those who compare what is printed: two messages print wide text as if it were narrow, which shows its first
// character.
const char* AsNarrow(const wchar_t* text) noexcept { return reinterpret_cast<const char*>(text); }

// Directory and file name in one buffer that has room for the longer of the two names.
class InfPath {
 public:
  explicit InfPath(const wchar_t* directory) noexcept
      : m_directory(directory),
        m_chars(std::wcslen(directory) + std::size(kMiniportInf)),
        m_path(new (std::nothrow) wchar_t[m_chars]) {}

  explicit operator bool() const noexcept { return m_path != nullptr; }

  const wchar_t* Of(const wchar_t* fileName) noexcept {
    if (FAILED(::StringCchCopyW(m_path.get(), m_chars, m_directory)) ||
        FAILED(::StringCchCatW(m_path.get(), m_chars, fileName))) {
      ::DebugBreak();
    }
    return m_path.get();
  }

 private:
  const wchar_t* m_directory;
  std::size_t m_chars;
  std::unique_ptr<wchar_t[]> m_path;
};

HRESULT CopyToDriverStore(const wchar_t* infPath, const wchar_t* sourceLocation) noexcept {
  if (::SetupCopyOEMInfW(infPath, sourceLocation, SPOST_PATH, 0, nullptr, 0, nullptr, nullptr)) return S_OK;
  return HrFromLastError();
}

HRESULT AcquireNetCfg(INetCfg** netCfg, wchar_t** lockedBy) noexcept {
  HRESULT hr = ::CoInitialize(nullptr);
  if (FAILED(hr) && hr != RPC_E_CHANGED_MODE) return hr;
  const bool initialised = hr == S_OK;
  hr = OpenNetCfg(true, kOneAttempt, kInstallClient, netCfg, lockedBy);
  if (FAILED(hr) && initialised) ::CoUninitialize();
  return hr;
}

void ReleaseNetCfg(INetCfg* netCfg) noexcept {
  if (SUCCEEDED(netCfg->Uninitialize())) {
    ComPtr<INetCfgLock> lock;
    if (SUCCEEDED(QueryFor(netCfg, lock))) lock->ReleaseWriteLock();
  }
  netCfg->Release();
  ::CoUninitialize();
}

// The installation proper, under the write lock.
HRESULT InstallUnderLock(INetCfg* netCfg, InfPath& path, const wchar_t* componentId, const GUID* classGuid) noexcept {
  GUID guid = {};
  HRESULT hr = GetOurGuid(netCfg, &guid, nullptr);
  if (FAILED(hr)) {
    PrintMessage("GetOurGuid failed hr =0x%x\n", hr);
    return hr;
  }
  if (guid != GUID{}) {
    PrintMessage("Warning we already have a Quorvane vlan installed quiting without doing anything\n");
    return S_OK;
  }
  hr = InstallSpecifiedComponent(netCfg, path.Of(kProtocolInf), componentId, classGuid);
  if (FAILED(hr)) {
    PrintMessage("InstallSpecifiedComponent failed hr =0x%x\n", hr);
    return hr;
  }
  // Only copied: the notify core installs instances of it later.
  const HRESULT copied = CopyToDriverStore(path.Of(kMiniportInf), nullptr);
  if (copied == S_OK) return hr;
  PrintMessage("SetupCopyOEMInfW returned hr = 0x%x\n", copied);
  return copied;
}

// Prints what a getter gives, when it gives something.
template <typename Getter>
void PrintText(const char* format, INetCfgComponent* component, Getter getter) noexcept {
  TaskText text;
  if (SUCCEEDED((component->*getter)(text.Put()))) PrintMessage(format, text.Get());
}

// Prints a component up to its id, and gives its GUID. True when it is the driver's protocol.
bool PrintAndCompare(INetCfgComponent* component, GUID& guid) noexcept {
  PrintText("Display Name = %S\n", component, &INetCfgComponent::GetDisplayName);
  if (SUCCEEDED(component->GetInstanceGuid(&guid))) {
    const BYTE* tail = guid.Data4;
    // Kept for those who compare what is printed: no hyphen behind the fourth group.
    PrintMessage("Guid = %08X-%04X-%04X-%02X%02X%02X%02X%02X%02X%02X%02X\n", guid.Data1, guid.Data2, guid.Data3,
                 tail[0], tail[1], tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
  }
  TaskText id;
  if (FAILED(component->GetId(id.Put()))) return false;
  PrintMessage("ID = %S\n", id.Get());
  return id.Get() != nullptr && std::wcscmp(id.Get(), kMuxProtocolId) == 0;
}

}  // namespace

HRESULT InstallMuxDriver(const wchar_t* infDirectory, DWORD classIndex) noexcept {
  if (infDirectory == nullptr) {
    PrintMessage("Missing INF file....\n");
    return HrFromWin32(ERROR_INVALID_PARAMETER);
  }
  if (classIndex >= std::size(kClasses)) return HrFromWin32(ERROR_INVALID_PARAMETER);
  InfPath path(infDirectory);
  if (!path) {
    PrintMessage("Error allocating memory\n");
    return HrFromWin32(ERROR_NOT_ENOUGH_MEMORY);
  }
  const wchar_t* protocolInf = path.Of(kProtocolInf);
  TaskText componentId;
  HRESULT hr = ReadInfComponentId(protocolInf, componentId);
  if (FAILED(hr)) {
    PrintMessage("Error reading the INF file %s. Error=0x%x", AsNarrow(protocolInf), hr);
    return hr;
  }
  INetCfg* netCfg = nullptr;
  TaskText lockedBy;
  hr = AcquireNetCfg(&netCfg, lockedBy.Put());
  if (FAILED(hr)) {
    if (hr == kNoWriteLock && lockedBy.Get() != nullptr) {
      PrintMessage("%s currently holds the lock, try later.\n", AsNarrow(lockedBy.Get()));
    } else {
      PrintMessage("Couldn't the get notify object interface.\n");
    }
    return hr;
  }
  hr = InstallUnderLock(netCfg, path, componentId.Get(), kClasses[classIndex]);
  ReleaseNetCfg(netCfg);
  return hr;
}

HRESULT InstallSpecifiedComponent(INetCfg* netCfg, const wchar_t* infPath, const wchar_t* componentId,
                                  const GUID* classGuid) noexcept {
  ComPtr<INetCfgComponent> component;
  HRESULT hr = netCfg->FindComponent(componentId, &component);
  if (FAILED(hr)) {
    PrintMessage(
        "Failed to retrieves the network component that matches the specified component identifier %S. Error=0x%x\n",
        componentId, hr);
  } else if (component != nullptr) {
    PrintMessage("Component %S is already installed. nothing to do....\n", componentId);
    return S_OK;
  }
  hr = InstallNetComponentFromInf(netCfg, componentId, classGuid, infPath);
  if (hr == S_OK || hr == kRebootNeeded) return netCfg->Apply();
  if (hr != HrFromWin32(ERROR_CANCELLED)) PrintMessage("Couldn't install the network component. Error=0x%x\n", hr);
  return hr;
}

HRESULT InstallNetComponentFromInf(INetCfg* netCfg, const wchar_t* componentId, const GUID* classGuid,
                                   const wchar_t* infPath) noexcept {
  if (infPath != nullptr) {
    wchar_t drive[_MAX_DRIVE] = {};
    wchar_t directory[_MAX_DIR] = {};
    ::_wsplitpath(infPath, drive, directory, nullptr, nullptr);
    wchar_t sourceLocation[_MAX_DRIVE + _MAX_DIR] = {};
    FormatText(sourceLocation, L"%s%s", drive, directory);
    const HRESULT copied = CopyToDriverStore(infPath, sourceLocation);
    if (copied != S_OK) return copied;
  }
  ComPtr<INetCfgClassSetup> setup;
  HRESULT hr = netCfg->QueryNetCfgClass(classGuid, IID_PPV_ARGS(&setup));
  if (SUCCEEDED(hr) && setup == nullptr) hr = E_FAIL;
  if (FAILED(hr)) return hr;
  OBO_TOKEN onBehalfOf = {};
  onBehalfOf.Type = OBO_USER;
  ComPtr<INetCfgComponent> component;
  hr = setup->Install(componentId, &onBehalfOf, 0, 0, nullptr, nullptr, &component);
  component.Reset();
  setup.Reset();
  return SUCCEEDED(hr) ? netCfg->Apply() : hr;
}

HRESULT GetOurGuid(INetCfg* netCfg, GUID* instanceGuid, INetCfgComponent** component) noexcept {
  ComPtr<INetCfgClass> networkClass;
  ComPtr<IEnumNetCfgComponent> components;
  HRESULT hr = netCfg->QueryNetCfgClass(&GUID_DEVCLASS_NET, IID_PPV_ARGS(&networkClass));
  if (SUCCEEDED(hr) && networkClass != nullptr) hr = networkClass->EnumComponents(&components);
  if (SUCCEEDED(hr) && components == nullptr) hr = E_FAIL;
  if (FAILED(hr)) {
    PrintMessage("Failed to get network component enumerator reference. Error=0x%x\n", hr);
    return hr;
  }
  components->Reset();
  ComPtr<INetCfgComponent> current;
  while (FetchNext(components.Get(), current)) {
    GUID guid = {};
    if (PrintAndCompare(current.Get(), guid)) {
      *instanceGuid = guid;
      if (component != nullptr) *component = current.Detach();
      return S_OK;
    }
    PrintText("PNP ID = %S\n", current.Get(), &INetCfgComponent::GetPnpDevNodeId);
    PrintText("Bind Name= %S\n", current.Get(), &INetCfgComponent::GetBindName);
  }
  return S_OK;
}

}  // namespace qvrn
