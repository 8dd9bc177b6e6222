// Properties as the client knows them: what the schema declares, and what an instance holds.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace qvrn {

/// A property's value; std::monostate is NULL. Booleans are 0 and 1.
using Value = std::variant<std::monostate, std::int64_t, std::wstring>;

/// One allowed value as the schema names it.
struct NamedValue {
  std::wstring value;
  std::wstring meaning;
};

/// A declared property with the qualifiers that tools go by.
struct PropertyInfo {
  std::wstring name;
  bool text = false;  ///< a string; otherwise a number
  bool key = false;
  bool writable = false;
  std::wstring units;                   ///< empty when the schema names none
  std::wstring keyword;                 ///< the adapter's registry keyword; empty when the schema names none
  std::optional<std::int64_t> least;    ///< MinValue
  std::optional<std::int64_t> most;     ///< MaxValue
  std::vector<NamedValue> namedValues;  ///< ValueMap and Values
};

/// A property of one instance.
struct PropertyState {
  PropertyInfo info;
  Value value;
};

}  // namespace qvrn
