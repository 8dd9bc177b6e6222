#include "tools/qvrnctl/wmiclient.h"

#include "platform/comtext.h"

#include <cwchar>
#include <memory>
#include <string_view>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/requests.h"

namespace qvrn {
namespace {

using Microsoft::WRL::ComPtr;

constexpr std::wstring_view kKeywordMapping = L"Registry.AdapterInstanceKey|";

void Check(HRESULT code, const std::wstring& subject) {
  if (FAILED(code)) throw WmiFailed(subject, code);
}

// Without it a remote proxy identifies the client too weakly; what is no proxy refuses, and needs none.
void SecureProxy(IUnknown* proxy) noexcept {
  ::CoSetProxyBlanket(proxy, RPC_C_AUTHN_DEFAULT, RPC_C_AUTHZ_DEFAULT, COLE_DEFAULT_PRINCIPAL,
                      RPC_C_AUTHN_LEVEL_PKT_PRIVACY, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
}

Value ToValue(const VARIANT& variant, CIMTYPE type) {
  switch (variant.vt) {
    case VT_I4:
      return type == CIM_UINT32 ? std::int64_t{variant.ulVal} : std::int64_t{variant.lVal};
    case VT_I2:
      return std::int64_t{variant.iVal};
    case VT_UI1:
      return std::int64_t{variant.bVal};
    case VT_BOOL:
      return std::int64_t{variant.boolVal != VARIANT_FALSE};
    case VT_BSTR:
      return std::wstring(variant.bstrVal == nullptr ? L"" : variant.bstrVal);
    default:
      return {};
  }
}

// The elements of an array of texts; none of anything else.
std::vector<std::wstring> TextsOf(const VARIANT& value) {
  std::vector<std::wstring> texts;
  if (value.vt != (VT_ARRAY | VT_BSTR)) return texts;
  LONG last = -1;
  ::SafeArrayGetUBound(value.parray, 1, &last);
  for (LONG i = 0; i <= last; ++i) {
    Bstr text;
    if (SUCCEEDED(::SafeArrayGetElement(value.parray, &i, text.Put()))) {
      texts.emplace_back(text.Get() == nullptr ? L"" : text.Get());
    }
  }
  return texts;
}

// A qualifier's value as it is; empty (VT_EMPTY) when the property does not have it.
class QualifierReader {
 public:
  QualifierReader(IWbemClassObject* classObject, const wchar_t* property) {
    Check(classObject->GetPropertyQualifierSet(property, m_set.GetAddressOf()), L"a property's qualifiers");
  }

  bool IsSet(const wchar_t* name) const {
    Variant value;
    return Read(name, value) && value.Get()->vt == VT_BOOL && value.Get()->boolVal != VARIANT_FALSE;
  }

  std::wstring Text(const wchar_t* name) const {
    Variant value;
    return Read(name, value) && value.IsText() ? value.Text() : L"";
  }

  std::optional<std::int64_t> Number(const wchar_t* name) const {
    Variant value;
    if (!Read(name, value) || !value.IsInteger()) return std::nullopt;
    return value.Integer();
  }

  std::vector<std::wstring> Texts(const wchar_t* name) const {
    Variant value;
    return Read(name, value) ? TextsOf(*value.Get()) : std::vector<std::wstring>();
  }

 private:
  bool Read(const wchar_t* name, Variant& value) const { return SUCCEEDED(m_set->Get(name, 0, value.Put(), nullptr)); }

  ComPtr<IWbemQualifierSet> m_set;
};

std::wstring FindKeyword(const std::vector<std::wstring>& mappings) {
  for (const std::wstring& mapping : mappings) {
    if (mapping.starts_with(kKeywordMapping)) return mapping.substr(kKeywordMapping.size());
  }
  return {};
}

PropertyInfo DescribeProperty(IWbemClassObject* classObject, const wchar_t* name, CIMTYPE type) {
  const QualifierReader qualifiers(classObject, name);
  PropertyInfo info;
  info.name = name;
  info.text = type == CIM_STRING;
  info.key = qualifiers.IsSet(L"key");
  info.writable = qualifiers.IsSet(L"write");
  info.units = qualifiers.Text(L"Units");
  info.keyword = FindKeyword(qualifiers.Texts(L"MappingStrings"));
  info.least = qualifiers.Number(L"MinValue");
  info.most = qualifiers.Number(L"MaxValue");
  const std::vector<std::wstring> values = qualifiers.Texts(L"ValueMap");
  const std::vector<std::wstring> meanings = qualifiers.Texts(L"Values");
  for (std::size_t i = 0; i < values.size() && i < meanings.size(); ++i) {
    info.namedValues.push_back({values[i], meanings[i]});
  }
  return info;
}

}  // namespace

ComRuntime::ComRuntime() {
  Check(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), L"COM cannot be started");
  ::CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr,
                         EOAC_NONE, nullptr);
}

ComRuntime::~ComRuntime() {
  if (!AnyRequestAbandoned()) ::CoUninitialize();
}

// What a request touches belongs to it: it may outlive its caller.

WmiClient::WmiClient(const std::wstring& computer, const std::wstring& nameSpace) {
  const std::wstring path = computer.empty() ? nameSpace : L"\\\\" + computer + L"\\" + nameSpace;
  const std::wstring subject = L"namespace " + path;
  ComPtr<IWbemLocator> locator;
  Check(::CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(locator.GetAddressOf())),
        L"the WMI locator");
  const auto services = std::make_shared<ComPtr<IWbemServices>>();
  const auto connect = [locator, path, services] {
    return locator->ConnectServer(Bstr(path.c_str()).Get(), nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                                  services->GetAddressOf());
  };
  Check(RunRequest(subject, connect), subject);
  m_services = *services;
  SecureProxy(m_services.Get());
}

