#include "tools/qvrnctl/properties.h"

#include <windows.h>

#include <algorithm>
#include <cerrno>
#include <cwchar>
#include <limits>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"

namespace qvrn {
namespace {

// Where Windows keeps network adapters: NNNN below it is the adapter with that index.
constexpr wchar_t kNetworkClassKey[] =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002BE10318}\\";

std::wstring Meanings(const std::vector<NamedValue>& values) {
  std::wstring meanings;
  for (const NamedValue& named : values) meanings += L", " + named.value + L" or \"" + named.meaning + L"\"";
  return meanings;
}

[[noreturn]] void RefuseValue(const PropertyInfo& info, const std::wstring& text, const std::wstring& why) {
  throw WrongUsage(info.name + L" cannot be \"" + text + L"\": " + why);
}

const NamedValue* FindMeaning(const std::vector<NamedValue>& values, const std::wstring& meaning) {
  const auto named = std::ranges::find_if(values, [&](const NamedValue& v) { return EqualText(v.meaning, meaning); });
  return named == values.end() ? nullptr : &*named;
}

Assignment ParseAssignment(const std::vector<PropertyInfo>& properties, const std::wstring& word) {
  const std::size_t equals = word.find(L'=');
  if (equals == std::wstring::npos) throw WrongUsage(L"\"" + word + L"\" is not of the form PROPERTY=VALUE");
  const PropertyInfo& info = FindProperty(properties, word.substr(0, equals));
  if (!info.writable || info.key) throw WrongUsage(info.name + L" cannot be set");
  Assignment assignment = {info, word.substr(equals + 1)};
  ValueBySchema(info, assignment.text);
  return assignment;
}

const Request* FindRequest(const std::vector<Request>& requests, const std::wstring& property) {
  const auto found = std::find_if(requests.begin(), requests.end(),
                                  [&](const Request& request) { return request.info.name == property; });
  return found == requests.end() ? nullptr : &*found;
}

Result Judge(const Request* request, const Value& before, const Value& after) {
  if (request == nullptr) return Result::kAlsoChanged;
  if (after != request->value) return Result::kNotTaken;
  return before == after ? Result::kAlreadyThere : Result::kChanged;
}

// The canonical text that replaces `stored`; none when the stored text stays as it is.
std::optional<std::wstring> RewrittenText(const std::wstring& parameter, std::int64_t value, const std::wstring& stored,
                                          const TextReader& readText) {
  const std::wstring written = std::to_wstring(value);
  // Another number is stored: the driver's value has been adapted on the way, and an adapted one is not written back.
  if (stored == written || _wtoi(stored.c_str()) != value) return std::nullopt;
  if (readText(parameter, L"type") != L"enum" || !readText(parameter + L"\\Enum", written)) return std::nullopt;
  return written;
}

}  // namespace

bool EqualText(const std::wstring& left, const std::wstring& right) {
  return ::CompareStringOrdinal(left.c_str(), static_cast<int>(left.size()), right.c_str(),
                                static_cast<int>(right.size()), TRUE) == CSTR_EQUAL;
}

std::optional<std::int64_t> ParseNumber(const std::wstring& text) {
  const std::size_t digits = text.starts_with(L'-') ? 1 : 0;
  if (text.size() == digits || text.find_first_not_of(L"0123456789", digits) != std::wstring::npos) return std::nullopt;
  errno = 0;
  const std::int64_t number = std::wcstoll(text.c_str(), nullptr, 10);
  if (errno == ERANGE) return std::nullopt;
  return number;
}

std::wstring TextOf(const Value& value) {
  const auto* text = std::get_if<std::wstring>(&value);
  return text == nullptr ? std::wstring() : *text;
}

std::wstring FormatValue(const Value& value) {
  if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_wstring(*number);
  const auto* text = std::get_if<std::wstring>(&value);
  return text == nullptr ? L"-" : *text;
}

Value MeaningOf(const std::vector<NamedValue>& named, const Value& value) {
  const auto found = std::ranges::find(named, FormatValue(value), &NamedValue::value);
  return found == named.end() ? Value() : Value(found->meaning);
}

