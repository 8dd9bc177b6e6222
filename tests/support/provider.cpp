#include "tests/support/provider.h"

#include <objbase.h>
#include <olectl.h>

#include <gtest/gtest.h>

#include <sstream>

#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

namespace tests {
namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;
using qvrn::Variant;

class InitSink final : public IWbemProviderInitSink {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) noexcept override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 2; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }
  HRESULT STDMETHODCALLTYPE SetStatus(LONG status, LONG flags) noexcept override {
    EXPECT_EQ(flags, 0);
    statuses.push_back({status});
    return S_OK;
  }

  std::vector<Code> statuses;
};

}  // namespace

TestNamespace& TestNamespace::Instance() {
  static TestNamespace& instance = *new TestNamespace;
  return instance;
}

HRESULT TestNamespace::QueryInterface(REFIID riid, void** ppv) noexcept {
  *ppv = nullptr;
  if (riid != IID_IUnknown && riid != IID_IWbemServices) return E_NOINTERFACE;
  *ppv = static_cast<IWbemServices*>(this);
  AddRef();
  return S_OK;
}

HRESULT TestNamespace::GetObject(const BSTR path, LONG flags, IWbemContext* context, IWbemClassObject** object,
                                 IWbemCallResult** callResult) noexcept {
  Note(L"GetObject(" + std::wstring(path) + L", " + std::to_wstring(flags) + (context ? L", context)" : L")"));
  if (failGetObject != S_OK) return failGetObject;
  if (classObject == nullptr) return lab::Namespace()->GetObject(path, flags, nullptr, object, callResult);
  classObject->AddRef();
  *object = classObject;
  return S_OK;
}

HRESULT TestNamespace::ExecQuery(const BSTR language, const BSTR query, LONG flags, IWbemContext* context,
                                 IEnumWbemClassObject** objects) noexcept {
  if (failQuery != S_OK) return failQuery;
  std::wostringstream call;
  call << L"ExecQuery(" << language << L", " << query << L", 0x" << std::hex << flags
       << (context ? L", context)" : L")");
  Note(call.str());
  return lab::Namespace()->ExecQuery(language, query, flags, context, objects);
}

void TestNamespace::Note(std::wstring call) {
  if (onCall) onCall();
  const std::lock_guard<std::mutex> guard(m_lock);
  calls.push_back(std::move(call));
}

void TestNamespace::Reset() {
  failQuery = failGetObject = S_OK;
  classObject = nullptr;
  onCall = nullptr;
  calls.clear();
}

std::string Outcome::Text() const {
  std::ostringstream text;
  text << result << ", sink";
  for (const Code status : sink.statuses) text << " " << status;
  return text.str();
}

ComPtr<IWbemProviderInit> CreateProvider() {
  ComPtr<IClassFactory> factory;
  ComPtr<IWbemProviderInit> provider;
  EXPECT_HRESULT(S_OK, ::DllGetClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory)));
  EXPECT_HRESULT(S_OK, factory->CreateInstance(nullptr, IID_PPV_ARGS(&provider)));
  return provider;
}

Outcome InitializeProvider(IWbemProviderInit* provider, IWbemServices* wmiNamespace) {
  InitSink sink;
  wchar_t name[] = L"root\\cimv2";
  Outcome outcome;
  outcome.result = {provider->Initialize(nullptr, 0, name, nullptr, wmiNamespace, nullptr, &sink)};
  outcome.sink.statuses = sink.statuses;
  return outcome;
}

Provider::Provider() {
  const ComPtr<IWbemProviderInit> provider = CreateProvider();
  TestNamespace::Instance().Reset();
  EXPECT_EQ(InitializeProvider(provider.Get(), &TestNamespace::Instance()).Text(), "0x00000000, sink 0x00000000");
  provider.As(&m_services);
}

Outcome Provider::Run(const Request& request, DWORD level) const {
  RecordingSink sink;
  Outcome outcome;
  lab::RunAsClient(level, [&] { outcome.result = {request(m_services.Get(), &sink)}; });
  EXPECT_TRUE(sink.calls.wellFormed);
  outcome.sink = std::move(sink.calls);
  return outcome;
}

Outcome Provider::Enumerate(const wchar_t* className, DWORD level) const {
  const Bstr name(className);
  return Run([&](IWbemServices* services,
                 IWbemObjectSink* sink) { return services->CreateInstanceEnumAsync(name.Get(), 0, nullptr, sink); },
             level);
}

Outcome Provider::Get(const wchar_t* path, DWORD level) const {
  const Bstr text(path);
  return Run([&](IWbemServices* services,
                 IWbemObjectSink* sink) { return services->GetObjectAsync(text.Get(), 0, nullptr, sink); },
             level);
}

Outcome Provider::Put(IWbemClassObject* instance, LONG flags, DWORD level) const {
  return Run([&](IWbemServices* services,
                 IWbemObjectSink* sink) { return services->PutInstanceAsync(instance, flags, nullptr, sink); },
             level);
}

Outcome Provider::Delete(const wchar_t* path, DWORD level) const {
  const Bstr text(path);
  return Run([&](IWbemServices* services,
                 IWbemObjectSink* sink) { return services->DeleteInstanceAsync(text.Get(), 0, nullptr, sink); },
             level);
}

Outcome Provider::Method(const wchar_t* path, const wchar_t* method, IWbemClassObject* inParameters,
                         DWORD level) const {
  const Bstr text(path);
  const Bstr name(method);
  return Run(
      [&](IWbemServices* services, IWbemObjectSink* sink) {
        return services->ExecMethodAsync(text.Get(), name.Get(), 0, nullptr, inParameters, sink);
      },
      level);
}

std::wstring PropertyText(IWbemClassObject* object, const wchar_t* name) {
  Variant value;
  if (FAILED(object->Get(name, 0, value.Put(), nullptr, nullptr))) return L"no such property";
  if (value.IsText()) return value.Text();
  if (value.IsInteger()) return std::to_wstring(value.Integer());
  if (value.Get()->vt == VT_NULL) return L"null";
  return L"VT " + std::to_wstring(value.Get()->vt);
}

}  // namespace tests
