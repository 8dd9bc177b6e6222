// The types of properties and parameters: their names in MOF, how a VARIANT carries them, and which values they take.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "lab/schema/schema.h"

namespace lab {

struct CimType {
  const wchar_t* name;   ///< in MOF
  CIMTYPE type;          ///< without CIM_FLAG_ARRAY
  VARTYPE variant;       ///< what a VARIANT carries it as
  std::int64_t minimum;  ///< of an integer; both limits are 0 for other types
  std::int64_t maximum;

  bool IsInteger() const { return maximum != 0; }
};

/// The type with this MOF name, compared without regard to case; null for none. References have no name of their own.
const CimType* FindCimType(std::wstring_view name);

/// The type, or the element type of an array. Throws std::out_of_range for a type that MOF has no name for.
const CimType& CimTypeOf(CIMTYPE type);

/// Whether a literal may stand for a value of the type; NULL always may.
bool Fits(const Value& value, CIMTYPE type);

/// yyyymmddHHMMSS.mmmmmmsUUU, or an interval that ends in ":000"; asterisks stand for what is not given.
bool IsDatetime(std::wstring_view text);

/// The text in quotes, with quotes and backslashes escaped: as it stands in MOF and in object paths.
std::wstring Quoted(std::wstring_view text);

}  // namespace lab
