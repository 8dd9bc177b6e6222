// What a MOF file says: classes, and instances of the platform's registration classes.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/wmi.h"

namespace lab {

/// A MOF literal; std::monostate is NULL.
using Scalar = std::variant<std::monostate, bool, std::int64_t, double, std::wstring>;
using Value = std::variant<std::monostate, bool, std::int64_t, double, std::wstring, std::vector<Scalar>>;

struct Qualifier {
  std::wstring name;
  Value value;
};

/// Finds a qualifier by its name without regard to case; null when there is none.
const Qualifier* FindQualifier(const std::vector<Qualifier>& qualifiers, std::wstring_view name);

struct Property {
  std::wstring name;
  CIMTYPE type = CIM_EMPTY;  ///< with CIM_FLAG_ARRAY for arrays; CIM_REFERENCE for references
  std::wstring reference;    ///< the class that a reference names; empty otherwise
  std::wstring origin;       ///< the class that declares it; empty: the class that holds it
  std::vector<Qualifier> qualifiers;
  Value initial;

  bool Has(std::wstring_view qualifier) const { return FindQualifier(qualifiers, qualifier) != nullptr; }
  bool IsKey() const { return Has(L"key"); }
};

struct ClassDefinition;

struct Method {
  std::wstring name;
  std::wstring origin;  ///< as in Property
  std::vector<Qualifier> qualifiers;
  std::shared_ptr<const ClassDefinition> in;  ///< "__PARAMETERS" with the in-parameters; null when there are none
  std::shared_ptr<const ClassDefinition>
      out;  ///< "__PARAMETERS" with the out-parameters and ReturnValue; null for none
};

struct ClassDefinition {
  std::wstring name;
  std::wstring superclass;
  std::vector<std::wstring> derivation;  ///< all ancestors, the superclass first
  std::vector<Qualifier> qualifiers;
  std::vector<Property> properties;  ///< inherited ones first
  std::vector<Method> methods;
  /// Instances take values of any type, as a provider meets them that is called without a service in between.
  bool lax = false;

  /// Finds a property by its name without regard to case; null when there is none.
  const Property* Find(std::wstring_view property) const;
  /// Finds a method by its name without regard to case; null when there is none.
  const Method* FindMethod(std::wstring_view method) const;
  bool Has(std::wstring_view qualifier) const { return FindQualifier(qualifiers, qualifier) != nullptr; }
  /// Whether this is the class of that name or one derived from it.
  bool IsA(std::wstring_view className) const;
  /// The class's provider, from its "provider" qualifier; empty for a class that the lab serves itself.
  std::wstring Provider() const;
};

/// An "instance of" statement.
struct InstanceDefinition {
  std::wstring className;
  std::wstring alias;  ///< with its '$'; empty for none
  std::wstring path;   ///< relative object path, aliases resolved; empty for a class without keys
  std::vector<std::pair<std::wstring, Value>> values;  ///< an alias as value is the text "$Name"
};

/// Class names are compared without regard to case.
struct Schema {
  std::vector<std::shared_ptr<const ClassDefinition>> classes;
  std::vector<InstanceDefinition> instances;

  std::shared_ptr<const ClassDefinition> Find(std::wstring_view className) const;
  /// CLSID text of the __Win32Provider instance with this Name; empty when there is none.
  std::wstring ProviderClassId(std::wstring_view providerName) const;
};

/// A file that the reader does not understand; what() is "FILE:LINE:COLUMN: message".
class MofError : public std::runtime_error {
 public:
  MofError(const std::string& file, int line, int column, const std::string& message);
  int Line() const { return m_line; }
  int Column() const { return m_column; }

 private:
  int m_line;
  int m_column;
};

/// Reads MOF text (UTF-8) into `schema`; names declared there before may be used. `file` is the name for messages.
/// Throws MofError, which leaves `schema` as it was. Beyond the grammar it refuses what the service would take and then
/// not serve: a dynamic class without key or provider, texts and values of different number, a value of another type.
/// The platform's registration classes are known without a declaration; deleteclass and deleteinstance take effect.
void ReadMof(std::string_view text, const std::string& file, Schema& schema);

/// Reads a MOF file (UTF-8, or UTF-16 with a byte order mark). Throws MofError, also for a file that cannot be read.
void ReadMofFile(const std::wstring& path, Schema& schema);

}  // namespace lab
