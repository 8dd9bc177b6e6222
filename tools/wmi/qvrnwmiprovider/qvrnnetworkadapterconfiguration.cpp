#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadapterconfiguration.h"

#include <cstdlib>
#include <memory>

#include <wrl/client.h>

#include "platform/comtext.h"
#include "tools/winhalvextune/cadvanceddlg.h"
#include "tools/winhalvextune/registrypaths.h"
#include "tools/wmi/qvrnwmiprovider/objectpath.h"
#include "tools/wmi/qvrnwmiprovider/utils.h"
#include "tools/wmi/qvrnwmiprovider/wmiquery.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr wchar_t kSettingId[] = L"SettingID";

struct PropertyRow {
  const wchar_t* keyword;
  const wchar_t* property;
};

// Registry keyword of a parameter, compared exactly, and the property that carries it.
constexpr PropertyRow kProperties[] = {
    {L"*FlowControl", L"FlowControl"},
    {L"*InterruptModeration", L"InterruptModeration"},
    {L"*IPChecksumOffloadIPv4", L"IPChecksumOffloadv4"},
    {L"*TCPUDPChecksumOffloadIPv4", L"TcpUdpChecksumOffloadv4"},
    {L"*TCPUDPChecksumOffloadIPv6", L"TcpUdpChecksumOffloadv6"},
    {L"LargeSendOffload", L"LargeSendOffload"},
    {L"*JumboPacket", L"MaxFrameSize"},
    {L"RecvCompletionMethod", L"ReceiveCompletionMethod"},
    {L"RecvRingSize", L"ReceiveRingSize"},
    {L"*RSS", L"RssMode"},
    {L"*HeaderDataSplit", L"HeaderDataSplit"},
    {L"RxIntModeration", L"RxIntModerationType"},
    {L"SendCompletionMethod", L"SendCompletionMethod"},
    {L"SendIntModCount", L"InterruptModerationSendPacketCount"},
    {L"SendIntModTime", L"InterruptModerationSendPacketTime"},
    {L"SendRingSize", L"SendRingSize"},
    {L"UseDma", L"BusMasterDmaOperations"},
    {L"UseRSSForUDP", L"UseRssForUDP"},
};

// Null for a parameter that no property carries.
const wchar_t* PropertyFor(const CParameter& parameter) noexcept {
  for (const PropertyRow& row : kProperties) {
    if (parameter.Name() == row.keyword) return row.property;
  }
  return nullptr;
}

