// How the handlers ask the service for classes and instances.
#pragma once

#include <wrl/client.h>

#include <functional>

#include "platform/wmi.h"

namespace qvrn {

/// A class, by GetObject; the result is GetObject's.
HRESULT FetchClass(IWbemServices* wmiNamespace, const wchar_t* className, IWbemContext* context,
                   Microsoft::WRL::ComPtr<IWbemClassObject>& classObject);

/// A new instance, by SpawnInstance, and the class released: SpawnInstance's failure, or WBEM_E_FAILED when it succeeds
/// without an instance.
HRESULT SpawnFrom(Microsoft::WRL::ComPtr<IWbemClassObject>& classObject,
                  Microsoft::WRL::ComPtr<IWbemClassObject>& instance) noexcept;

/// Visits each instance that a WQL query gives, one at a time. The result is the failure of the query, or S_OK; what
/// comes after an instance that cannot be fetched is left out. Throws what `visit` throws, and std::bad_alloc.
HRESULT ForEachInstance(IWbemServices* wmiNamespace, const wchar_t* query,
                        const std::function<void(Microsoft::WRL::ComPtr<IWbemClassObject>)>& visit);

/// Visits the DeviceID of each Win32_NetworkAdapter; one whose DeviceID cannot be read, or is no text, is left out.
HRESULT ForEachNetworkAdapter(IWbemServices* wmiNamespace, const std::function<void(const wchar_t* deviceId)>& visit);

}  // namespace qvrn
