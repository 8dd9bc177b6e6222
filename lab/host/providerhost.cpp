#include "lab/host/providerhost.h"

#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <tuple>
#include <utility>

#include "lab/host/clientcontext.h"
#include "lab/journal.h"
#include "lab/labkey.h"
#include "lab/modulepath.h"
#include "platform/boundedtext.h"
#include "platform/comtext.h"
#include "platform/hresult.h"

// The headers show it for later versions of Windows than the product's; the lab's host has it.
extern "C" HRESULT WINAPI CoIncrementMTAUsage(void** cookie);

using Microsoft::WRL::ComPtr;
using qvrn::HresultFromCurrentException;

namespace lab {
namespace {

using ProviderPointer = ComPtr<IWbemServices>;

constexpr wchar_t kProviderEvent[] = L"provider";
constexpr DWORD kDefaultLevel = 3;

/// Collects what a provider delivers; a provider may call from several threads.
class CollectingSink final : public Unknown<IWbemObjectSink> {
 public:
  HRESULT STDMETHODCALLTYPE Indicate(LONG count, IWbemClassObject** objects) noexcept override try {
    if (count < 0 || (count > 0 && objects == nullptr)) return WBEM_E_INVALID_PARAMETER;
    const std::lock_guard lock(m_mutex);
    m_objects.insert(m_objects.end(), objects, objects + count);
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE SetStatus(LONG flags, HRESULT result, BSTR, IWbemClassObject*) noexcept override try {
    const std::lock_guard lock(m_mutex);
    if (flags == WBEM_STATUS_COMPLETE) m_statuses.push_back(result);
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }

  std::pair<std::vector<HRESULT>, Reply::Objects> Take() {
    const std::lock_guard lock(m_mutex);
    return {std::move(m_statuses), std::move(m_objects)};
  }

 private:
  std::mutex m_mutex;
  Reply::Objects m_objects;
  std::vector<HRESULT> m_statuses;
};

class InitSink final : public Unknown<IWbemProviderInitSink> {
 public:
  HRESULT STDMETHODCALLTYPE SetStatus(LONG status, LONG) noexcept override {
    m_status = status;
    return WBEM_S_NO_ERROR;
  }
  HRESULT Status() const noexcept { return m_status; }

 private:
  std::atomic<HRESULT> m_status{static_cast<HRESULT>(WBEM_E_PROVIDER_LOAD_FAILURE)};
};

/// A provider by name; its lock is held while it is loaded, so that others wait for it.
struct LoadedProvider {
  std::mutex loading;
  ProviderPointer services;
};

/// What outlives every request. Never destroyed: at the end of a process the modules of the providers may be gone
/// first.
struct Host {
  std::mutex mutex;
  std::map<std::wstring, std::shared_ptr<LoadedProvider>> providers;
  ProviderCall lastCall;
  std::atomic<void (*)(HMODULE)> loadedHook{nullptr};
};

Host& TheHost() {
  static Host& host = *new Host;
  return host;
}

/// The calling thread as the service's: apartment, call context, and no trace of the client afterwards.
class ClientThread {
 public:
  explicit ClientThread(DWORD level)
      : m_initialized(::CoInitializeEx(nullptr, COINIT_MULTITHREADED)), m_context(level) {
    ::CoSwitchCallContext(level == 0 ? nullptr : &m_context, &m_previous);
  }
  ClientThread(const ClientThread&) = delete;
  ClientThread& operator=(const ClientThread&) = delete;
  ~ClientThread() {
    IUnknown* context = nullptr;
    ::CoSwitchCallContext(m_previous, &context);
    ::SetThreadToken(nullptr, nullptr);
    if (SUCCEEDED(m_initialized)) ::CoUninitialize();
  }