// Calls `action(parameter, property)` for every parameter that a property carries, in slot order, until one fails.
template <typename Action>
HRESULT ForEachProperty(const CAdvancedDlg& model, const Action& action) {
  for (std::size_t slot = 0; slot < CAdvancedDlg::kSlots; ++slot) {
    CParameter* parameter = model.Slot(slot);
    const wchar_t* property = parameter == nullptr ? nullptr : PropertyFor(*parameter);
    if (property == nullptr) continue;
    const HRESULT hr = action(*parameter, property);
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

// The parameter model of a served adapter; none when its instance GUID or one of its descriptions cannot be used.
// Throws std::bad_alloc.
std::unique_ptr<CAdvancedDlg> OpenAdapterParameters(DWORD index, const InstanceId& instanceId) {
  wchar_t path[kPathChars];
  FormatText(path, kInstanceKeyFormat, kNetworkClassKey, index);
  GUID guid = {};
  if (FAILED(::CLSIDFromString(instanceId, &guid))) return nullptr;
  wchar_t deviceNodeId[kPathChars] = {};
  if (FAILED(GetAdapterPnpDevNodeId(guid, deviceNodeId, kPathChars))) return nullptr;
  auto model = std::make_unique<CAdvancedDlg>(path);
  return model->Load(deviceNodeId) ? std::move(model) : nullptr;
}

HRESULT PutValue(IWbemClassObject* instance, const wchar_t* property, Variant& value) noexcept {
  return instance->Put(property, 0, value.Get(), 0);
}

// A property's type follows the kind of the adapter's parameter.
HRESULT PutParameter(IWbemClassObject* instance, const CParameter& parameter, const wchar_t* property) {
  switch (parameter.Kind()) {
    case ParameterKind::Enumeration: {
      Variant value(static_cast<LONG>(::_wtoi(static_cast<const CEnumParameter&>(parameter).Value())));
      return PutValue(instance, property, value);
    }
    case ParameterKind::Integer: {
      Variant value(static_cast<const CIntParameter&>(parameter).Value());
      return PutValue(instance, property, value);
    }
    default: {
      Variant value(static_cast<const CStringParameter&>(parameter).Text());
      return PutValue(instance, property, value);
    }
  }
}

// Values that the adapter does not allow are ignored, so that a put never fails halfway because of one.

HRESULT SetParameter(CIntParameter& parameter, const Variant& value) noexcept {
  if (!value.IsInteger()) return E_FAIL;
  if (value.Integer() >= parameter.Minimum() && value.Integer() <= parameter.Maximum()) {
    parameter.SetValue(value.Integer());
  }
  return S_OK;
}

HRESULT SetParameter(CEnumParameter& parameter, const Variant& value) {
  if (!value.IsInteger()) return E_FAIL;
  wchar_t text[kPathChars];
  FormatText(text, L"%d", value.Integer());
  parameter.SetByValue(text);
  return S_OK;
}

HRESULT SetParameter(CStringParameter& parameter, const Variant& value) {
  if (value.Get()->vt != VT_BSTR) return E_FAIL;
  parameter.SetText(value.IsText() ? value.Text() : L"");
  return S_OK;
}

HRESULT TakeValue(IWbemClassObject* instance, CParameter& parameter, const wchar_t* property) {
  Variant value;
  const HRESULT hr = instance->Get(property, 0, value.Put(), nullptr, nullptr);
  if (FAILED(hr)) return hr;
  switch (parameter.Kind()) {
    case ParameterKind::Enumeration:
      return SetParameter(static_cast<CEnumParameter&>(parameter), value);
    case ParameterKind::Integer:
      return SetParameter(static_cast<CIntParameter&>(parameter), value);
    default:
      return SetParameter(static_cast<CStringParameter&>(parameter), value);
  }
}

// Writes an instance back. 0 when the model was applied, and also when there is no model for the adapter (kept
// for clients that put without looking). Nothing is written before every property has been looked at.
HRESULT ApplyConfigurationInstance(IWbemClassObject* instance) noexcept try {
  Variant settingId;
  HRESULT hr = instance->Get(kSettingId, 0, settingId.Put(), nullptr, nullptr);
  if (FAILED(hr)) return hr;
  if (!settingId.IsText()) return E_FAIL;
  const auto index = AdapterIndexOf(settingId.Text());
  InstanceId instanceId;
  if (CheckAdapterIndex(index, &instanceId) != ERROR_SUCCESS) return WBEM_E_NOT_FOUND;
  const std::unique_ptr<CAdvancedDlg> model = OpenAdapterParameters(index, instanceId);
  if (model == nullptr) return S_OK;
  hr = ForEachProperty(*model, [instance](CParameter& parameter, const wchar_t* property) {
    return TakeValue(instance, parameter, property);
  });
  if (FAILED(hr)) return hr;
  return model->Apply() ? S_OK : E_FAIL;
} catch (...) {
  return WbemResultFromCurrentException();
}

}  // namespace

QvrnNetworkAdapterConfiguration::~QvrnNetworkAdapterConfiguration() {
  HandlerSingleton<QvrnNetworkAdapterConfiguration>::Forget(this);
}

HRESULT QvrnNetworkAdapterConfiguration::BuildConfigurationInstance(IWbemServices* wmiNamespace,
                                                                    const wchar_t* deviceId, const wchar_t* className,
                                                                    IWbemContext* context,
                                                                    IWbemClassObject** instance) noexcept try {
  const auto index = AdapterIndexOf(deviceId);
  InstanceId instanceId;
  if (CheckAdapterIndex(index, &instanceId) != ERROR_SUCCESS) return WBEM_E_NOT_FOUND;
  const std::unique_ptr<CAdvancedDlg> model = OpenAdapterParameters(index, instanceId);
  if (model == nullptr) return WBEM_E_FAILED;

  ComPtr<IWbemClassObject> classObject;
  HRESULT hr = FetchClass(wmiNamespace, className, context, classObject);
  if (FAILED(hr)) return hr;
  if (hr != S_OK || classObject == nullptr) return WBEM_E_FAILED;
  ComPtr<IWbemClassObject> built;
  hr = SpawnFrom(classObject, built);
  if (FAILED(hr)) return hr;
  Variant settingId(deviceId);
  hr = PutValue(built.Get(), kSettingId, settingId);
  if (FAILED(hr)) return hr;
  hr = ForEachProperty(*model, [&built](const CParameter& parameter, const wchar_t* property) {
    return PutParameter(built.Get(), parameter, property);
  });
  if (SUCCEEDED(hr)) *instance = built.Detach();
  return hr;
} catch (...) {
  return WbemResultFromCurrentException();
}

HRESULT QvrnNetworkAdapterConfiguration::CreateInstanceEnumAsync(const BSTR className, LONG, IWbemContext* context,
                                                                 IWbemObjectSink* sink) noexcept try {
  const ComPtr<IWbemServices> wmiNamespace = BorrowNamespace();
  if (sink == nullptr || className == nullptr || wmiNamespace == nullptr) return WBEM_E_INVALID_PARAMETER;
  HRESULT status = WBEM_E_NOT_FOUND;
  const HRESULT queried = ForEachNetworkAdapter(wmiNamespace.Get(), [&](const wchar_t* deviceId) {
    ComPtr<IWbemClassObject> instance;
    if (FAILED(BuildConfigurationInstance(wmiNamespace.Get(), deviceId, className, context, &instance))) return;
    status = S_OK;
    sink->Indicate(1, instance.GetAddressOf());
  });
  return FAILED(queried) ? static_cast<HRESULT>(WBEM_E_NOT_FOUND) : FinishRequest(sink, status);
} catch (...) {
  return FinishRequest(sink, WbemResultFromCurrentException());
}

HRESULT QvrnNetworkAdapterConfiguration::GetObjectAsync(const BSTR path, LONG, IWbemContext* context,
                                                        IWbemObjectSink* sink) noexcept {
  const ComPtr<IWbemServices> wmiNamespace = BorrowNamespace();
  if (path == nullptr || sink == nullptr || wmiNamespace == nullptr) return WBEM_E_INVALID_PARAMETER;
  const QuotedKeyPath key(path);
  if (key.Key() == nullptr) return FinishRequest(sink, WBEM_E_FAILED);
  ComPtr<IWbemClassObject> instance;
  const HRESULT hr = BuildConfigurationInstance(wmiNamespace.Get(), key.Key(), key.ClassName(), context, &instance);
  if (SUCCEEDED(hr)) sink->Indicate(1, instance.GetAddressOf());
  instance.Reset();
  return FinishRequest(sink, hr);
}

HRESULT QvrnNetworkAdapterConfiguration::PutInstanceAsync(IWbemClassObject* instance, LONG flags, IWbemContext*,
                                                          IWbemObjectSink* sink) noexcept {
  if ((flags & WBEM_FLAG_CREATE_ONLY) != 0 || instance == nullptr || sink == nullptr) return WBEM_E_INVALID_PARAMETER;
  const HRESULT applied = ApplyConfigurationInstance(instance);
  return FinishRequest(sink, applied == S_OK ? static_cast<HRESULT>(WBEM_E_NOT_FOUND) : S_OK);
}

}  // namespace qvrn
