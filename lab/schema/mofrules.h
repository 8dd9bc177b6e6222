// What every MOF file may use without declaring it: the standard qualifiers and the platform's registration classes.
#pragma once

#include <string_view>

#include "lab/schema/schema.h"

namespace lab {

/// Where a qualifier may stand; values combine.
enum MofScope : unsigned { kOnClass = 1, kOnProperty = 2, kOnMethod = 4, kOnParameter = 8 };

struct QualifierRule {
  const wchar_t* name;
  CIMTYPE type;  ///< CIM_BOOLEAN for a flag
  unsigned scopes;
};

/// The standard qualifier with this name, compared without regard to case; null for none.
const QualifierRule* FindQualifierRule(std::wstring_view name);

/// A word behind the colon of a qualifier: amended, tosubclass and so on.
bool IsFlavor(std::wstring_view word);

/// Declarations of the registration classes, in MOF.
extern const char kPlatformClasses[];

}  // namespace lab
