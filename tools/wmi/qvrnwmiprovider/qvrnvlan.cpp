#include "tools/wmi/qvrnwmiprovider/qvrnvlan.h"

#include <wrl/client.h>

#include <cstdlib>
#include <cwchar>

#include "platform/boundedtext.h"
#include "platform/comtext.h"
#include "tools/wmi/qvrnwmiprovider/cvlanmanager.h"
#include "tools/wmi/qvrnwmiprovider/objectpath.h"
#include "tools/wmi/qvrnwmiprovider/utils.h"
#include "tools/wmi/qvrnwmiprovider/vlanconfiguration.h"
#include "tools/wmi/qvrnwmiprovider/wmiquery.h"

namespace qvrn {

/// One VLAN as texts; null where one is missing.
struct QvrnVlan::Vlan {
  const wchar_t* parentDeviceId;
  const wchar_t* instanceId;
  const wchar_t* name;
  const wchar_t* number;
  const wchar_t* priority;

  Vlan(const wchar_t* deviceId, const CVlanList& list, DWORD index) noexcept
      : parentDeviceId(deviceId),
        instanceId(list.InstanceIdAt(index)),
        name(list.NameAt(index)),
        number(list.NumberAt(index)),
        priority(list.PriorityAt(index)) {}

  bool IsWhole() const noexcept {
    return parentDeviceId != nullptr && instanceId != nullptr && name != nullptr && number != nullptr &&
           priority != nullptr;
  }
};

namespace {

using Microsoft::WRL::ComPtr;

constexpr wchar_t kName[] = L"Name";
constexpr wchar_t kParentDeviceId[] = L"ParentDeviceID";
constexpr wchar_t kVlanNameProperty[] = L"VLANName";
constexpr wchar_t kVlanNumberProperty[] = L"VLANNumber";
constexpr wchar_t kVlanPriorityProperty[] = L"VLANPriority";
constexpr wchar_t kFileName[] = L"sFileName";
constexpr wchar_t kReturnValue[] = L"ReturnValue";

constexpr std::size_t kParentChars = 261;

HRESULT PutText(IWbemClassObject* instance, const wchar_t* property, const wchar_t* text) {
  Variant value(text);
  return instance->Put(property, 0, value.Get(), 0);
}

HRESULT PutNumber(IWbemClassObject* instance, const wchar_t* property, LONG number) noexcept {
  Variant value(number);
  return instance->Put(property, 0, value.Get(), 0);
}

HRESULT Read(IWbemClassObject* instance, const wchar_t* property, Variant& value) noexcept {
  return instance->Get(property, 0, value.Put(), nullptr, nullptr);
}

const wchar_t* TextOrEmpty(const Variant& value) noexcept { return value.IsText() ? value.Text() : L""; }

// The adapter below the VLAN with this key. The manager is bound to no adapter where none has it.
HRESULT BindParent(const wchar_t* key, wchar_t (&parent)[kParentChars], CVlanManager& manager) {
  if (FAILED(FindParentAdapterIndex(key, parent, kParentChars))) return WBEM_E_NOT_FOUND;
  if (*parent != L'\0') manager = CVlanManager(parent);
  return S_OK;
}

// What a put asks for. The values stay in the variants.
struct VlanRequest {
  Variant name;
  Variant number;
  Variant priority;
  Variant parentDeviceId;
  Variant vlanName;

  HRESULT ReadFrom(IWbemClassObject* instance) noexcept {
    if (FAILED(Read(instance, kName, name)) || FAILED(Read(instance, kVlanNumberProperty, number)) ||
        FAILED(Read(instance, kVlanPriorityProperty, priority)) ||
        FAILED(Read(instance, kParentDeviceId, parentDeviceId)) ||
        FAILED(Read(instance, kVlanNameProperty, vlanName))) {
      return WBEM_E_INVALID_PARAMETER;
    }
    const bool isUsable = parentDeviceId.Get()->vt == VT_BSTR && vlanName.Get()->vt == VT_BSTR && number.IsInteger();
    return isUsable ? S_OK : static_cast<HRESULT>(WBEM_E_INVALID_PARAMETER);
  }

