#include "lab/wmi/wbemrequests.h"

#include <algorithm>

#include "lab/schema/namespaceschema.h"
#include "lab/schema/textcompare.h"
#include "lab/wmi/classobject.h"
#include "lab/wmi/networkadapters.h"
#include "lab/wmi/objectpathtext.h"
#include "lab/wmi/registryprovider.h"
#include "lab/wmi/wql.h"
#include "platform/comtext.h"

using qvrn::Bstr;

namespace lab {
namespace {

using Definition = std::shared_ptr<const ClassDefinition>;

constexpr wchar_t kNetworkAdapter[] = L"Win32_NetworkAdapter";
constexpr wchar_t kRegistryProvider[] = L"StdRegProv";

HRESULT Resolve(const wchar_t* text, ObjectPath& path, Definition& definition) {
  if (text == nullptr) return WBEM_E_INVALID_PARAMETER;
  auto parsed = ParseObjectPath(text);
  if (!parsed) return WBEM_E_INVALID_OBJECT_PATH;
  path = std::move(*parsed);
  if (MatchNamespace(path.space) != NamespaceMatch::kOurs) return WBEM_E_INVALID_NAMESPACE;
  definition = FindClass(path.className);
  if (definition == nullptr) return WBEM_E_INVALID_CLASS;
  return WBEM_S_NO_ERROR;
}

/// Asks the provider of a class if it is registered for that kind of request.
Reply AskProvider(const ClassDefinition& definition, Capability capability, const ProviderRequest& request) {
  const std::wstring provider = definition.Provider();
  if (provider.empty() || !IsCapable(NamespaceSchema(), provider, capability)) {
    return Reply::Refused(WBEM_E_PROVIDER_NOT_CAPABLE);
  }
  return CallProvider(provider, request);
}

/// Providers get the class name in the schema's spelling, whatever the client wrote.
Reply EnumerateDefinition(const Definition& definition, LONG flags, IWbemContext* context) {
  if (SameText(definition->name, kNetworkAdapter)) return EnumerateNetworkAdapters(definition);
  const Bstr name(definition->name.c_str());
  return AskProvider(*definition, Capability::kEnumerate, [&](IWbemServices* provider, IWbemObjectSink* sink) {
    return provider->CreateInstanceEnumAsync(name.Get(), flags, context, sink);
  });
}

void KeepMatching(Reply::Objects& objects, const Query::Condition& condition) {
  std::erase_if(objects, [&](const auto& object) { return !Matches(condition, object.Get()); });
}

std::wstring KeyOf(const ClassDefinition& definition) {
  const auto key = std::find_if(definition.properties.begin(), definition.properties.end(),
                                [](const Property& property) { return property.IsKey(); });
  return key == definition.properties.end() ? std::wstring() : key->name;
}

Reply GetInstance(const ObjectPath& path, const Definition& definition, LONG flags, IWbemContext* context) {
  if (SameText(definition->name, kNetworkAdapter)) {
    Reply reply = EnumerateNetworkAdapters(definition);
    for (const auto& [name, value] : path.keys) {
      KeepMatching(reply.objects, {name.empty() ? KeyOf(*definition) : name, value});
    }
    return reply;
  }
  const Bstr relative(path.relative.c_str());
  return AskProvider(*definition, Capability::kGet, [&](IWbemServices* provider, IWbemObjectSink* sink) {
    return provider->GetObjectAsync(relative.Get(), flags, context, sink);
  });
}

bool IsInstance(IWbemClassObject* object) {
  qvrn::Variant genus;
  return SUCCEEDED(object->Get(L"__GENUS", 0, genus.Put(), nullptr, nullptr)) && genus.IsInteger() &&
         genus.Integer() == WBEM_GENUS_INSTANCE;
}

const Method* FindMethod(const ClassDefinition& definition, std::wstring_view name) {
  const auto found = std::find_if(definition.methods.begin(), definition.methods.end(),
                                  [&](const Method& method) { return SameText(method.name, name); });
  return found == definition.methods.end() ? nullptr : &*found;
}

}  // namespace

Reply GetByPath(const wchar_t* path, LONG flags, IWbemContext* context) {
  if (path == nullptr || *path == L'\0') return Reply::Refused(WBEM_E_NOT_SUPPORTED);  // would be a new, empty class
  ObjectPath parsed;
  Definition definition;
  const HRESULT hr = Resolve(path, parsed, definition);
  if (hr == static_cast<HRESULT>(WBEM_E_INVALID_CLASS) && !parsed.isInstance) return Reply::Refused(WBEM_E_NOT_FOUND);
  if (FAILED(hr)) return Reply::Refused(hr);
  if (!parsed.isInstance) return Reply(WBEM_S_NO_ERROR, {MakeClassObject(definition)});
  Reply reply = GetInstance(parsed, definition, flags, context);
  if (SUCCEEDED(reply.status) && reply.objects.empty()) reply.status = WBEM_E_NOT_FOUND;
  if (reply.objects.size() > 1) reply.objects.resize(1);
  return reply;
}

Reply Enumerate(const wchar_t* className, LONG flags, IWbemContext* context) {
  if (className == nullptr) return Reply::Refused(WBEM_E_INVALID_PARAMETER);
  const Definition definition = FindClass(className);
  if (definition == nullptr) return Reply::Refused(WBEM_E_INVALID_CLASS);
  return EnumerateDefinition(definition, flags, context);
}

Reply ExecuteQuery(const wchar_t* language, const wchar_t* text, LONG flags, IWbemContext* context) {
  if (language == nullptr || text == nullptr) return Reply::Refused(WBEM_E_INVALID_PARAMETER);
  if (!SameText(language, L"WQL")) return Reply::Refused(WBEM_E_INVALID_QUERY_TYPE);
  const auto query = ParseQuery(text);
  if (!query) return Reply::Refused(WBEM_E_INVALID_QUERY);
  const Definition definition = FindClass(query->className);
  if (definition == nullptr) return Reply::Refused(WBEM_E_INVALID_CLASS);
  if (!NamesKnownProperties(*query, MakeClassObject(definition).Get())) return Reply::Refused(WBEM_E_INVALID_QUERY);
  Reply reply = EnumerateDefinition(definition, flags, context);
  if (query->condition) KeepMatching(reply.objects, *query->condition);
  if (query->properties.empty()) return reply;
  for (auto& object : reply.objects) object = Project(object.Get(), query->properties);
  return reply;
}

Reply Put(IWbemClassObject* instance, LONG flags, IWbemContext* context) {
  if (instance == nullptr) return Reply::Refused(WBEM_E_INVALID_PARAMETER);
  const Definition definition = DefinitionOf(instance);
  if (definition == nullptr || !IsInstance(instance)) return Reply::Refused(WBEM_E_INVALID_OBJECT);
  return AskProvider(*definition, Capability::kPut, [&](IWbemServices* provider, IWbemObjectSink* sink) {
    return provider->PutInstanceAsync(instance, flags, context, sink);
  });
}

Reply DeleteByPath(const wchar_t* path, LONG flags, IWbemContext* context) {
  ObjectPath parsed;
  Definition definition;
  const HRESULT hr = Resolve(path, parsed, definition);
  if (FAILED(hr)) return Reply::Refused(hr);
  if (!parsed.isInstance) return Reply::Refused(WBEM_E_INVALID_OBJECT_PATH);
  const Bstr relative(parsed.relative.c_str());
  return AskProvider(*definition, Capability::kDelete, [&](IWbemServices* provider, IWbemObjectSink* sink) {
    return provider->DeleteInstanceAsync(relative.Get(), flags, context, sink);
  });
}

Reply ExecuteMethod(const wchar_t* path, const wchar_t* method, LONG flags, IWbemContext* context,
                    IWbemClassObject* parameters) {
  ObjectPath parsed;
  Definition definition;
  const HRESULT hr = Resolve(path, parsed, definition);
  if (FAILED(hr)) return Reply::Refused(hr);
  const Method* const known = method == nullptr ? nullptr : FindMethod(*definition, method);
  if (known == nullptr) return Reply::Refused(WBEM_E_INVALID_METHOD);
  if (SameText(definition->name, kRegistryProvider)) return ExecRegistryMethod(*known, parameters);
  if (FindQualifier(known->qualifiers, L"implemented") == nullptr) return Reply::Refused(WBEM_E_METHOD_NOT_IMPLEMENTED);
  const Bstr relative(parsed.relative.c_str());
  const Bstr name(method);
  return AskProvider(*definition, Capability::kMethods, [&](IWbemServices* provider, IWbemObjectSink* sink) {
    return provider->ExecMethodAsync(relative.Get(), name.Get(), flags, context, parameters, sink);
  });
}

}  // namespace lab
