// The queries that the lab answers: SELECT * | a,b,c FROM Class [WHERE Property = value].
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/schema/schema.h"

namespace lab {

struct Query {
  struct Condition {
    std::wstring property;
    Scalar value;  ///< a string, a number or a boolean
  };

  std::vector<std::wstring> properties;  ///< empty for *
  std::wstring className;
  std::optional<Condition> condition;
};

/// Nothing for a text that is not of the form above. Keywords are recognised in any case.
std::optional<Query> ParseQuery(std::wstring_view text);

/// Whether every property that the query names exists in objects like `classObject`, system properties included.
bool NamesKnownProperties(const Query& query, IWbemClassObject* classObject);

/// Whether an object meets the condition. Texts compare without regard to case, a number also with a text that holds
/// it; NULL equals nothing.
bool Matches(const Query::Condition& condition, IWbemClassObject* object);

}  // namespace lab
