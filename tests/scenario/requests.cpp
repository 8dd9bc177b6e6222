#include "tests/scenario/requests.h"

#include <objbase.h>

#include <atomic>
#include <stdexcept>

#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/scenario/comproxy.h"
#include "tests/scenario/events.h"
#include "tests/scenario/platformcalls.h"
#include "tools/wmi/qvrnwmiprovider/selfregistration.h"

namespace scenario {
namespace {

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;
using qvrn::Variant;

void Check(HRESULT hr, const char* what) {
  if (FAILED(hr)) throw std::runtime_error(std::string(what) + ": " + Hex(static_cast<std::uint32_t>(hr)));
}

/// A COM object on the stack of a test, which nobody may keep.
template <typename Interface>
class Borrowed : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    *object = nullptr;
    if (id != IID_IUnknown && id != __uuidof(Interface)) return E_NOINTERFACE;
    *object = this;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return --m_references; }

 protected:
  ~Borrowed() {
    if (m_references != 0) Note("kept", "", "a sink");
  }

 private:
  std::atomic<ULONG> m_references{0};
};

// All properties of an object that have a value, in the schema's order.
std::string Properties(IWbemClassObject* object) {
  std::string text;
  Variant className;
  object->Get(L"__CLASS", 0, className.Put(), nullptr, nullptr);
  text = className.IsText() ? Utf8(className.Text()) : "?";
  object->BeginEnumeration(WBEM_FLAG_NONSYSTEM_ONLY);
  for (;;) {
    Bstr name;
    Variant value;
    if (object->Next(0, name.Put(), value.Put(), nullptr, nullptr) != WBEM_S_NO_ERROR) break;
    if (value.Get()->vt == VT_NULL) continue;
    text += " " + Utf8(name.Get()) + "=" + VariantText(*value.Get());
  }
  object->EndEnumeration();
  return text;
}

class Sink final : public Borrowed<IWbemObjectSink> {
 public:
  HRESULT STDMETHODCALLTYPE Indicate(LONG count, IWbemClassObject** objects) noexcept override {
    const Observation unobserved(false);
    if (count != 1) Note("indicate", "", std::to_string(count) + " objects at once");
    for (LONG index = 0; index < count; ++index)
      Note("indicate", "", Properties(static_cast<IWbemClassObject*>(Unwrap(objects[index]))));
    return WBEM_S_NO_ERROR;
  }
  HRESULT STDMETHODCALLTYPE SetStatus(LONG flags, HRESULT result, BSTR text,
                                      IWbemClassObject* object) noexcept override {
    const Observation unobserved(false);
    const std::string code = Hex(static_cast<std::uint32_t>(result));
    const bool isPlain = flags == WBEM_STATUS_COMPLETE && text == nullptr && object == nullptr;
    const std::string live = LiveStandIns();
    const bool keeps = live.find("IWbemClassObject") != std::string::npos;
    Note("status", "", code + (isPlain ? "" : " with more") + (keeps ? " while an object lives" : ""));
    statuses += " " + code + (isPlain ? "" : "+");
    FailureOf("IWbemObjectSink::SetStatus", code);
    return WBEM_S_NO_ERROR;
  }

  std::string statuses;
};

class InitSink final : public Borrowed<IWbemProviderInitSink> {
 public:
  HRESULT STDMETHODCALLTYPE SetStatus(LONG status, LONG flags) noexcept override {
    const Observation unobserved(false);
    Note("init", "", Hex(static_cast<std::uint32_t>(status)) + (flags == 0 ? "" : " with flags"));
    return WBEM_S_NO_ERROR;
  }
};

template <typename Interface>
ComPtr<Interface> Observed(ComPtr<Interface> object, const std::string& label = "") {
  ComPtr<Interface> observed;
  *observed.GetAddressOf() = reinterpret_cast<Interface*>(Wrap(object.Detach(), __uuidof(Interface), label));
  return observed;
}

