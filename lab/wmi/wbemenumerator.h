#pragma once

#include <wrl/client.h>

#include "lab/host/providerhost.h"

namespace lab {

/// An enumerator over the objects of a reply, for one thread at a time; a failed status comes after the last of them,
/// as in a semisynchronous call. NextAsync answers WBEM_E_NOT_SUPPORTED.
Microsoft::WRL::ComPtr<IEnumWbemClassObject> MakeEnumerator(Reply reply);

}  // namespace lab
