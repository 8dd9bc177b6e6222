// Stand-ins for COM objects of any interface: every call goes on to the object behind, is noted when code under
// observation makes it, and can be made to fail by name (see events.h). What a call hands out is wrapped again.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <string>
#include <vector>

namespace scenario {

/// A method of an interface, as far as its calls are told.
struct Method {
  int slot;  ///< in the virtual table
  std::string name;
  /// One letter per argument: s text, n number, x number in hexadecimal, b VARIANT_BOOL, g address of a GUID, t address
  /// of an OBO_TOKEN (nothing for none), c a context (nothing for none), v address of a VARIANT or VARIANT by value, i an interface that goes in, o an
  /// interface that comes out, q the identifier of the o behind it, Q the same told, - not told.
  std::string arguments;
  const IID* out = nullptr;  ///< of `o`, without a `q`
};

struct Interface {
  const IID* id;
  std::string name;
  std::string kind;  ///< of the events
  std::vector<Method> methods;
};

/// The interfaces that have stand-ins.
const std::vector<Interface>& KnownInterfaces();

/// A stand-in with one reference, which takes over the caller's reference to `target`; the target itself when the
/// interface has none. References on one with a label are events.
IUnknown* Wrap(IUnknown* target, REFIID id, const std::string& label = "");
/// The object behind a stand-in, without a reference of its own; anything else is given back.
IUnknown* Unwrap(IUnknown* object);

/// From now on IWbemClassObject::Get of this property answers `value` to code under observation, whatever the object
/// has; also when it is made to fail. Until ForgetAnswers.
void AnswerProperty(const std::wstring& name, const VARIANT& value);
void ForgetAnswers();

/// Stand-ins that are alive, by interface name, "INetCfg 1, IWbemClassObject 2"; empty for none.
std::string LiveStandIns();
/// Counts from here: stand-ins that are alive now are not told any more.
void ForgetStandIns();

/// "TEXT", a number, null; the type of others.
std::string VariantText(const VARIANT& value);

/// A class identifier, interface or device class by its usual name; others in braces.
std::string GuidName(REFGUID guid);

}  // namespace scenario
