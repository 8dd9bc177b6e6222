#pragma once

#include <wrl/client.h>

#include "lab/host/providerhost.h"

namespace lab {

/// An enumerator over the objects of a reply; a failed status comes after the last of them, as in a semisynchronous
/// call. With WBEM_FLAG_FORWARD_ONLY it can neither be cloned nor reset.
Microsoft::WRL::ComPtr<IEnumWbemClassObject> MakeEnumerator(Reply reply, LONG flags);

}  // namespace lab
