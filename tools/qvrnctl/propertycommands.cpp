#include <algorithm>
#include <functional>

#include "tools/qvrnctl/adapters.h"
#include "tools/qvrnctl/changes.h"
#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/properties.h"
#include "tools/qvrnctl/storedtext.h"

namespace qvrn {
namespace {

std::vector<PropertyInfo> DescribeConfiguration(const WmiClient& wmi) {
  return DescribeClass(FetchClass(wmi, kConfigurationClass).Get());
}

std::vector<PropertyState> ReadStates(const std::vector<PropertyInfo>& properties, IWbemClassObject* instance) {
  std::vector<PropertyState> states;
  for (const PropertyInfo& info : properties) states.push_back({info, ReadProperty(instance, info.name)});
  return states;
}

std::wstring IdOf(IWbemClassObject* instance) { return FormatValue(ReadProperty(instance, L"SettingID")); }

std::span<const std::wstring> OperandsAfterAdapter(const Arguments& arguments) {
  return std::span<const std::wstring>(arguments.operands).subspan(1);
}

// --- get ---------------------------------------------------------------------------------------------------------

// The named properties, or all that the adapter has.
std::vector<PropertyState> SelectStates(const std::vector<PropertyInfo>& properties,
                                        std::span<const std::wstring> names, IWbemClassObject* instance) {
  std::vector<PropertyInfo> named;
  for (const std::wstring& name : names) named.push_back(FindProperty(properties, name));
  std::vector<PropertyState> states = ReadStates(named.empty() ? properties : named, instance);
  if (named.empty()) {
    std::erase_if(states, [](const PropertyState& state) { return state.info.key || state.value == Value(); });
  }
  return states;
}

std::wstring FormatStates(const std::vector<PropertyState>& states) {
  std::vector<TableRow> table = {{L"PROPERTY", L"VALUE", L"UNIT", L"MEANING"}};
  for (const auto& [info, value] : states) {
    const Value meaning = value == Value() ? Value(L"not supported by this adapter") : MeaningOf(info, value);
    table.push_back({info.name, FormatValue(value), info.units, meaning == Value() ? L"" : FormatValue(meaning)});
  }
  return FormatTable(table);
}

std::wstring FormatStatesAsJson(const std::wstring& id, const std::vector<PropertyState>& states) {
  std::vector<JsonRow> rows;
  for (const auto& [info, value] : states) {
    rows.push_back({{L"adapter", id},
                    {L"property", info.name},
                    {L"value", value},
                    {L"meaning", MeaningOf(info, value)},
                    {L"unit", info.units.empty() ? Value() : Value(info.units)}});
  }
  return FormatJson(rows);
}

// --- set ---------------------------------------------------------------------------------------------------------

// What the stored values and the driver's own description tell about a put.
struct Forecast {
  std::vector<std::wstring> refusals;
  std::vector<Rewrite> rewrites;
};

// None when the registry cannot be read through WMI: the put itself will show.
std::optional<Forecast> MakeForecast(const Arguments& arguments, const std::wstring& id,
                                     const std::vector<PropertyState>& states, const std::vector<Request>& requests) {
  try {
    const StoredTexts stored(arguments);
    const TextReader readText = std::bind_front(&StoredTexts::Read, &stored);
    return Forecast{FindRefusals(id, states, requests, readText), FindRewrites(id, states, requests, readText)};
  } catch (const ClientError&) {
    return std::nullopt;
  }
}

// Says what a put will do besides what was asked for. Throws ClientError when the driver would not take a value.
void Announce(const Arguments& arguments, const std::wstring& id, const std::optional<Forecast>& forecast) {
  if (!forecast) {
    WriteError(
        L"note: the registry cannot be read through WMI; values that are stored in another form (\"03\" for 3) "
        L"may be rewritten");
  } else {
    if (!forecast->refusals.empty()) throw Failed(Join(forecast->refusals) + L"; nothing was changed");
    for (const Rewrite& rewrite : forecast->rewrites) {
      WriteError(L"note: " + rewrite.property + L" is stored as \"" + rewrite.stored +
                 L"\" and will be rewritten as \"" + rewrite.written + L"\"");
    }
  }
  AnnounceRestart(arguments, id);
}

// Those of the foreseen rewrites that have really happened.
std::vector<Rewrite> ConfirmRewrites(std::vector<Rewrite> foreseen, const std::optional<Forecast>& afterwards) {
  if (!afterwards) return {};
  const auto& open = afterwards->rewrites;
  std::erase_if(foreseen, [&](const Rewrite& rewrite) { return std::ranges::find(open, rewrite) != open.end(); });
  return foreseen;
}

void Report(const Arguments& arguments, const std::wstring& id, const std::vector<Outcome>& outcomes,
            const std::vector<Rewrite>& rewrites) {
  std::wstring lines;
  std::vector<JsonRow> rows;
  for (const Outcome& o : outcomes) {
    const wchar_t* result = arguments.whatIf && o.result == Result::kChanged ? L"wouldChange" : ResultName(o.result);
    rows.push_back({{L"adapter", id},
                    {L"property", o.info.name},
                    {L"result", result},
                    {L"before", o.before},
                    {L"requested", o.requested},
                    {L"after", o.after},
                    {L"storedBefore", {}},
                    {L"storedAfter", {}}});
    lines += FormatOutcome(o) + L"\n";
  }
  for (const Rewrite& r : rewrites) {
    const wchar_t* result = arguments.whatIf ? L"wouldBeRewritten" : L"rewritten";
    rows.push_back({{L"adapter", id},
                    {L"property", r.property},
                    {L"result", result},
                    {L"before", r.value},
                    {L"requested", {}},
                    {L"after", r.value},
                    {L"storedBefore", r.stored},
                    {L"storedAfter", r.written}});
  }
  WriteOut(arguments.json ? FormatJson(rows) : lines);
}

// The answer says something only when the values are not there.
int Conclude(const std::vector<Outcome>& outcomes, HRESULT answer) {
  bool failed = false;
  bool changed = false;
  for (const Outcome& outcome : outcomes) {
    failed |= outcome.result == Result::kNotTaken;
    changed |= outcome.before != outcome.after;
  }
  if (!failed) return kExitDone;
  if (!ReportRefusal(L"the put was refused", answer) && !changed) {
    WriteError(L"nothing was changed; if the values are right, run it as an administrator, in an elevated prompt");
  }
  return kExitFailed;
}

}  // namespace

int RunGet(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  const std::vector<PropertyInfo> properties = DescribeConfiguration(wmi);
  for (const std::wstring& name : OperandsAfterAdapter(arguments)) FindProperty(properties, name);
  WmiObject instance = FindConfiguration(wmi, arguments.operands[0]);
  if (arguments.association) {
    const AdapterSetting way = FindSetting(wmi, IdOf(instance.Get()));
    WriteError(way.element + L" -> QvrnEN_NetworkAdapterSetting -> " + way.setting);
    instance = wmi.Fetch(way.setting, way.setting);
  }
  const auto states = SelectStates(properties, OperandsAfterAdapter(arguments), instance.Get());
  WriteOut(arguments.json ? FormatStatesAsJson(IdOf(instance.Get()), states) : FormatStates(states));
  return kExitDone;
}

int RunSet(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  const std::vector<PropertyInfo> properties = DescribeConfiguration(wmi);
  const std::vector<Request> requests = ParseRequests(properties, OperandsAfterAdapter(arguments));
  const WmiObject instance = FindConfiguration(wmi, arguments.operands[0]);
  const std::wstring id = IdOf(instance.Get());
  const std::vector<PropertyState> before = ReadStates(properties, instance.Get());
  CheckSupported(before, requests);
  if (!AnyChange(before, requests)) {
    Report(arguments, id, CompareStates(before, requests, before), {});
    WriteError(L"adapter " + id + L" has these values already; nothing was written and nothing restarts");
    return kExitDone;
  }
  const std::optional<Forecast> forecast = MakeForecast(arguments, id, before, requests);
  Announce(arguments, id, forecast);
  std::vector<Rewrite> rewrites = forecast ? forecast->rewrites : std::vector<Rewrite>();
  if (arguments.whatIf) {
    Report(arguments, id, CompareStates(before, requests, Foresee(before, requests)), rewrites);
    return kExitDone;
  }
  for (const Request& request : requests) WriteProperty(instance.Get(), request.info.name, request.value);
  const HRESULT answer = wmi.Put(instance.Get(), WBEM_FLAG_UPDATE_ONLY);
  const auto after = ReadBack<std::vector<PropertyState>>(
      arguments, [&](const WmiClient& fresh) { return ReadStates(properties, FetchConfiguration(fresh, id).Get()); });
  if (!rewrites.empty()) rewrites = ConfirmRewrites(rewrites, MakeForecast(arguments, id, after, requests));
  const std::vector<Outcome> outcomes = CompareStates(before, requests, after);
  Report(arguments, id, outcomes, rewrites);
  return Conclude(outcomes, answer);
}

}  // namespace qvrn
