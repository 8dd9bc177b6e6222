#include "tools/wmi/qvrnwmiprovider/wmiquery.h"

#include <utility>

#include "platform/comtext.h"

namespace qvrn {

using Microsoft::WRL::ComPtr;

HRESULT FetchClass(IWbemServices* wmiNamespace, const wchar_t* className, IWbemContext* context,
                   ComPtr<IWbemClassObject>& classObject) {
  return wmiNamespace->GetObject(Bstr(className).Get(), 0, context, &classObject, nullptr);
}

HRESULT SpawnFrom(ComPtr<IWbemClassObject>& classObject, ComPtr<IWbemClassObject>& instance) noexcept {
  const HRESULT hr = classObject->SpawnInstance(0, &instance);
  classObject.Reset();
  return SUCCEEDED(hr) && instance == nullptr ? static_cast<HRESULT>(WBEM_E_FAILED) : hr;
}

HRESULT ForEachInstance(IWbemServices* wmiNamespace, const wchar_t* query,
                        const std::function<void(ComPtr<IWbemClassObject>)>& visit) {
  constexpr LONG kFlags = WBEM_FLAG_DIRECT_READ | WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY;
  const Bstr language(L"WQL");
  const Bstr text(query);
  ComPtr<IEnumWbemClassObject> instances;
  const HRESULT hr = wmiNamespace->ExecQuery(language.Get(), text.Get(), kFlags, nullptr, &instances);
  if (FAILED(hr)) return hr;
  if (instances == nullptr) return WBEM_E_FAILED;
  for (;;) {
    ComPtr<IWbemClassObject> instance;
    ULONG returned = 0;
    instances->Next(static_cast<LONG>(WBEM_INFINITE), 1, &instance, &returned);
    if (returned == 0 || instance == nullptr) return S_OK;
    visit(std::move(instance));
  }
}

HRESULT ForEachNetworkAdapter(IWbemServices* wmiNamespace, const std::function<void(const wchar_t*)>& visit) {
  return ForEachInstance(wmiNamespace, L"SELECT * FROM Win32_NetworkAdapter", [&](ComPtr<IWbemClassObject> adapter) {
    Variant deviceId;
    const HRESULT hr = adapter->Get(L"DeviceID", 0, deviceId.Put(), nullptr, nullptr);
    adapter.Reset();
    if (SUCCEEDED(hr) && deviceId.IsText()) visit(deviceId.Text());
  });
}

}  // namespace qvrn