// The object with these values, under observation. What the schema refuses comes from a client with a schema of its own.
ComPtr<IWbemClassObject> Filled(ComPtr<IWbemClassObject> object, const std::vector<PropertyValue>& values) {
  for (const PropertyValue& property : values) {
    Variant value;
    property.Set(*value.Get());
    if (FAILED(object->Put(property.name.c_str(), 0, value.Get(), 0))) AnswerProperty(property.name, *value.Get());
  }
  return Observed(std::move(object));
}

// A class definition, or an instance.
ComPtr<IWbemClassObject> Fetch(const std::wstring& path) {
  ComPtr<IWbemClassObject> object;
  Check(lab::Namespace()->GetObject(Bstr(path.c_str()).Get(), 0, nullptr, &object, nullptr), "GetObject");
  return object;
}

}  // namespace

void PropertyValue::Set(VARIANT& value) const {
  value.vt = type;
  if (type == VT_I4) value.lVal = number;
  if (type == VT_BSTR) value.bstrVal = ::SysAllocString(text.c_str());
}

void RunObserved(DWORD level, const std::function<void()>& code) {
  ForgetStandIns();
  const long blocks = LiveBlocks();
  lab::RunAsClient(level, [&] {
    const Observation observed(true);
    code();
  });
  std::string kept = LiveStandIns();
  if (const long more = LiveBlocks() - blocks; more > 0)
    kept = std::to_string(more) + (more == 1 ? " block" : " blocks") + (kept.empty() ? "" : ", ") + kept;
  if (!kept.empty()) Note("kept", "", kept);
}

void Service::Reset() {
  level = 3;
  m_inUse = 0;
  m_services.clear();
  lab::ForgetProviders();
}

void Service::Create(int number, bool withNamespace) {
  lab::RunAsClient(3, [&] {
    ComPtr<IClassFactory> factory;
    ComPtr<IWbemProviderInit> provider;
    Check(getClassObject(qvrn::kProviderClassId, IID_PPV_ARGS(&factory)), "DllGetClassObject");
    Check(factory->CreateInstance(nullptr, IID_PPV_ARGS(&provider)), "CreateInstance");
    InitSink sink;
    wchar_t name[] = L"root\\cimv2";
    const auto wmi =
        Observed<IWbemServices>(withNamespace ? lab::Namespace() : nullptr, "namespace " + std::to_string(number));
    Check(provider->Initialize(nullptr, 0, name, nullptr, wmi.Get(), nullptr, &sink), "Initialize");
    if (static_cast<int>(m_services.size()) <= number) m_services.resize(static_cast<std::size_t>(number) + 1);
    Check(provider.As(&m_services[static_cast<std::size_t>(number)]), "IWbemServices");
  });
}

void Service::Release(int number) { m_services[static_cast<std::size_t>(number)].Reset(); }

void Service::Run(const Request& request) {
  if (m_services.empty()) Create(0);
  Sink sink;
  HRESULT result = E_UNEXPECTED;
  const ComPtr<IWbemServices> services = m_services[static_cast<std::size_t>(m_inUse)];
  RunObserved(level, [&] { result = request(services.Get(), &sink); });
  Note("result", "",
       "result " + Hex(static_cast<std::uint32_t>(result)) +
           (sink.statuses.empty() ? ", no status" : ", sink" + sink.statuses));
}

ComPtr<IWbemClassObject> Service::Instance(const std::wstring& classOrPath, const std::vector<PropertyValue>& values) {
  ComPtr<IWbemClassObject> object;
  if (classOrPath.find(L'.') == std::wstring::npos) {
    Check(Fetch(classOrPath)->SpawnInstance(0, &object), "SpawnInstance");
  } else {
    object = Fetch(classOrPath);
    // The get is none of the scenario's.
    TakeEvents();
  }
  return Filled(std::move(object), values);
}

ComPtr<IWbemClassObject> Service::InParameters(const wchar_t* method, const std::vector<PropertyValue>& values) {
  ComPtr<IWbemClassObject> signature;
  ComPtr<IWbemClassObject> in;
  if (FAILED(Fetch(L"QvrnEN_VLAN")->GetMethod(method, 0, &signature, nullptr)) || signature == nullptr) return nullptr;
  Check(signature->SpawnInstance(0, &in), "SpawnInstance");
  return Filled(std::move(in), values);
}

}  // namespace scenario
