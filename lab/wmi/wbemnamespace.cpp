// What the namespace does for a client: finds the class, asks its provider or serves it from the lab itself.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

#include "lab/host/providerhost.h"
#include "lab/journal.h"
#include "lab/schema/textcompare.h"
#include "lab/wmi/classobject.h"
#include "lab/wmi/networkadapters.h"
#include "lab/wmi/objectpathtext.h"
#include "lab/wmi/registryprovider.h"
#include "lab/wmi/wbemenumerator.h"
#include "lab/wmi/wbemhost.h"
#include "lab/wmi/wql.h"
#include "platform/comtext.h"
#include "platform/hresult.h"
#include "platform/unsupportedservices.h"

using Microsoft::WRL::ComPtr;
using qvrn::Bstr;
using qvrn::HresultFromCurrentException;

namespace lab {
namespace {

using Definition = std::shared_ptr<const ClassDefinition>;

constexpr wchar_t kInstances[] = L"__InstanceProviderRegistration";
constexpr wchar_t kMethods[] = L"__MethodProviderRegistration";

HRESULT Resolve(const wchar_t* text, ObjectPath& path, Definition& definition) {
  if (text == nullptr) return WBEM_E_INVALID_PARAMETER;
  auto parsed = ParseObjectPath(text);
  if (!parsed) return WBEM_E_INVALID_OBJECT_PATH;
  path = std::move(*parsed);
  if (MatchNamespace(path.space) != NamespaceMatch::kOurs) return WBEM_E_INVALID_NAMESPACE;
  definition = FindClass(path.className);
  if (definition != nullptr) return WBEM_S_NO_ERROR;
  return path.isInstance ? WBEM_E_INVALID_CLASS : WBEM_E_NOT_FOUND;
}

/// Asks the provider of a class if its registration says that it serves that kind of request.
Reply AskProvider(const ClassDefinition& definition, const wchar_t* registration, const wchar_t* setting,
                  const ProviderRequest& request) {
  const std::wstring provider = definition.Provider();
  const InstanceDefinition* const found = NamespaceSchema().FindRegistration(registration, provider);
  const bool serves = found != nullptr && (setting == nullptr || found->values.at(setting) == Value(true));
  return serves ? CallProvider(provider, request) : Reply(WBEM_E_PROVIDER_NOT_CAPABLE);
}

/// Providers get the class name in the schema's spelling, whatever the client wrote.
Reply Enumerate(const Definition& definition, LONG flags, IWbemContext* context) {
  if (SameText(definition->name, L"Win32_NetworkAdapter")) return EnumerateNetworkAdapters(definition);
  const Bstr name(definition->name.c_str());
  return AskProvider(*definition, kInstances, L"SupportsEnumeration",
                     [&](IWbemServices* provider, IWbemObjectSink* sink) {
                       return provider->CreateInstanceEnumAsync(name.Get(), flags, context, sink);
                     });
}

/// The class with the named properties alone; with its keys, too, when a path is asked for.
Definition Reduce(const Definition& definition, const std::vector<std::wstring>& names) {
  const auto isNamed = [&](const wchar_t* name) {
    return std::any_of(names.begin(), names.end(), [&](const auto& named) { return SameText(named, name); });
  };
  const bool keepsKeys = isNamed(L"__PATH") || isNamed(L"__RELPATH");
  auto reduced = std::make_shared<ClassDefinition>(*definition);
  std::erase_if(reduced->properties, [&](const Property& property) {
    return !isNamed(property.name.c_str()) && !(keepsKeys && property.Has(L"key"));
  });
  return reduced;
}

ComPtr<IWbemClassObject> CopyAs(const Definition& definition, IWbemClassObject* object) {
  ComPtr<IWbemClassObject> copy = MakeInstance(definition);
  for (const Property& property : definition->properties) {
    qvrn::Variant value;
    object->Get(property.name.c_str(), 0, value.Put(), nullptr, nullptr);
    copy->Put(property.name.c_str(), 0, value.Get(), 0);
  }
  return copy;
}

/// Providers only enumerate: what comes is filtered and reduced here.
void Apply(const Query& query, const Definition& definition, Reply::Objects& objects) {
  if (query.condition) {
    std::erase_if(objects, [&](const auto& object) { return !Matches(*query.condition, object.Get()); });
  }
  if (query.properties.empty()) return;
  const Definition reduced = Reduce(definition, query.properties);
  for (auto& object : objects) object = CopyAs(reduced, object.Get());
}

bool NamesKnownProperties(const Query& query, const ClassDefinition& definition) {
  const auto isKnown = [&](const std::wstring& name) { return IsKnownProperty(definition, name); };
  return std::all_of(query.properties.begin(), query.properties.end(), isKnown) &&
         (!query.condition || isKnown(query.condition->property));
}

/// The first object of a reply, null when there is none.
HRESULT Deliver(const Reply& reply, IWbemClassObject** object) {
  if (object != nullptr && SUCCEEDED(reply.status) && !reply.objects.empty()) reply.objects.front().CopyTo(object);
  return reply.status;
}

/// What synchronous and semisynchronous clients call. One object per process that nobody frees, so it outlives every
/// provider that borrows it.
class WbemNamespace final : public qvrn::UnsupportedServices {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) noexcept override {
    if (object == nullptr) return E_POINTER;
    *object = id == IID_IUnknown || id == IID_IWbemServices ? static_cast<IWbemServices*>(this) : nullptr;
    return *object == nullptr ? E_NOINTERFACE : S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 2; }
  ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }

