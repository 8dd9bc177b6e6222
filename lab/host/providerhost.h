// Loading a provider and calling it as the service does.
#pragma once

#include <wrl/client.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "lab/wmi/wbemhost.h"

namespace lab {

/// What a request came to. Objects may stand beside a failed status: they were delivered before it.
struct Reply {
  using Objects = std::vector<Microsoft::WRL::ComPtr<IWbemClassObject>>;

  explicit Reply(HRESULT outcome = WBEM_S_NO_ERROR, Objects delivered = {})
      : status(outcome), objects(std::move(delivered)) {}

  /// What the service itself turns down, before any provider is asked: told at once, even by a semisynchronous call.
  static Reply Refused(HRESULT reason) {
    Reply reply(reason);
    reply.refused = true;
    return reply;
  }

  HRESULT status;
  Objects objects;
  bool refused = false;
};

/// One asynchronous call on a loaded provider.
using ProviderRequest = std::function<HRESULT(IWbemServices* provider, IWbemObjectSink* sink)>;

/// Loads the provider named `name` unless it is loaded (WBEM_E_PROVIDER_LOAD_FAILURE) and runs one request on it under
/// a client of the level that the lab is set to. The first final status decides; a provider that sends none is judged
/// by its result, and one that then claims success has failed (WBEM_E_PROVIDER_FAILURE): its client would wait for
/// ever.
Reply CallProvider(const std::wstring& name, const ProviderRequest& request);

}  // namespace lab
