// Reading, asking for and changing properties, as far as it can be thought out without WMI.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/propertyinfo.h"

namespace qvrn {

/// Equal without regard to case, by the ordinal rules of the platform's names.
bool EqualText(const std::wstring& left, const std::wstring& right);

/// A decimal number, a minus sign in front allowed; none for anything else.
std::optional<std::int64_t> ParseNumber(const std::wstring& text);

/// A text as it is; empty for NULL and for a number.
std::wstring TextOf(const Value& value);

/// A value as people read it: "3", a text, "-" for NULL.
std::wstring FormatValue(const Value& value);
/// The same with the schema's meaning: "3 (Rx and Tx)".
std::wstring FormatWithMeaning(const PropertyInfo& info, const Value& value);
/// The meaning of a value among `named`; NULL when it has none.
Value MeaningOf(const std::vector<NamedValue>& named, const Value& value);

/// Wrong usage: what was named is none of the declared properties.
ClientError NoSuchProperty(const std::vector<PropertyInfo>& properties, const std::wstring& name);
/// The declared property with this name, without regard to case. Throws ClientError (wrong usage) naming the valid
/// ones.
const PropertyInfo& FindProperty(const std::vector<PropertyInfo>& properties, const std::wstring& name);

/// What the user asks for: property = value.
struct Request {
  PropertyInfo info;
  Value value;
};

/// The same as it was written: a meaning of the driver's, or "default", tells its value for one adapter only.
struct Assignment {
  PropertyInfo info;
  std::wstring text;
};

/// Reads "PROPERTY=VALUE" words against the schema. Throws ClientError (wrong usage) on what the schema refuses: an
/// unknown or read-only property, one that is given twice, a number outside the declared bounds.
std::vector<Assignment> ParseAssignments(const std::vector<PropertyInfo>& properties,
                                         std::span<const std::wstring> words);

/// The value that a text stands for by the schema: a number, or one of the named meanings; none for any other text.
/// Throws ClientError (wrong usage) on a number outside the declared bounds.
std::optional<Value> ValueBySchema(const PropertyInfo& info, const std::wstring& text);

/// What the driver of an adapter says of a property.
struct DriverParameter {
  std::wstring type;  ///< "int" or "enum"; another text, or none, is a form that the provider does not take
  std::optional<std::int64_t> least;
  std::optional<std::int64_t> most;
  std::optional<std::int64_t> step;
  std::vector<NamedValue> values;  ///< of an enum, by their numbers
  std::optional<std::int64_t> defaultValue;
};
/// Of a property's driver parameter; none where the registry cannot be read.
using ParameterReader = std::function<std::optional<DriverParameter>(const PropertyInfo& info)>;

/// The value of an assignment for one adapter: by the schema, by the driver's meanings, or its default. Throws
/// ClientError (wrong usage) naming what would be taken.
Request Resolve(const Assignment& assignment, const ParameterReader& readParameter);

/// What the driver says against a value, with what it takes; none when it takes the value, or says nothing about it.
std::optional<std::wstring> DriversObjection(const DriverParameter& parameter, std::int64_t value);
/// What the driver takes: `1514 to 9614`, or `0 (Disabled), 1 (Enabled)`; empty when it does not say.
std::wstring FormatRange(const DriverParameter& parameter);

/// Throws ClientError (failed) when the adapter lacks a property that is asked for.
void CheckSupported(const std::vector<PropertyState>& states, const std::vector<Request>& requests);

/// The value of a property among `states`; NULL when it is not there.
Value ValueOf(const std::vector<PropertyState>& states, const std::wstring& property);

/// Whether any request differs from what is there. When none does, nothing has to be put.
bool AnyChange(const std::vector<PropertyState>& states, const std::vector<Request>& requests);

/// What became of a property.
enum class Result {
  kChanged,       ///< asked for, and there now
  kAlreadyThere,  ///< asked for, and there before
  kNotTaken,      ///< asked for, and not there
  kAlsoChanged,   ///< not asked for
};

struct Outcome {
  PropertyInfo info;
  Result result;
  Value before;
  Value requested;
  Value after;
};

/// Compares the properties before and after a put: every request, and whatever else is different.
std::vector<Outcome> CompareStates(const std::vector<PropertyState>& before, const std::vector<Request>& requests,
                                   const std::vector<PropertyState>& after);

/// The properties as they would be when every request is taken.
std::vector<PropertyState> Foresee(std::vector<PropertyState> states, const std::vector<Request>& requests);

/// Why a driver does not take a value.
inline constexpr wchar_t kDriversReason[] = L"outside the driver's range, or not among its values";

/// One line for people: "MaxFrameSize 1514 -> 9014". `whyNot` explains a request that was not taken.
std::wstring FormatOutcome(const Outcome& outcome, const std::wstring& whyNot = kDriversReason);
/// The result for programs: "changed", "unchanged", "notTaken", "alsoChanged".
const wchar_t* ResultName(Result result);

/// A stored text that a put replaces by the canonical form of the same value although nobody asked for that.
struct Rewrite {
  std::wstring property;
  Value value;
  std::wstring stored;
  std::wstring written;

  bool operator==(const Rewrite&) const = default;
};

/// Reads a text value from a key of the machine's registry; none when it is not there.
using TextReader = std::function<std::optional<std::wstring>(const std::wstring& key, const std::wstring& name)>;

/// A put carries every property. Finds those, not asked for, whose stored text is another form of their value and whose
/// list of allowed values has the canonical one: they are stored anew.
std::vector<Rewrite> FindRewrites(const std::wstring& adapterId, const std::vector<PropertyState>& states,
                                  const std::vector<Request>& requests, const TextReader& readText);

/// The provider ignores a value that the driver does not take. Finds such requests: one line each that says why.
std::vector<std::wstring> FindRefusals(const std::vector<PropertyState>& states, const std::vector<Request>& requests,
                                       const ParameterReader& readParameter);

/// Where Windows keeps the adapter with an id, below HKEY_LOCAL_MACHINE; and its driver's parameter descriptions.
std::wstring AdapterKey(const std::wstring& id);
std::wstring ParametersKey(const std::wstring& id);

}  // namespace qvrn
