#include "tools/qvrnctl/plan.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <map>
#include <set>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"

namespace qvrn {
namespace {

// As the network engine compares the names of VLANs.
bool IsSameName(const std::wstring& left, const std::wstring& right) {
  return ::_wcsicmp(left.c_str(), right.c_str()) == 0;
}

const Vlan* FindNumber(std::span<const Vlan> vlans, std::int64_t number) {
  const auto found = std::ranges::find(vlans, number, &Vlan::number);
  return found == vlans.end() ? nullptr : &*found;
}

// --- changes of names ------------------------------------------------------------------------------------------------

// A name that neither is there nor is wanted.
std::wstring ThirdName(const std::vector<Vlan>& current, const std::vector<Vlan>& wanted) {
  const auto isTaken = [](const std::vector<Vlan>& vlans, const std::wstring& name) {
    return std::ranges::any_of(vlans, [&](const Vlan& vlan) { return IsSameName(vlan.name, name); });
  };
  std::wstring name;
  for (int i = 1; name.empty() || isTaken(current, name) || isTaken(wanted, name); ++i) {
    name = L"qvrnctl-" + std::to_wstring(i);
  }
  return name;
}

// Orders the changes of one adapter's VLANs: `current` are those that are there after the removals. A change whose name
// another VLAN still has waits; where all wait for each other, one of them takes a third name first.
std::vector<Vlan> OrderChanges(std::vector<Vlan> current, std::vector<Vlan> changes) {
  std::vector<Vlan> ordered;
  const auto isFree = [&](const Vlan& change) {
    return std::ranges::none_of(
        current, [&](const Vlan& other) { return other.guid != change.guid && IsSameName(other.name, change.name); });
  };
  const auto take = [&](const Vlan& change) {
    std::ranges::find(current, change.guid, &Vlan::guid)->name = change.name;
    ordered.push_back(change);
  };
  std::set<std::wstring> aside;
  while (!changes.empty()) {
    auto next = std::ranges::find_if(changes, isFree);
    if (next == changes.end()) next = changes.begin();
    if (isFree(*next) || !aside.insert(next->guid).second) {
      take(*next);
      changes.erase(next);
    } else {
      Vlan waiting = *std::ranges::find(current, next->guid, &Vlan::guid);
      waiting.name = ThirdName(current, changes);
      take(waiting);
    }
  }
  return ordered;
}

// --- the plan of one adapter -----------------------------------------------------------------------------------------

class PlanMaker {
 public:
  PlanMaker(const DesiredState& desired, const MachineState& machine) : m_machine(machine) {
    for (const DesiredAdapter& adapter : desired.adapters) {
      const AdapterState* const state = machine.Find(adapter.adapter.id);
      PlanProperties(adapter, state);
      if (adapter.vlans) PlanVlans(*adapter.vlans, state == nullptr ? std::vector<Vlan>() : state->vlans);
    }
    SortForRemoval(m_removals, machine.adapters.served);
  }

  std::vector<Step> Steps() {
    std::vector<Step> steps = std::move(m_puts);
    std::map<std::wstring, std::size_t> left;  // VLANs of an adapter
    for (const AdapterState& state : m_machine.states) left[state.adapter.id] = state.vlans.size();
    for (const Vlan& vlan : m_removals) {
      steps.push_back({Deviation::kRemove, vlan.adapter, {}, {}, vlan, --left[vlan.adapter] == 0 ? 2 : 1});
    }
    for (const Vlan& vlan : m_changes) steps.push_back({Deviation::kChange, vlan.adapter, {}, {}, vlan, 1});
    for (const Vlan& vlan : m_creations) steps.push_back({Deviation::kCreate, vlan.adapter, {}, {}, vlan, 2});
    return steps;
  }

 private:
  void PlanProperties(const DesiredAdapter& adapter, const AdapterState* state) {
    if (state == nullptr || state->configuration == nullptr || !AnyChange(state->properties, adapter.properties))
      return;
    m_puts.push_back({Deviation::kSet, adapter.adapter.id, state->configuration, adapter.properties, {}, 1});
  }

  void PlanVlans(const std::vector<Vlan>& wanted, const std::vector<Vlan>& now) {
    std::vector<Vlan> kept;
    for (const Vlan& vlan : now) {
      (FindNumber(wanted, vlan.number) == nullptr ? m_removals : kept).push_back(vlan);
    }
    std::vector<Vlan> changes;
    for (Vlan vlan : wanted) {
      const Vlan* const there = FindNumber(kept, vlan.number);
      if (there == nullptr) {
        m_creations.push_back(vlan);
      } else if (there->name != vlan.name || there->priority != vlan.priority) {
        vlan.guid = there->guid;
        vlan.object = there->object;
        changes.push_back(vlan);
      }
    }
    std::ranges::copy(OrderChanges(std::move(kept), std::move(changes)), std::back_inserter(m_changes));
  }

