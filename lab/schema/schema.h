// What a MOF file says: classes, and instances of the platform's registration classes. Names compare without regard to
// case.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace lab {

/// A MOF literal; std::monostate is NULL. Lists stand in qualifiers alone.
using Value = std::variant<std::monostate, bool, std::int64_t, std::wstring, std::vector<std::wstring>>;

enum class ValueKind : std::size_t { kNull, kFlag, kNumber, kText, kTexts };  ///< as std::variant::index gives it

/// A type of properties and parameters.
struct CimType {
  const wchar_t* name;   ///< in MOF
  long type;             ///< a CIMTYPE of the platform
  ValueKind kind;        ///< of its values
  std::int64_t minimum;  ///< of a number; both limits are 0 for other types
  std::int64_t maximum;
};

/// Of a CIMTYPE: an array of these. There are arrays of texts, as parameters.
inline constexpr long kArrayFlag = 0x2000;
inline constexpr CimType kReferenceType = {L"ref", 102, ValueKind::kText, 0, 0};

/// The type with this MOF name; null for none, and for "ref", which stands behind the name of a class.
const CimType* FindCimType(std::wstring_view name);
/// The type with this CIMTYPE. Throws std::out_of_range for one that no class here uses.
const CimType& CimTypeOf(long type);

struct Qualifier {
  std::wstring name;
  Value value;
};

/// Null when there is none.
const Qualifier* FindQualifier(const std::vector<Qualifier>& qualifiers, std::wstring_view name);

struct Property {
  std::wstring name;
  long type = 0;           ///< a CIMTYPE
  std::wstring reference;  ///< the class that a reference names; empty otherwise
  std::vector<Qualifier> qualifiers;
  Value initial;

  bool Has(std::wstring_view qualifier) const { return FindQualifier(qualifiers, qualifier) != nullptr; }
};

struct ClassDefinition;

struct Method {
  std::wstring name;
  std::vector<Qualifier> qualifiers;
  std::shared_ptr<const ClassDefinition> in;   ///< "__PARAMETERS" with the in-parameters; null for none
  std::shared_ptr<const ClassDefinition> out;  ///< "__PARAMETERS" with the out-parameters and ReturnValue
};

struct ClassDefinition {
  std::wstring name;
  std::vector<Qualifier> qualifiers;
  std::vector<Property> properties;
  std::vector<Method> methods;
  /// Instances take values of any type, as a provider meets them that is called without a service in between.
  bool lax = false;

  /// Null when there is none, like the next two.
  const Property* Find(std::wstring_view property) const;
  const Property* FindKey() const;
  const Method* FindMethod(std::wstring_view method) const;
  bool Has(std::wstring_view qualifier) const { return FindQualifier(qualifiers, qualifier) != nullptr; }
  /// The class's provider, from its "provider" qualifier; empty for a class that the lab serves itself.
  std::wstring Provider() const;
};

/// An "instance of" statement.
struct InstanceDefinition {
  std::wstring className;
  std::wstring path;                     ///< relative object path
  std::map<std::wstring, Value> values;  ///< of all properties of the class, in its spelling; a reference is a path
};

struct Schema {
  std::vector<std::shared_ptr<const ClassDefinition>> classes;
  std::vector<InstanceDefinition> instances;

  std::shared_ptr<const ClassDefinition> Find(std::wstring_view className) const;
  /// CLSID text of the __Win32Provider instance with this Name; empty when there is none.
  std::wstring ProviderClassId(std::wstring_view provider) const;
  /// The instance of the class `registration` for this provider; null when there is none.
  const InstanceDefinition* FindRegistration(std::wstring_view registration, std::wstring_view provider) const;
};

/// The text in quotes, with quotes and backslashes escaped: as it stands in MOF and in object paths.
std::wstring Quoted(std::wstring_view text);

}  // namespace lab
