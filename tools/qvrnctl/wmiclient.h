// A WMI namespace as the client uses it: queries, objects, puts, methods, and what a class declares.
#pragma once

#include <windows.h>

#include <wrl/client.h>

#include "platform/wmi.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/qvrnctl/arguments.h"
#include "tools/qvrnctl/propertyinfo.h"

namespace qvrn {

using WmiObject = Microsoft::WRL::ComPtr<IWbemClassObject>;

/// COM for the process: the multithreaded apartment and the security levels that WMI needs. Throws ClientError.
class ComRuntime {
 public:
  ComRuntime();
  ComRuntime(const ComRuntime&) = delete;
  ComRuntime& operator=(const ComRuntime&) = delete;
  ~ComRuntime();
};

/// A connection to one namespace. What WMI refuses is thrown as ClientError that carries the code, and so is a request
/// that does not end in time.
class WmiClient {
 public:
  /// IWbemLocator::ConnectServer to the namespace that the arguments name, on the computer that they name.
  explicit WmiClient(const Arguments& arguments) : WmiClient(arguments.computer, arguments.nameSpace) {}
  WmiClient(const std::wstring& computer, const std::wstring& nameSpace);

  /// All objects of a WQL query.
  std::vector<WmiObject> Query(const std::wstring& query) const;
  /// A class or an instance by its path. `subject` names it in the error.
  WmiObject Fetch(const std::wstring& path, const std::wstring& subject) const;
  /// A class, which one connection asks for once.
  WmiObject FetchClass(const std::wstring& className, const std::wstring& subject) const;
  /// PutInstance; the code is given as it comes, for callers that read back what happened. `subject` says what is done.
  HRESULT Put(const WmiObject& instance, LONG flags, const std::wstring& subject) const;
  /// DeleteInstance; the code is given as it comes, as that of a put.
  HRESULT Delete(const std::wstring& path, const std::wstring& subject) const;
  /// A static method of a class: fills `in` by the method's declaration, gives its out-parameters. `describe` tells a
  /// person how far it is.
  WmiObject Call(const std::wstring& className, const std::wstring& method,
                 const std::vector<std::pair<const wchar_t*, Value>>& in,
                 const std::function<std::wstring()>& describe = {}) const;

 private:
  Microsoft::WRL::ComPtr<IWbemServices> m_services;
  mutable std::map<std::wstring, WmiObject> m_classes;
};

/// A class itself. Throws ClientError that says what to do when it is not registered.
WmiObject FetchClass(const WmiClient& wmi, const std::wstring& className);
/// All instances of a class. The provider ends an enumeration without any as "not found": that is an empty list.
std::vector<WmiObject> ListInstances(const WmiClient& wmi, const std::wstring& className);

/// A property's value; NULL for one that the object does not have.
Value ReadProperty(IWbemClassObject* object, const std::wstring& name);
/// The elements of a property that is an array of texts; none for any other.
std::vector<std::wstring> ReadTexts(IWbemClassObject* object, const std::wstring& name);
/// Sets a property. Throws ClientError.
void WriteProperty(IWbemClassObject* object, const std::wstring& name, const Value& value);

/// The properties that a class declares, in its order, with the qualifiers that tools go by.
std::vector<PropertyInfo> DescribeClass(IWbemClassObject* classObject);

}  // namespace qvrn