std::vector<WmiObject> WmiClient::Query(const std::wstring& query) const {
  const auto objects = std::make_shared<std::vector<WmiObject>>();
  const auto ask = [services = m_services, query, objects] {
    ComPtr<IEnumWbemClassObject> found;
    HRESULT hr =
        services->ExecQuery(Bstr(L"WQL").Get(), Bstr(query.c_str()).Get(),
                            WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, found.GetAddressOf());
    if (SUCCEEDED(hr)) SecureProxy(found.Get());
    while (SUCCEEDED(hr)) {
      WmiObject object;
      ULONG count = 0;
      hr = found->Next(static_cast<LONG>(WBEM_INFINITE), 1, object.GetAddressOf(), &count);
      if (FAILED(hr) || count == 0) break;
      objects->push_back(std::move(object));
    }
    return hr;
  };
  Check(RunRequest(query, ask), query);
  return *objects;
}

WmiObject WmiClient::Fetch(const std::wstring& path, const std::wstring& subject) const {
  const auto object = std::make_shared<WmiObject>();
  const auto get = [services = m_services, path, object] {
    return services->GetObject(Bstr(path.c_str()).Get(), 0, nullptr, object->GetAddressOf(), nullptr);
  };
  Check(RunRequest(subject, get), subject);
  if (*object == nullptr) throw WmiFailed(subject, kNotFound);  // a success without an object
  return *object;
}

WmiObject WmiClient::FetchClass(const std::wstring& className, const std::wstring& subject) const {
  WmiObject& known = m_classes[className];
  if (known == nullptr) known = Fetch(className, subject);
  return known;
}

HRESULT WmiClient::Put(const WmiObject& instance, LONG flags, const std::wstring& subject) const {
  return RunRequest(subject, [services = m_services, instance, flags] {
    return services->PutInstance(instance.Get(), flags, nullptr, nullptr);
  });
}

HRESULT WmiClient::Delete(const std::wstring& path, const std::wstring& subject) const {
  return RunRequest(subject, [services = m_services, path] {
    return services->DeleteInstance(Bstr(path.c_str()).Get(), 0, nullptr, nullptr);
  });
}

WmiObject WmiClient::Call(const std::wstring& className, const std::wstring& method,
                          const std::vector<std::pair<const wchar_t*, Value>>& in,
                          const std::function<std::wstring()>& describe) const {
  const std::wstring subject = className + L"." + method;
  const WmiObject classObject = FetchClass(className, subject);
  WmiObject signature;
  Check(classObject->GetMethod(method.c_str(), 0, signature.GetAddressOf(), nullptr), subject);
  WmiObject parameters;
  if (signature != nullptr) Check(signature->SpawnInstance(0, parameters.GetAddressOf()), subject);
  for (const auto& [name, value] : in) WriteProperty(parameters.Get(), name, value);
  const auto out = std::make_shared<WmiObject>();
  const auto call = [services = m_services, className, method, parameters, out] {
    return services->ExecMethod(Bstr(className.c_str()).Get(), Bstr(method.c_str()).Get(), 0, nullptr, parameters.Get(),
                                out->GetAddressOf(), nullptr);
  };
  Check(RunRequest(subject, call, describe), subject);
  return *out;
}

WmiObject FetchClass(const WmiClient& wmi, const std::wstring& className) {
  try {
    return wmi.FetchClass(className, L"class " + className);
  } catch (const ClientError& error) {
    if (error.Code() != kNotFound) throw;
    throw ClassMissing(className, kNotFound);
  }
}

std::vector<WmiObject> ListInstances(const WmiClient& wmi, const std::wstring& className) {
  try {
    return wmi.Query(L"SELECT * FROM " + className);
  } catch (const ClientError& error) {
    if (error.Code() != kNotFound) throw;
  }
  FetchClass(wmi, className);  // a class that is not registered may look like one without instances
  return {};
}

Value ReadProperty(IWbemClassObject* object, const std::wstring& name) {
  Variant value;
  CIMTYPE type = CIM_EMPTY;
  const HRESULT hr = object->Get(name.c_str(), 0, value.Put(), &type, nullptr);
  if (hr == kNotFound) return {};
  Check(hr, L"property " + name);
  return ToValue(*value.Get(), type);
}

std::vector<std::wstring> ReadTexts(IWbemClassObject* object, const std::wstring& name) {
  Variant value;
  Check(object->Get(name.c_str(), 0, value.Put(), nullptr, nullptr), L"property " + name);
  return TextsOf(*value.Get());
}

void WriteProperty(IWbemClassObject* object, const std::wstring& name, const Value& value) {
  const auto put = [&](Variant variant) { Check(object->Put(name.c_str(), 0, variant.Get(), 0), L"property " + name); };
  if (const auto* number = std::get_if<std::int64_t>(&value)) put(Variant(static_cast<LONG>(*number)));
  if (const auto* text = std::get_if<std::wstring>(&value)) put(Variant(text->c_str()));
}

std::vector<PropertyInfo> DescribeClass(IWbemClassObject* classObject) {
  const wchar_t kSubject[] = L"the class's properties";
  std::vector<PropertyInfo> properties;
  Check(classObject->BeginEnumeration(WBEM_FLAG_NONSYSTEM_ONLY), kSubject);
  for (;;) {
    Bstr name;
    CIMTYPE type = CIM_EMPTY;
    const HRESULT hr = classObject->Next(0, name.Put(), nullptr, &type, nullptr);
    Check(hr, kSubject);
    if (hr == WBEM_S_NO_MORE_DATA) break;
    properties.push_back(DescribeProperty(classObject, name.Get(), type));
  }
  classObject->EndEnumeration();
  return properties;
}

}  // namespace qvrn