std::wstring FormatWithMeaning(const PropertyInfo& info, const Value& value) {
  const Value meaning = MeaningOf(info.namedValues, value);
  const std::wstring text = FormatValue(value);
  return meaning == Value() ? text : text + L" (" + FormatValue(meaning) + L")";
}

ClientError NoSuchProperty(const std::vector<PropertyInfo>& properties, const std::wstring& name) {
  std::vector<std::wstring> names;
  for (const PropertyInfo& info : properties) names.push_back(info.name);
  return WrongUsage(L"there is no property \"" + name + L"\"; there are " + Join(names));
}

const PropertyInfo& FindProperty(const std::vector<PropertyInfo>& properties, const std::wstring& name) {
  const auto found = std::find_if(properties.begin(), properties.end(),
                                  [&](const PropertyInfo& info) { return EqualText(info.name, name); });
  if (found == properties.end()) throw NoSuchProperty(properties, name);
  return *found;
}

std::vector<Assignment> ParseAssignments(const std::vector<PropertyInfo>& properties,
                                         std::span<const std::wstring> words) {
  std::vector<Assignment> assignments;
  for (const std::wstring& word : words) {
    Assignment assignment = ParseAssignment(properties, word);
    for (const Assignment& earlier : assignments) {
      if (earlier.info.name == assignment.info.name) throw WrongUsage(assignment.info.name + L" is given twice");
    }
    assignments.push_back(std::move(assignment));
  }
  return assignments;
}

std::optional<Value> ValueBySchema(const PropertyInfo& info, const std::wstring& text) {
  if (info.text) return text;
  const NamedValue* named = FindMeaning(info.namedValues, text);
  const std::optional<std::int64_t> number = ParseNumber(named == nullptr ? text : named->value);
  if (!number) return std::nullopt;
  const std::int64_t least = info.least.value_or(std::numeric_limits<std::int32_t>::min());
  const std::int64_t most = info.most.value_or(std::numeric_limits<std::int32_t>::max());
  if (*number < least || *number > most) {
    RefuseValue(info, text, L"it takes " + std::to_wstring(least) + L" to " + std::to_wstring(most));
  }
  return *number;
}

Request Resolve(const Assignment& assignment, const ParameterReader& readParameter) {
  const auto& [info, text] = assignment;
  if (const std::optional<Value> value = ValueBySchema(info, text)) return {info, *value};
  const DriverParameter parameter = readParameter(info).value_or(DriverParameter());
  if (const NamedValue* named = FindMeaning(parameter.values, text)) {
    if (const std::optional<std::int64_t> number = ParseNumber(named->value)) return {info, *number};
  }
  if (EqualText(text, L"default")) {
    if (parameter.defaultValue) return {info, *parameter.defaultValue};
    RefuseValue(info, text, L"the driver names no default");
  }
  RefuseValue(info, text,
              L"it takes a number" + Meanings(info.namedValues.empty() ? parameter.values : info.namedValues));
}

std::optional<std::wstring> DriversObjection(const DriverParameter& parameter, std::int64_t value) {
  if (parameter.type == L"enum" && MeaningOf(parameter.values, value) == Value()) {
    const std::wstring range = FormatRange(parameter);
    return L"it is not among the driver's values" + (range.empty() ? range : L": " + range);
  }
  if (parameter.type != L"int" || !parameter.least || !parameter.most) return std::nullopt;
  if (value >= *parameter.least && value <= *parameter.most) return std::nullopt;
  return L"the driver takes " + FormatRange(parameter);
}

std::wstring FormatRange(const DriverParameter& parameter) {
  std::vector<std::wstring> values;
  for (const auto& [value, meaning] : parameter.values) values.push_back(value + L" (" + meaning + L")");
  if (parameter.type == L"enum") return Join(values);
  if (!parameter.least || !parameter.most) return {};
  const std::wstring range = std::to_wstring(*parameter.least) + L" to " + std::to_wstring(*parameter.most);
  return parameter.step ? range + L" in steps of " + std::to_wstring(*parameter.step) : range;
}

void CheckSupported(const std::vector<PropertyState>& states, const std::vector<Request>& requests) {
  for (const Request& request : requests) {
    if (ValueOf(states, request.info.name) == Value()) {
      throw Failed(request.info.name + L" is not supported by this adapter; nothing was changed");
    }
  }
}