  const MachineState& m_machine;
  std::vector<Step> m_puts;
  std::vector<Vlan> m_removals;
  std::vector<Vlan> m_changes;
  std::vector<Vlan> m_creations;
};

// --- differences -----------------------------------------------------------------------------------------------------

void CompareProperties(const DesiredAdapter& desired, const AdapterState* state, std::vector<Difference>& differences) {
  for (const auto& [info, wanted] : desired.properties) {
    const Value now = state == nullptr ? Value() : ValueOf(state->properties, info.name);
    if (now != wanted) {
      differences.push_back({desired.adapter.id, std::nullopt, Deviation::kSet, info.name, now, wanted});
    }
  }
}

// The values of a VLAN that differ; all of one that is there on one side only.
void CompareVlan(const std::wstring& adapter, const Vlan* now, const Vlan* wanted,
                 std::vector<Difference>& differences) {
  const Deviation deviation = now == nullptr      ? Deviation::kCreate
                              : wanted == nullptr ? Deviation::kRemove
                                                  : Deviation::kChange;
  const std::int64_t number = (now == nullptr ? wanted : now)->number;
  const auto compare = [&](const wchar_t* property, const auto& member) {
    const Value before = now == nullptr ? Value() : Value(now->*member);
    const Value after = wanted == nullptr ? Value() : Value(wanted->*member);
    if (before != after) differences.push_back({adapter, number, deviation, property, before, after});
  };
  compare(L"name", &Vlan::name);
  compare(L"priority", &Vlan::priority);
}

// --- what is shown ---------------------------------------------------------------------------------------------------

// In the order of Deviation.
constexpr const wchar_t* kDeviations[] = {L"set", L"create", L"change", L"remove"};

std::wstring ResultOf(const Difference& difference, std::span<const Difference> left) {
  const Difference* const still = FindSame(left, difference);
  return still == nullptr ? L"done" : L"not done: " + FormatValue(still->now);
}

}  // namespace

std::vector<Difference> Compare(const DesiredState& desired, const MachineState& machine) {
  std::vector<Difference> differences;
  for (const DesiredAdapter& adapter : desired.adapters) {
    const AdapterState* const state = machine.Find(adapter.adapter.id);
    CompareProperties(adapter, state, differences);
    if (!adapter.vlans) continue;
    const std::vector<Vlan> now = state == nullptr ? std::vector<Vlan>() : state->vlans;
    for (const Vlan& vlan : now) {
      if (FindNumber(*adapter.vlans, vlan.number) == nullptr) CompareVlan(vlan.adapter, &vlan, nullptr, differences);
    }
    for (const Vlan& vlan : *adapter.vlans) {
      CompareVlan(vlan.adapter, FindNumber(now, vlan.number), &vlan, differences);
    }
  }
  return differences;
}

const Difference* FindSame(std::span<const Difference> differences, const Difference& wanted) {
  const auto found = std::ranges::find_if(differences, [&](const Difference& difference) {
    return difference.adapter == wanted.adapter && difference.vlan == wanted.vlan &&
           difference.property == wanted.property;
  });
  return found == differences.end() ? nullptr : &*found;
}

std::wstring Step::Text() const {
  switch (deviation) {
    case Deviation::kSet:
      return L"changing properties of adapter " + adapter;
    case Deviation::kCreate:
      return L"creating VLAN " + Label(vlan);
    case Deviation::kChange:
      return L"changing VLAN " + Label(vlan);
    default:
      return L"removing VLAN " + Label(vlan);
  }
}

std::vector<Step> MakePlan(const DesiredState& desired, const MachineState& machine) {
  return PlanMaker(desired, machine).Steps();
}

std::vector<std::wstring> FindEmpty(const DesiredState& desired, const MachineState& machine) {
  std::vector<std::wstring> empty;
  for (const DesiredAdapter& adapter : desired.adapters) {
    const AdapterState* const state = machine.Find(adapter.adapter.id);
    const bool isEmpty = state != nullptr && state->vlans.empty() && adapter.vlans && adapter.vlans->empty();
    if (isEmpty) empty.push_back(adapter.adapter.id);
  }
  return empty;
}

std::optional<Vlan> MakeHelper(std::vector<Vlan> vlans, const std::vector<std::wstring>& empty,
                               const std::vector<Adapter>& served) {
  for (const std::wstring& id : empty) vlans.push_back({L"", id, L"qvrnctl-1", 1, 0});
  SortForRemoval(vlans, served);
  if (vlans.empty() || std::ranges::find(empty, vlans.back().adapter) == empty.end()) return std::nullopt;
  return vlans.back();
}

std::wstring FormatRestarts(const std::vector<Step>& plan, bool whatIf) {
  std::vector<std::pair<std::wstring, int>> restarts;
  for (const Step& step : plan) {
    const auto known = std::ranges::find(restarts, step.adapter, &std::pair<std::wstring, int>::first);
    if (known == restarts.end()) {
      restarts.emplace_back(step.adapter, step.restarts);
    } else {
      known->second += step.restarts;
    }
  }
  std::vector<std::wstring> texts;
  for (const auto& [adapter, count] : restarts) {
    texts.push_back(L"adapter " + adapter + (whatIf ? L" would restart " : L" restarts ") +
                    (count == 1 ? L"once" : std::to_wstring(count) + L" times"));
  }
  return Join(texts);
}

std::wstring FormatDifferences(std::span<const Difference> differences, std::span<const Difference> left, bool isOver) {
  std::vector<TableRow> table = {{L"ADAPTER", L"VLAN", L"CHANGE", L"PROPERTY", L"NOW", L"WANTED"}};
  if (isOver) {
    table[0][4] = L"BEFORE";
    table[0].push_back(L"RESULT");
  }
  for (const Difference& d : differences) {
    table.push_back({d.adapter, d.vlan ? std::to_wstring(*d.vlan) : L"-", kDeviations[static_cast<int>(d.deviation)],
                     d.property, FormatValue(d.now), FormatValue(d.wanted)});
    if (isOver) table.back().push_back(ResultOf(d, left));
  }
  return FormatTable(table);
}

std::vector<JsonRow> DescribeDifferences(std::span<const Difference> differences) {
  std::vector<JsonRow> rows;
  for (const Difference& d : differences) {
    rows.push_back({{L"adapter", d.adapter},
                    {L"vlan", d.vlan ? Value(*d.vlan) : Value()},
                    {L"property", d.property},
                    {L"change", kDeviations[static_cast<int>(d.deviation)]},
                    {L"now", d.now},
                    {L"wanted", d.wanted}});
  }
  return rows;
}

}  // namespace qvrn
