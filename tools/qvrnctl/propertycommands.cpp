#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>

#include "tools/qvrnctl/changes.h"
#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/configuration.h"
#include "tools/qvrnctl/json.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/terminal.h"

namespace qvrn {
namespace {

// The operands: adapters up to the first that is something else; the first one is an adapter whatever it looks like.
struct Operands {
  std::span<const std::wstring> adapters;
  std::span<const std::wstring> others;

  Operands(const Arguments& arguments, const std::function<bool(const std::wstring& word)>& isOther) {
    const std::span<const std::wstring> all = arguments.operands;
    const auto first = std::find_if(all.begin() + 1, all.end(), isOther);
    const auto count = static_cast<std::size_t>(first - all.begin());
    adapters = all.first(count);
    others = all.subspan(count);
  }
};

bool IsProperty(const std::vector<PropertyInfo>& properties, const std::wstring& name) {
  return std::ranges::any_of(properties, [&](const PropertyInfo& info) { return EqualText(info.name, name); });
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

// What `get` shows of an adapter.
struct ShownState {
  std::wstring adapter;
  PropertyState state;
  Value meaning;
};

std::wstring FormatStates(const std::vector<ShownState>& shown, bool withAdapter) {
  std::vector<TableRow> table = {{L"PROPERTY", L"VALUE", L"UNIT", L"MEANING"}};
  for (const auto& [adapter, state, meaning] : shown) {
    const bool isSupported = state.value != Value();
    table.push_back({state.info.name, FormatValue(state.value), state.info.units,
                     isSupported ? TextOf(meaning) : L"not supported by this adapter"});
  }
  if (!withAdapter) return FormatTable(table);
  table[0].insert(table[0].begin(), L"ADAPTER");
  for (std::size_t i = 0; i < shown.size(); ++i) table[i + 1].insert(table[i + 1].begin(), shown[i].adapter);
  return FormatTable(table);
}

std::wstring FormatStatesAsJson(const std::vector<ShownState>& shown) {
  std::vector<JsonRow> rows;
  for (const auto& [adapter, state, meaning] : shown) {
    rows.push_back({{L"adapter", adapter},
                    {L"property", state.info.name},
                    {L"value", state.value},
                    {L"meaning", meaning},
                    {L"unit", state.info.units.empty() ? Value() : Value(state.info.units)}});
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
std::optional<Forecast> MakeForecast(DriverRegistry& drivers, const std::wstring& id,
                                     const std::vector<PropertyState>& states, const std::vector<Request>& requests) {
  const StoredTexts* const stored = drivers.Texts();
  if (stored == nullptr) return std::nullopt;
  try {
    return Forecast{FindRefusals(states, requests, drivers.ReaderFor(id)),
                    FindRewrites(id, states, requests, std::bind_front(&StoredTexts::Read, stored))};
  } catch (const ClientError&) {
    return std::nullopt;
  }
}

// What `set` does to one adapter.
struct Change {
  std::wstring id;
  WmiObject instance;
  std::vector<Request> requests;
  std::vector<PropertyState> before;
  std::optional<Forecast> forecast;  // of a put
  bool isDue = false;                // something differs
};

// Says what the put will do besides what was asked for.
void AnnounceRewrites(const Change& change) {
  if (!change.forecast) {
    WriteError(
        L"note: the registry cannot be read through WMI; values that are stored in another form (\"03\" for 3) "
        L"may be rewritten");
    return;
  }
  for (const Rewrite& rewrite : change.forecast->rewrites) {
    WriteError(L"note: " + rewrite.property + L" is stored as \"" + rewrite.stored + L"\" and will be rewritten as \"" +
               rewrite.written + L"\"");
  }
}

// Those of the foreseen rewrites that have really happened.
std::vector<Rewrite> ConfirmRewrites(std::vector<Rewrite> foreseen, const std::optional<Forecast>& afterwards) {
  if (!afterwards) return {};
  const auto& open = afterwards->rewrites;
  std::erase_if(foreseen, [&](const Rewrite& rewrite) { return std::ranges::find(open, rewrite) != open.end(); });
  return foreseen;
}

// What became of one adapter, and of what was stored in another form.
struct Report {
  std::wstring id;
  std::vector<Outcome> outcomes;
  std::vector<Rewrite> rewrites;
};

void AppendReport(const Arguments& arguments, const Report& report, const std::wstring& prefix,
                  std::vector<JsonRow>& rows, std::wstring& lines) {
  const auto& [id, outcomes, rewrites] = report;
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
    lines += prefix + FormatOutcome(o) + L"\n";
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
}

void WriteReports(const Arguments& arguments, const std::vector<Report>& reports) {
  std::wstring lines;
  std::vector<JsonRow> rows;
  for (const Report& report : reports) {
    AppendReport(arguments, report, reports.size() > 1 ? L"adapter " + report.id + L": " : L"", rows, lines);
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

// The adapters with what is asked of each. Throws ClientError when anything of it cannot be: nothing is changed then.
std::vector<Change> PlanChanges(const std::vector<PropertyInfo>& properties, const std::vector<WmiObject>& instances,
                                DriverRegistry& drivers,
                                const std::function<std::vector<Request>(const Change&)>& requestsFor) {
  std::vector<Change> changes;
  std::vector<std::wstring> refusals;
  for (const WmiObject& instance : instances) {
    Change change = {IdOf(instance.Get()), instance, {}, ReadStates(properties, instance.Get()), {}};
    change.requests = requestsFor(change);
    CheckSupported(change.before, change.requests);
    change.isDue = AnyChange(change.before, change.requests);
    if (change.isDue) change.forecast = MakeForecast(drivers, change.id, change.before, change.requests);
    if (change.forecast) {
      for (const std::wstring& refusal : change.forecast->refusals) {
        refusals.push_back(instances.size() == 1 ? refusal : L"adapter " + change.id + L": " + refusal);
      }
    }
    changes.push_back(std::move(change));
  }
  if (!refusals.empty()) throw Failed(Join(refusals) + L"; nothing was changed");
  return changes;
}

// Puts what is asked of one adapter and reads it back. Gives whether it is there.
bool Apply(const Arguments& arguments, const WmiClient& wmi, const std::vector<PropertyInfo>& properties,
           DriverRegistry& drivers, const Change& change, Report& report) {
  for (const Request& request : change.requests) {
    WriteProperty(change.instance.Get(), request.info.name, request.value);
  }
  AnnounceRestart(arguments, change.id);
  const HRESULT answer = wmi.Put(change.instance, WBEM_FLAG_UPDATE_ONLY, L"changing adapter " + change.id);
  const auto after = ReadBack<std::vector<PropertyState>>(arguments, [&](const WmiClient& fresh) {
    return ReadStates(properties, FetchConfiguration(fresh, change.id, drivers).Get());
  });
  if (!report.rewrites.empty()) {
    report.rewrites = ConfirmRewrites(report.rewrites, MakeForecast(drivers, change.id, after, change.requests));
  }
  report.outcomes = CompareStates(change.before, change.requests, after);
  return Conclude(report.outcomes, answer) == kExitDone;
}

int ApplyAll(const Arguments& arguments, const WmiClient& wmi, const std::vector<PropertyInfo>& properties,
             DriverRegistry& drivers, const std::vector<Change>& changes) {
  const InterruptWatch watch;
  std::vector<Report> reports;
  std::vector<std::wstring> notes;
  bool failed = false;
  for (const Change& change : changes) {
    if (InterruptWatch::IsInterrupted()) {
      notes.push_back(L"interrupted: adapter " + change.id + L" and those after it are as they were");
      failed = true;
      break;
    }
    reports.push_back({change.id, CompareStates(change.before, change.requests, change.before), {}});
    if (!change.isDue) {
      notes.push_back(L"adapter " + change.id + L" has these values already; nothing was written and nothing restarts");
      continue;
    }
    AnnounceRewrites(change);
    if (change.forecast) reports.back().rewrites = change.forecast->rewrites;
    if (arguments.whatIf) {
      AnnounceRestart(arguments, change.id);
      reports.back().outcomes = CompareStates(change.before, change.requests, Foresee(change.before, change.requests));
    } else {
      try {
        failed |= !Apply(arguments, wmi, properties, drivers, change, reports.back());
      } catch (const ClientError& error) {
        if (changes.size() == 1) throw;
        notes.push_back(L"adapter " + change.id + L": " + error.Message());
        reports.pop_back();  // nobody knows what it has come to; the other adapters are told all the same
        failed = true;
      }
    }
  }
  WriteReports(arguments, reports);
  for (const std::wstring& note : notes) WriteError(note);
  return failed ? kExitFailed : kExitDone;
}

}  // namespace

int RunGet(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  DriverRegistry drivers(arguments);
  const std::vector<PropertyInfo> properties = DescribeConfiguration(wmi);
  const Operands operands(arguments, [&](const std::wstring& word) { return IsProperty(properties, word); });
  for (const std::wstring& name : operands.others) FindProperty(properties, name);
  const auto explain = [&](const std::wstring& text) { return NoSuchProperty(properties, text); };
  std::vector<ShownState> shown;
  const std::vector<WmiObject> instances = FindConfigurations(wmi, operands.adapters, drivers, explain);
  for (WmiObject instance : instances) {
    const std::wstring id = IdOf(instance.Get());
    if (arguments.association) {
      const AdapterSetting way = FindSetting(wmi, id);
      WriteError(way.element + L" -> QvrnEN_NetworkAdapterSetting -> " + way.setting);
      instance = wmi.Fetch(way.setting, way.setting);
    }
    for (PropertyState& state : SelectStates(properties, operands.others, instance.Get())) {
      const Value meaning = drivers.Meaning(id, state);
      shown.push_back({id, std::move(state), meaning});
    }
  }
  WriteOut(arguments.json ? FormatStatesAsJson(shown) : FormatStates(shown, instances.size() > 1));
  return kExitDone;
}

int RunSet(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  DriverRegistry drivers(arguments);
  const std::vector<PropertyInfo> properties = DescribeConfiguration(wmi);
  const auto isAssignment = [](const std::wstring& word) { return word.find(L'=') != std::wstring::npos; };
  const Operands operands(arguments, isAssignment);
  const std::vector<Assignment> assignments = ParseAssignments(properties, operands.others);
  const auto explain = [](const std::wstring& text) {
    return WrongUsage(L"\"" + text + L"\" is not of the form PROPERTY=VALUE, and no adapter either");
  };
  if (assignments.empty()) throw explain(arguments.operands.back());
  const std::vector<WmiObject> instances = FindConfigurations(wmi, operands.adapters, drivers, explain);
  const auto requestsFor = [&](const Change& change) {
    std::vector<Request> requests;
    for (const Assignment& a : assignments) requests.push_back(Resolve(a, drivers.ReaderFor(change.id)));
    return requests;
  };
  return ApplyAll(arguments, wmi, properties, drivers, PlanChanges(properties, instances, drivers, requestsFor));
}

int RunReset(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  DriverRegistry drivers(arguments);
  const std::vector<PropertyInfo> properties = DescribeConfiguration(wmi);
  const std::vector<WmiObject> instances = FindConfigurations(wmi, arguments.operands, drivers);
  const auto requestsFor = [&](const Change& change) {
    std::vector<Request> requests;
    for (const auto& [info, value] : change.before) {
      if (info.key || !info.writable || value == Value()) continue;
      const std::optional<DriverParameter> parameter = drivers.Parameter(change.id, info);
      if (parameter && parameter->defaultValue) requests.push_back({info, *parameter->defaultValue});
    }
    if (requests.empty()) {
      throw Failed(L"the driver's defaults of adapter " + change.id + L" cannot be read; nothing was changed");
    }
    return requests;
  };
  return ApplyAll(arguments, wmi, properties, drivers, PlanChanges(properties, instances, drivers, requestsFor));
}

// --- describe --------------------------------------------------------------------------------------------------------

namespace {

std::wstring OrDash(const std::wstring& text) { return text.empty() ? L"-" : text; }

Json DescribeAsJson(const std::wstring& id, const PropertyState& state, const DriverParameter& parameter) {
  const auto number = [](const std::optional<std::int64_t>& n) { return n ? Json(*n) : Json(nullptr); };
  Json values = Json::array();
  for (const auto& [value, meaning] : parameter.values) {
    const std::optional<std::int64_t> plain = ParseNumber(value);
    values.push_back({{"value", plain ? Json(*plain) : ToJson(value)}, {"meaning", ToJson(meaning)}});
  }
  return {{"adapter", ToJson(id)},
          {"property", ToJson(state.info.name)},
          {"value", ToJson(state.value)},
          {"default", number(parameter.defaultValue)},
          {"least", number(parameter.least)},
          {"most", number(parameter.most)},
          {"step", number(parameter.step)},
          {"values", values}};
}

}  // namespace

int RunDescribe(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  DriverRegistry drivers(arguments);
  const std::vector<PropertyInfo> properties = DescribeConfiguration(wmi);
  const std::span<const std::wstring> operands = arguments.operands;
  for (const std::wstring& name : operands.subspan(1)) FindProperty(properties, name);
  const WmiObject instance = FindConfigurations(wmi, operands.first(1), drivers).front();
  const std::wstring id = IdOf(instance.Get());
  std::vector<TableRow> table = {{L"PROPERTY", L"VALUE", L"DEFAULT", L"TAKES"}};
  Json json = Json::array();
  for (const PropertyState& state : SelectStates(properties, operands.subspan(1), instance.Get())) {
    const DriverParameter parameter = drivers.Parameter(id, state.info).value_or(DriverParameter());
    const Value standard = parameter.defaultValue ? Value(*parameter.defaultValue) : Value();
    table.push_back({state.info.name, FormatValue(state.value), FormatValue(standard), OrDash(FormatRange(parameter))});
    json.push_back(DescribeAsJson(id, state, parameter));
  }
  if (drivers.Texts() == nullptr)
    WriteError(L"note: the registry cannot be read through WMI, so the driver's words are missing");
  WriteOut(arguments.json ? FormatOnLines(json, !IsConsole(STD_OUTPUT_HANDLE)) : FormatTable(table));
  return kExitDone;
}

}  // namespace qvrn
