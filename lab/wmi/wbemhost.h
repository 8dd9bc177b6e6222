// The WMI service's side of a provider call, and the namespace that clients see.
#pragma once

#include <functional>
#include <vector>

#include "lab/schema/namespaceschema.h"
#include "platform/wmi.h"

namespace lab {

/// Class object for CLSID_WbemLocator; alive as long as the process.
IClassFactory* LocatorClassFactory();

/// The namespace root\cimv2: one object per process, never freed, serving whatever machine HKEY_LOCAL_MACHINE shows at
/// the moment of a call. Null while the schema cannot be read; why stands on standard error and in the journal.
IWbemServices* Namespace();

/// Runs `request` as the service does: on a fresh thread in the multithreaded apartment that carries a call context
/// and, once CoImpersonateClient is called, an impersonation token of the given level (1 Anonymous .. 4 Delegate; 0
/// makes CoImpersonateClient fail with RPC_E_CALL_COMPLETE). The thread is joined before this returns; what `request`
/// throws is thrown here.
void RunAsClient(DWORD level, const std::function<void()>& request);

/// What a provider method returned and every final status that it sent to its sink; the first of them is the outcome.
struct ProviderCall {
  HRESULT result = S_OK;
  std::vector<HRESULT> statuses;
};

/// The provider call of the namespace that ended last.
ProviderCall LastProviderCall();

/// Before a machine is taken away: forgets the providers loaded by the namespace, so that the next request loads them
/// anew.
void ForgetProviders();

/// Called with the module of a provider that the namespace has just created, before its Initialize; null for none.
void SetProviderLoadedHook(void (*hook)(HMODULE module)) noexcept;

}  // namespace lab
