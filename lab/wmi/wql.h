// The queries that the lab answers: SELECT * | a,b,c FROM Class [WHERE Property = value].
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/wmi.h"

namespace lab {

struct Query {
  struct Condition {
    std::wstring property;
    std::wstring value;  ///< a text, a number in decimal, TRUE or FALSE
  };

  std::vector<std::wstring> properties;  ///< empty for *
  std::wstring className;
  std::optional<Condition> condition;
};

/// Nothing for a text that is not of the form above. Keywords are recognised in any case.
std::optional<Query> ParseQuery(std::wstring_view text);

/// Whether an object meets the condition. Texts compare without regard to case, a number also with a text that holds
/// it; NULL equals nothing.
bool Matches(const Query::Condition& condition, IWbemClassObject* object);

}  // namespace lab