Value ValueOf(const std::vector<PropertyState>& states, const std::wstring& property) {
  const auto found = std::ranges::find_if(states, [&](const PropertyState& s) { return s.info.name == property; });
  return found == states.end() ? Value() : found->value;
}

bool AnyChange(const std::vector<PropertyState>& states, const std::vector<Request>& requests) {
  return std::any_of(requests.begin(), requests.end(),
                     [&](const Request& request) { return ValueOf(states, request.info.name) != request.value; });
}

std::vector<Outcome> CompareStates(const std::vector<PropertyState>& before, const std::vector<Request>& requests,
                                   const std::vector<PropertyState>& after) {
  std::vector<Outcome> outcomes;
  for (const PropertyState& state : before) {
    const Request* request = FindRequest(requests, state.info.name);
    const Value now = ValueOf(after, state.info.name);
    if (request == nullptr && now == state.value) continue;
    outcomes.push_back({state.info, Judge(request, state.value, now), state.value,
                        request == nullptr ? Value() : request->value, now});
  }
  return outcomes;
}

std::vector<PropertyState> Foresee(std::vector<PropertyState> states, const std::vector<Request>& requests) {
  for (PropertyState& state : states) {
    if (const Request* request = FindRequest(requests, state.info.name)) state.value = request->value;
  }
  return states;
}

std::wstring FormatOutcome(const Outcome& outcome, const std::wstring& whyNot) {
  const PropertyInfo& info = outcome.info;
  const std::wstring before = FormatWithMeaning(info, outcome.before);
  const std::wstring after = FormatWithMeaning(info, outcome.after);
  const std::wstring step = outcome.before == outcome.after ? L" stays " + after : L" " + before + L" -> " + after;
  switch (outcome.result) {
    case Result::kAlreadyThere:
      return info.name + L" is " + after + L" already";
    case Result::kNotTaken:
      return info.name + step + L": " + FormatValue(outcome.requested) + L" was not taken (" + whyNot + L")";
    case Result::kAlsoChanged:
      return info.name + step + L" (not asked for)";
    default:
      return info.name + step;
  }
}

const wchar_t* ResultName(Result result) {
  static constexpr const wchar_t* kNames[] = {L"changed", L"unchanged", L"notTaken", L"alsoChanged"};
  return kNames[static_cast<int>(result)];
}

std::wstring AdapterKey(const std::wstring& id) {
  return kNetworkClassKey + std::wstring(id.size() < 4 ? 4 - id.size() : 0, L'0') + id;
}

std::wstring ParametersKey(const std::wstring& id) { return AdapterKey(id) + L"\\Ndi\\config"; }

std::vector<Rewrite> FindRewrites(const std::wstring& adapterId, const std::vector<PropertyState>& states,
                                  const std::vector<Request>& requests, const TextReader& readText) {
  std::vector<Rewrite> rewrites;
  const std::wstring key = AdapterKey(adapterId);
  for (const PropertyState& state : states) {
    const auto* value = std::get_if<std::int64_t>(&state.value);
    if (value == nullptr || state.info.keyword.empty()) continue;
    if (FindRequest(requests, state.info.name) != nullptr) continue;
    const std::optional<std::wstring> stored = readText(key, state.info.keyword);
    if (!stored) continue;
    const std::wstring parameter = ParametersKey(adapterId) + L"\\" + state.info.keyword;
    const std::optional<std::wstring> written = RewrittenText(parameter, *value, *stored, readText);
    if (written) rewrites.push_back({state.info.name, *value, *stored, *written});
  }
  return rewrites;
}

std::vector<std::wstring> FindRefusals(const std::vector<PropertyState>& states, const std::vector<Request>& requests,
                                       const ParameterReader& readParameter) {
  std::vector<std::wstring> refusals;
  for (const auto& [info, asked] : requests) {
    const auto* value = std::get_if<std::int64_t>(&asked);
    if (value == nullptr || asked == ValueOf(states, info.name)) continue;
    const std::optional<DriverParameter> parameter = readParameter(info);
    const auto objection = parameter ? DriversObjection(*parameter, *value) : std::nullopt;
    if (objection) refusals.push_back(info.name + L" cannot be " + FormatValue(asked) + L": " + *objection);
  }
  return refusals;
}

}  // namespace qvrn