  LONG Priority() const noexcept { return priority.IsInteger() ? priority.Integer() : 0; }
};

// Creates or changes, by what the key says. WBEM_E_NOT_FOUND for what was refused.
HRESULT ApplyRequest(const VlanRequest& request, LONG flags) {
  const VlanChangeGate gate;
  CVlanManager manager(TextOrEmpty(request.parentDeviceId));
  const wchar_t* const key = TextOrEmpty(request.name);
  const wchar_t* const name = TextOrEmpty(request.vlanName);
  bool done = true;
  switch (manager.Exists(key)) {
    case CVlanManager::KeyState::NoKey:
      if ((flags & WBEM_FLAG_UPDATE_ONLY) != 0) return S_OK;
      done = manager.Create(name, request.number.Integer(), request.Priority());
      break;
    case CVlanManager::KeyState::Found:
      if ((flags & WBEM_FLAG_CREATE_ONLY) != 0) return S_OK;
      done = manager.Update(key, name, request.number.Integer(), request.Priority());
      break;
    case CVlanManager::KeyState::Unknown:
      return S_OK;
  }
  if (!done) return WBEM_E_NOT_FOUND;
  manager.RestartAdapter();
  return S_OK;
}

// Compared by the rules of the user's language, so with regard to case.
bool IsMethod(const BSTR method, const wchar_t* name) {
  return ::VarBstrCmp(method, Bstr(name).Get(), LOCALE_USER_DEFAULT, 0) == static_cast<HRESULT>(VARCMP_EQ);
}

}  // namespace

QvrnVlan::~QvrnVlan() { HandlerSingleton<QvrnVlan>::Forget(this); }

HRESULT QvrnVlan::BuildInstance(IWbemServices* wmiNamespace, const Vlan& vlan, IWbemContext* context,
                                IWbemClassObject** instance) noexcept try {
  if (!vlan.IsWhole() || !IsAdapterPresent(vlan.instanceId)) return WBEM_E_NOT_FOUND;
  ComPtr<IWbemClassObject> classObject;
  if (FAILED(FetchClass(wmiNamespace, kClassName, context, classObject)) || classObject == nullptr)
    return WBEM_E_FAILED;
  ComPtr<IWbemClassObject> built;
  HRESULT hr = SpawnFrom(classObject, built);
  if (FAILED(hr)) return hr;

  // Kept for schemas that lack a property: only the last put counts.
  PutText(built.Get(), kName, vlan.instanceId);
  PutText(built.Get(), L"CreationClassName", kClassName);
  PutText(built.Get(), L"SystemCreationClassName", L"Win32_ComputerSystem");
  wchar_t computer[kPathChars] = {};
  DWORD size = kPathChars;
  if (!::GetComputerNameW(computer, &size)) return WBEM_E_NOT_FOUND;
  PutText(built.Get(), L"SystemName", computer);
  PutText(built.Get(), kParentDeviceId, vlan.parentDeviceId);
  PutText(built.Get(), kVlanNameProperty, vlan.name);
  PutNumber(built.Get(), kVlanNumberProperty, ::_wtoi(vlan.number));
  hr = PutNumber(built.Get(), kVlanPriorityProperty, ::_wtoi(vlan.priority));
  if (SUCCEEDED(hr)) *instance = built.Detach();
  return hr;
} catch (...) {
  return WbemResultFromCurrentException();
}

HRESULT QvrnVlan::CreateInstanceEnumAsync(const BSTR, LONG, IWbemContext* context, IWbemObjectSink* sink) noexcept try {
  const ComPtr<IWbemServices> wmiNamespace = BorrowNamespace();
  if (sink == nullptr || wmiNamespace == nullptr) return WBEM_E_INVALID_PARAMETER;
  HRESULT status = WBEM_E_NOT_FOUND;
  const auto indicateVlans = [&](const CVlanManager& manager, const wchar_t* deviceId) {
    const CVlanList* list = manager.List();
    for (DWORD index = 0; list != nullptr && index < list->Count(); ++index) {
      ComPtr<IWbemClassObject> instance;
      if (FAILED(BuildInstance(wmiNamespace.Get(), Vlan(deviceId, *list, index), context, &instance))) continue;
      sink->Indicate(1, instance.GetAddressOf());
      status = S_OK;
    }
  };
  if (FAILED(ForEachVlanManager(wmiNamespace.Get(), indicateVlans))) return WBEM_E_INVALID_PARAMETER;
  return FinishRequest(sink, status);
} catch (...) {
  return FinishRequest(sink, WbemResultFromCurrentException());
}

HRESULT QvrnVlan::FindInstance(IWbemServices* wmiNamespace, const wchar_t* key, IWbemContext* context,
                               IWbemClassObject** instance) {
  if (key == nullptr) return WBEM_E_FAILED;
  wchar_t parent[kParentChars];
  CVlanManager manager;
  const HRESULT hr = BindParent(key, parent, manager);
  const CVlanList* list = manager.List();
  for (DWORD index = 0; list != nullptr && index < list->Count(); ++index) {
    if (std::wcscmp(list->InstanceIdAt(index), key) != 0) continue;
    return BuildInstance(wmiNamespace, Vlan(parent, *list, index), context, instance);
  }
  return hr;
}

HRESULT QvrnVlan::GetObjectAsync(const BSTR path, LONG, IWbemContext* context, IWbemObjectSink* sink) noexcept try {
  const ComPtr<IWbemServices> wmiNamespace = BorrowNamespace();
  if (path == nullptr || sink == nullptr || wmiNamespace == nullptr) return WBEM_E_INVALID_PARAMETER;
  ComPtr<IWbemClassObject> instance;
  const HRESULT hr = FindInstance(wmiNamespace.Get(), QuotedKeyPath(path).Key(), context, &instance);
  if (hr == S_OK && instance != nullptr) sink->Indicate(1, instance.GetAddressOf());
  instance.Reset();
  return FinishRequest(sink, hr);
} catch (...) {
  return FinishRequest(sink, WbemResultFromCurrentException());
}

HRESULT QvrnVlan::PutInstanceAsync(IWbemClassObject* instance, LONG flags, IWbemContext*,
                                   IWbemObjectSink* sink) noexcept try {
  if (instance == nullptr || sink == nullptr) return WBEM_E_INVALID_PARAMETER;
  VlanRequest request;
  const HRESULT hr = request.ReadFrom(instance);
  return FAILED(hr) ? hr : FinishRequest(sink, ApplyRequest(request, flags));
} catch (...) {
  return FinishRequest(sink, WbemResultFromCurrentException());
}

HRESULT QvrnVlan::DeleteInstanceAsync(const BSTR path, LONG, IWbemContext*, IWbemObjectSink*) noexcept try {
  const QuotedKeyPath keyPath(path);
  if (keyPath.Key() == nullptr) return WBEM_E_FAILED;
  const VlanChangeGate gate;
  wchar_t parent[kParentChars];
  CVlanManager manager;
  const HRESULT hr = BindParent(keyPath.Key(), parent, manager);
  if (FAILED(hr)) return hr;
  const bool removed = manager.Remove(keyPath.Key());
  manager.RestartAdapter();
  return removed ? S_OK : static_cast<HRESULT>(WBEM_E_NOT_FOUND);
} catch (...) {
  return WbemResultFromCurrentException();
}

HRESULT QvrnVlan::ExecMethodAsync(const BSTR, const BSTR method, LONG, IWbemContext* context,
                                  IWbemClassObject* inParameters, IWbemObjectSink* sink) noexcept try {
  struct Method {
    const wchar_t* name;
    Operation operation;
  };
  constexpr Method kMethods[] = {
      {L"SaveVlanConfiguration", &SaveVlanConfiguration},
      {L"RestoreVlanConfiguration", &RestoreVlanConfiguration},
  };
  for (const Method& candidate : kMethods) {
    if (IsMethod(method, candidate.name)) return RunMethod(method, candidate.operation, context, inParameters, sink);
  }
  return WBEM_E_INVALID_PARAMETER;
} catch (...) {
  return FinishRequest(sink, WbemResultFromCurrentException());
}

HRESULT QvrnVlan::RunMethod(const BSTR method, Operation operation, IWbemContext* context,
                            IWbemClassObject* inParameters, IWbemObjectSink* sink) {
  Bstr className;
  Bstr fileNameProperty;
  Bstr returnValueProperty;
  try {
    className = Bstr(kClassName);
    fileNameProperty = Bstr(kFileName);
    returnValueProperty = Bstr(kReturnValue);
  } catch (...) {
    // The only place where a method goes back to the process's identity.
    ::CoRevertToSelf();
    throw;
  }
  const ComPtr<IWbemServices> wmiNamespace = BorrowNamespace();
  ComPtr<IWbemClassObject> classObject;
  const HRESULT hr = wmiNamespace == nullptr
                         ? static_cast<HRESULT>(WBEM_E_FAILED)
                         : wmiNamespace->GetObject(className.Get(), 0, context, &classObject, nullptr);
  if (FAILED(hr) || classObject == nullptr) {
    FinishRequest(sink, FAILED(hr) ? hr : static_cast<HRESULT>(WBEM_E_FAILED));
    return S_OK;
  }
  ComPtr<IWbemClassObject> outSignature;
  classObject->GetMethod(method, 0, nullptr, &outSignature);
  ComPtr<IWbemClassObject> outParameters;
  if (outSignature != nullptr) outSignature->SpawnInstance(0, &outParameters);

  Variant fileName;
  const bool isRead = inParameters != nullptr && SUCCEEDED(Read(inParameters, fileNameProperty.Get(), fileName));
  const HRESULT result = operation(wmiNamespace.Get(), isRead && fileName.IsText() ? fileName.Text() : nullptr);
  // Kept for clients, which look at the file or list the VLANs: nobody receives the out-parameters.
  if (outParameters != nullptr) PutNumber(outParameters.Get(), returnValueProperty.Get(), result);
  outParameters.Reset();
  outSignature.Reset();
  classObject.Reset();
  return FinishRequest(sink, S_OK);
}

}  // namespace qvrn