 private:
  HRESULT m_initialized;
  ClientContext m_context;  ///< with its first reference, so that no caller's last one deletes it
  IUnknown* m_previous = nullptr;
};

HRESULT InitializeProvider(IWbemProviderInit* provider) {
  const ComPtr<InitSink> sink = Make<InitSink>();
  wchar_t name[] = L"root\\cimv2";
  const HRESULT hr = provider->Initialize(nullptr, 0, name, nullptr, Namespace(), nullptr, sink.Get());
  return FAILED(hr) ? hr : sink->Status();
}

HRESULT CreateProvider(const std::wstring& name, ProviderPointer& services) {
  CLSID id = {};
  HRESULT hr = ::CLSIDFromString(NamespaceSchema().ProviderClassId(name).c_str(), &id);
  if (FAILED(hr)) return hr;
  ComPtr<IWbemProviderInit> provider;
  hr = ::CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&provider));
  if (FAILED(hr)) return hr;
  if (const auto hook = TheHost().loadedHook.load()) hook(ModuleAt(*reinterpret_cast<void* const*>(provider.Get())));
  hr = InitializeProvider(provider.Get());
  return FAILED(hr) ? hr : provider.As(&services);
}

/// Null when the provider cannot be loaded; the journal says why.
ProviderPointer LoadProvider(const std::wstring& name) {
  ProviderPointer services;
  HRESULT hr = S_OK;
  RunAsClient(0, [&] { hr = CreateProvider(name, services); });
  if (SUCCEEDED(hr)) return services;
  wchar_t text[qvrn::kPathChars];
  qvrn::FormatText(text, L"%s cannot be loaded: 0x%08X", name.c_str(), static_cast<unsigned>(hr));
  Record(kProviderEvent, text);
  return nullptr;
}

/// The first one to ask loads. A failure is not kept.
ProviderPointer Provider(const std::wstring& name) {
  std::shared_ptr<LoadedProvider> provider;
  {
    const std::lock_guard lock(TheHost().mutex);
    auto& known = TheHost().providers[name];
    if (known == nullptr) known = std::make_shared<LoadedProvider>();
    provider = known;
  }
  const std::lock_guard lock(provider->loading);
  if (provider->services == nullptr) provider->services = LoadProvider(name);
  return provider->services;
}

HRESULT Outcome(const ProviderCall& call) {
  if (!call.statuses.empty()) return call.statuses.front();
  return SUCCEEDED(call.result) ? static_cast<HRESULT>(WBEM_E_PROVIDER_FAILURE) : call.result;
}

}  // namespace

void RunAsClient(DWORD level, const std::function<void()>& request) {
  // The apartment outlives its threads.
  static void* apartment = nullptr;
  static const HRESULT kept = ::CoIncrementMTAUsage(&apartment);
  static_cast<void>(kept);
  const auto run = [&] {
    const ClientThread client(level);
    request();
  };
  std::packaged_task<void()> task(run);
  std::future<void> done = task.get_future();
  std::thread(std::move(task)).join();
  done.get();
}

Reply CallProvider(const std::wstring& name, const ProviderRequest& request) {
  const ProviderPointer provider = Provider(name);
  if (provider == nullptr) return Reply(WBEM_E_PROVIDER_LOAD_FAILURE);
  const ComPtr<CollectingSink> sink = Make<CollectingSink>();
  ProviderCall call;
  RunAsClient(LabNumber(L"ImpersonationLevel", kDefaultLevel),
              [&] { call.result = request(provider.Get(), sink.Get()); });
  Reply::Objects objects;
  std::tie(call.statuses, objects) = sink->Take();
  Reply reply(Outcome(call), std::move(objects));
  const std::lock_guard lock(TheHost().mutex);
  TheHost().lastCall = std::move(call);
  return reply;
}

ProviderCall LastProviderCall() {
  const std::lock_guard lock(TheHost().mutex);
  return TheHost().lastCall;
}

void ForgetProviders() {
  decltype(Host::providers) forgotten;
  const std::lock_guard lock(TheHost().mutex);
  forgotten.swap(TheHost().providers);
}

void SetProviderLoadedHook(void (*hook)(HMODULE module)) noexcept { TheHost().loadedHook = hook; }

}  // namespace lab