  HRESULT STDMETHODCALLTYPE GetObject(const BSTR path, LONG flags, IWbemContext* context, IWbemClassObject** object,
                                      IWbemCallResult**) noexcept override try {
    if (object == nullptr) return WBEM_E_INVALID_PARAMETER;
    *object = nullptr;
    ObjectPath parsed;
    Definition definition;
    const HRESULT hr = Resolve(path, parsed, definition);
    if (FAILED(hr)) return hr;
    if (!parsed.isInstance) return Deliver(Reply(WBEM_S_NO_ERROR, {MakeClassObject(definition)}), object);
    const Bstr relative(parsed.relative.c_str());
    const Reply reply =
        AskProvider(*definition, kInstances, L"SupportsGet", [&](IWbemServices* provider, IWbemObjectSink* sink) {
          return provider->GetObjectAsync(relative.Get(), flags, context, sink);
        });
    if (SUCCEEDED(reply.status) && reply.objects.empty()) return WBEM_E_NOT_FOUND;
    return Deliver(reply, object);
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE PutInstance(IWbemClassObject* instance, LONG flags, IWbemContext* context,
                                        IWbemCallResult**) noexcept override try {
    if (instance == nullptr) return WBEM_E_INVALID_PARAMETER;
    qvrn::Variant name;
    const HRESULT hr = instance->Get(L"__CLASS", 0, name.Put(), nullptr, nullptr);
    const Definition definition = SUCCEEDED(hr) && name.IsText() ? FindClass(name.Text()) : nullptr;
    if (definition == nullptr) return WBEM_E_INVALID_OBJECT;
    const auto request = [&](IWbemServices* provider, IWbemObjectSink* sink) {
      return provider->PutInstanceAsync(instance, flags, context, sink);
    };
    return AskProvider(*definition, kInstances, L"SupportsPut", request).status;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE DeleteInstance(const BSTR path, LONG flags, IWbemContext* context,
                                           IWbemCallResult**) noexcept override try {
    ObjectPath parsed;
    Definition definition;
    const HRESULT hr = Resolve(path, parsed, definition);
    if (FAILED(hr)) return hr;
    if (!parsed.isInstance) return WBEM_E_INVALID_OBJECT_PATH;
    const Bstr relative(parsed.relative.c_str());
    const auto request = [&](IWbemServices* provider, IWbemObjectSink* sink) {
      return provider->DeleteInstanceAsync(relative.Get(), flags, context, sink);
    };
    return AskProvider(*definition, kInstances, L"SupportsDelete", request).status;
  } catch (...) {
    return HresultFromCurrentException();
  }

  /// What the service itself turns down is told at once; what the provider says comes with the enumerator.
  HRESULT STDMETHODCALLTYPE ExecQuery(const BSTR language, const BSTR text, LONG flags, IWbemContext* context,
                                      IEnumWbemClassObject** enumerator) noexcept override try {
    if (enumerator != nullptr) *enumerator = nullptr;
    if (enumerator == nullptr || language == nullptr || text == nullptr) return WBEM_E_INVALID_PARAMETER;
    if (!SameText(language, L"WQL")) return WBEM_E_INVALID_QUERY_TYPE;
    const auto query = ParseQuery(text);
    if (!query) return WBEM_E_INVALID_QUERY;
    const Definition definition = FindClass(query->className);
    if (definition == nullptr) return WBEM_E_INVALID_CLASS;
    if (!NamesKnownProperties(*query, *definition)) return WBEM_E_INVALID_QUERY;
    Reply reply = Enumerate(definition, flags, context);
    Apply(*query, definition, reply.objects);
    *enumerator = MakeEnumerator(std::move(reply)).Detach();
    return WBEM_S_NO_ERROR;
  } catch (...) {
    return HresultFromCurrentException();
  }

  HRESULT STDMETHODCALLTYPE ExecMethod(const BSTR path, const BSTR method, LONG flags, IWbemContext* context,
                                       IWbemClassObject* in, IWbemClassObject** out,
                                       IWbemCallResult**) noexcept override try {
    if (out != nullptr) *out = nullptr;
    ObjectPath parsed;
    Definition definition;
    const HRESULT hr = Resolve(path, parsed, definition);
    if (FAILED(hr)) return hr;
    const Method* const known = method == nullptr ? nullptr : definition->FindMethod(method);
    if (known == nullptr) return WBEM_E_INVALID_METHOD;
    if (FindQualifier(known->qualifiers, L"implemented") == nullptr) return WBEM_E_METHOD_NOT_IMPLEMENTED;
    if (SameText(definition->name, L"StdRegProv")) return Deliver(ExecRegistryMethod(*known, in), out);
    const Bstr relative(parsed.relative.c_str());
    const auto request = [&](IWbemServices* provider, IWbemObjectSink* sink) {
      return provider->ExecMethodAsync(relative.Get(), method, flags, context, in, sink);
    };
    return Deliver(AskProvider(*definition, kMethods, nullptr, request), out);
  } catch (...) {
    return HresultFromCurrentException();
  }
};

void ReportSchemaError(const char* message) {
  std::fprintf(stderr, "qvrnlab: %s\n", message);
  const std::string text(message);
  Record(L"schema", std::wstring(text.begin(), text.end()));
}

}  // namespace

IWbemServices* Namespace() {
  static WbemNamespace& services = *new WbemNamespace;
  try {
    NamespaceSchema();
    return &services;
  } catch (const std::exception& error) {
    ReportSchemaError(error.what());
    return nullptr;
  }
}

}  // namespace lab
