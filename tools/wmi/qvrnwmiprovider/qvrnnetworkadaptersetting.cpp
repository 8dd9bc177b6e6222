#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadaptersetting.h"

#include <wrl/client.h>

#include "platform/assertion.h"
#include "platform/comtext.h"
#include "tools/wmi/qvrnwmiprovider/objectpath.h"
#include "tools/wmi/qvrnwmiprovider/qvrnnetworkadapterconfiguration.h"
#include "tools/wmi/qvrnwmiprovider/utils.h"
#include "tools/wmi/qvrnwmiprovider/wmiquery.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr char kSettingSource[] = "qvrnnetworkadaptersetting";

}  // namespace

QvrnNetworkAdapterSetting::~QvrnNetworkAdapterSetting() { HandlerSingleton<QvrnNetworkAdapterSetting>::Forget(this); }

HRESULT QvrnNetworkAdapterSetting::BuildSettingInstance(IWbemServices* wmiNamespace, const wchar_t* elementPath,
                                                        const wchar_t* settingPath, const wchar_t* className,
                                                        IWbemContext* context, IWbemClassObject** instance) noexcept
    try {
  ComPtr<IWbemClassObject> classObject;
  if (FetchClass(wmiNamespace, className, context, classObject) != S_OK || classObject == nullptr) return WBEM_E_FAILED;
  ComPtr<IWbemClassObject> built;
  const HRESULT hr = SpawnFrom(classObject, built);
  if (FAILED(hr)) return hr;
  // Kept for schemas that lack one of the two: the results of both puts are of no interest.
  Variant element(elementPath);
  built->Put(L"Element", 0, element.Get(), 0);
  Variant setting(settingPath);
  built->Put(L"Setting", 0, setting.Get(), 0);
  *instance = built.Detach();
  return S_OK;
} catch (...) {
  return WbemResultFromCurrentException();
}

HRESULT QvrnNetworkAdapterSetting::BuildForAdapter(IWbemServices* wmiNamespace, const wchar_t* index,
                                                   const wchar_t* className, IWbemContext* context,
                                                   IWbemClassObject** instance) noexcept {
  wchar_t element[kPathChars];
  wchar_t setting[kPathChars];
  FormatObjectPath(element, kPathChars, L"Win32_NetworkAdapter", L"DeviceID", index);
  FormatObjectPath(setting, kPathChars, QvrnNetworkAdapterConfiguration::kClassName, L"SettingID", index);
  return BuildSettingInstance(wmiNamespace, element, setting, className, context, instance);
}

HRESULT QvrnNetworkAdapterSetting::CreateInstanceEnumAsync(const BSTR className, LONG, IWbemContext* context,
                                                           IWbemObjectSink* sink) noexcept try {
  const ComPtr<IWbemServices> wmiNamespace = BorrowNamespace();
  if (sink == nullptr || wmiNamespace == nullptr) return WBEM_E_INVALID_PARAMETER;
  HRESULT status = WBEM_E_NOT_FOUND;
  const auto link = [&](ComPtr<IWbemClassObject> configuration) {
    Variant settingId;
    HRESULT hr = configuration->Get(L"SettingID", 0, settingId.Put(), nullptr, nullptr);
    QVRN_CHECK_HRESULT(hr, kSettingSource);
    if (!settingId.IsText() || CheckAdapterIndex(AdapterIndexOf(settingId.Text())) != ERROR_SUCCESS) return;
    ComPtr<IWbemClassObject> instance;
    hr = BuildForAdapter(wmiNamespace.Get(), settingId.Text(), className, context, &instance);
    settingId.Put();
    configuration.Reset();
    if (hr != S_OK) return;
    status = S_OK;
    sink->Indicate(1, instance.GetAddressOf());
  };
  if (FAILED(ForEachInstance(wmiNamespace.Get(), L"SELECT * FROM QvrnEN_NetworkAdapterConfiguration", link))) {
    return WBEM_E_INVALID_PARAMETER;
  }
  return FinishRequest(sink, status);
} catch (...) {
  return FinishRequest(sink, WbemResultFromCurrentException());
}

HRESULT QvrnNetworkAdapterSetting::GetObjectAsync(const BSTR path, LONG, IWbemContext*,
                                                  IWbemObjectSink* sink) noexcept {
  const ComPtr<IWbemServices> wmiNamespace = BorrowNamespace();
  if (path == nullptr || sink == nullptr || wmiNamespace == nullptr) return WBEM_E_INVALID_PARAMETER;
  const ReferenceDigits digits(path);
  HRESULT hr = CheckAdapterIndex(AdapterIndexOf(digits.Text()));
  ComPtr<IWbemClassObject> instance;
  if (hr == ERROR_SUCCESS) hr = BuildForAdapter(wmiNamespace.Get(), digits.Text(), kClassName, nullptr, &instance);
  if (hr == S_OK) sink->Indicate(1, instance.GetAddressOf());
  instance.Reset();
  return FinishRequest(sink, hr);
}

HRESULT QvrnNetworkAdapterSetting::PutInstanceAsync(IWbemClassObject*, LONG, IWbemContext*, IWbemObjectSink*) noexcept {
  return WBEM_E_NOT_AVAILABLE;
}

}  // namespace qvrn
