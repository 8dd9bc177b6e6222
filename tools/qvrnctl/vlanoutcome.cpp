#include "tools/qvrnctl/vlanoutcome.h"

#include <algorithm>
#include <iterator>

namespace qvrn {
namespace {

struct ResultRow {
  const wchar_t* name;      // for programs
  const wchar_t* words;     // for people
  const wchar_t* planName;  // the two of a plan
  const wchar_t* planWords;
  bool failure;
};

// In the order of VlanResult.
constexpr ResultRow kResults[] = {
    {L"created", L"created", L"wouldCreate", L"would create", false},
    {L"notCreated", L"not created:", L"notCreated", L"not created:", true},
    {L"recreated", L"created again", L"wouldRecreate", L"would create again", false},
    {L"removed", L"removed", L"wouldRemove", L"would remove", false},
    {L"notRemoved", L"not removed:", L"notRemoved", L"not removed:", true},
    {L"changed", L"changed", L"wouldChange", L"would change", false},
    {L"unchanged", L"unchanged:", L"unchanged", L"unchanged:", false},
    {L"notTaken", L"not as asked for:", L"notTaken", L"not as asked for:", true},
    {L"unexpected", L"not asked for, but there:", L"unexpected", L"not asked for, but there:", true},
    {L"saved", L"saved", L"wouldSave", L"would save", false},
    {L"notSaved", L"not saved:", L"notSaved", L"not saved:", true},
    {L"takenBack", L"taken back:", L"takenBack", L"taken back:", true},
};

constexpr const wchar_t* kLinkNames[] = {
    L"Disconnected",
    L"Connecting",
    L"Connected",
    L"Disconnecting",
    L"Hardware not present",
    L"Hardware disabled",
    L"Hardware malfunction",
    L"Media disconnected",
    L"Authenticating",
    L"Authenticated",
    L"Authentication failed",
    L"Invalid address",
    L"Credentials required",
};

const ResultRow& RowOf(VlanResult result) { return kResults[static_cast<int>(result)]; }

// What became of a wanted VLAN.
VlanOutcome JudgeWanted(const Vlan& wanted, std::span<const Vlan> before, std::span<const Vlan> after) {
  const Vlan* there = FindSame(after, wanted);
  if (there == nullptr) return {wanted, VlanResult::kNotCreated};
  if (!there->guid.empty() && FindGuid(before, there->guid) != nullptr) return {*there, VlanResult::kUnchanged};
  return {*there, FindSame(before, wanted) == nullptr ? VlanResult::kCreated : VlanResult::kRecreated};
}

// The VLANs of one adapter, in their order.
std::vector<Vlan> VlansOf(const Adapter& adapter, std::span<const Vlan> vlans) {
  std::vector<Vlan> own;
  std::ranges::copy_if(vlans, std::back_inserter(own), [&](const Vlan& vlan) { return vlan.adapter == adapter.id; });
  return own;
}

}  // namespace

std::vector<VlanOutcome> CompareRestored(std::span<const Vlan> before, std::span<const Vlan> wanted,
                                         std::span<const Vlan> after) {
  std::vector<VlanOutcome> outcomes;
  for (const Vlan& vlan : before) {
    if (FindSame(wanted, vlan) != nullptr) continue;
    const bool gone = FindGuid(after, vlan.guid) == nullptr;
    outcomes.push_back({vlan, gone ? VlanResult::kRemoved : VlanResult::kNotRemoved});
  }
  for (const Vlan& vlan : wanted) outcomes.push_back(JudgeWanted(vlan, before, after));
  for (const Vlan& vlan : after) {
    if (FindSame(wanted, vlan) != nullptr || FindGuid(before, vlan.guid) != nullptr) continue;
    outcomes.push_back({vlan, VlanResult::kUnexpected});
  }
  return outcomes;
}

bool AnyFailure(std::span<const VlanOutcome> outcomes) {
  return std::ranges::any_of(outcomes, [](const VlanOutcome& outcome) { return RowOf(outcome.result).failure; });
}

std::wstring FormatVlanOutcome(const VlanOutcome& outcome, bool whatIf) {
  const ResultRow& row = RowOf(outcome.result);
  return std::wstring(whatIf ? row.planWords : row.words) + L" " + Label(outcome.vlan);
}

void ReportVlans(const Arguments& arguments, std::span<const VlanOutcome> outcomes) {
  std::wstring lines;
  std::vector<JsonRow> rows;
  for (const VlanOutcome& outcome : outcomes) {
    const ResultRow& row = RowOf(outcome.result);
    lines += FormatVlanOutcome(outcome, arguments.whatIf) + L"\n";
    rows.push_back(DescribeVlan(outcome.vlan));
    rows.back().emplace_back(L"result", arguments.whatIf ? row.planName : row.name);
  }
  WriteOut(arguments.json ? FormatJson(rows) : lines);
}

JsonRow DescribeVlan(const Vlan& vlan) {
  return {{L"adapter", vlan.adapter},
          {L"number", vlan.number},
          {L"name", vlan.name},
          {L"priority", vlan.priority},
          {L"guid", vlan.guid.empty() ? Value() : Value(vlan.guid)}};
}

std::wstring FormatVlans(std::span<const Vlan> vlans) {
  std::vector<TableRow> table = {{L"ADAPTER", L"VLAN", L"NAME", L"PRIORITY", L"GUID"}};
  for (const Vlan& v : vlans) {
    table.push_back({v.adapter, std::to_wstring(v.number), v.name, std::to_wstring(v.priority), v.guid});
  }
  return FormatTable(table);
}

std::wstring FormatTree(const std::vector<Adapter>& adapters, std::span<const Vlan> vlans, const LinkReader& linkOf) {
  std::vector<TableRow> table = {{L"ADAPTER", L"NAME", L"LINK"}};
  for (const Adapter& adapter : adapters) {
    table.push_back({adapter.id, TextOf(adapter.name), FormatValue(LinkName(linkOf(adapter.guid)))});
    const std::vector<Vlan> own = VlansOf(adapter, vlans);
    for (const Vlan& vlan : own) {
      const wchar_t* branch = &vlan == &own.back() ? L"`- " : L"+- ";
      table.push_back({branch + std::to_wstring(vlan.number), vlan.name, FormatValue(LinkName(linkOf(vlan.guid)))});
    }
  }
  return FormatTable(table);
}

std::vector<JsonRow> DescribeTree(const std::vector<Adapter>& adapters, std::span<const Vlan> vlans,
                                  const LinkReader& linkOf) {
  std::vector<JsonRow> rows;
  for (const Adapter& adapter : adapters) {
    rows.push_back({{L"adapter", adapter.id},
                    {L"number", {}},
                    {L"name", adapter.name},
                    {L"priority", {}},
                    {L"guid", adapter.guid},
                    {L"link", LinkName(linkOf(adapter.guid))}});
    for (const Vlan& vlan : VlansOf(adapter, vlans)) {
      rows.push_back(DescribeVlan(vlan));
      rows.back().emplace_back(L"link", LinkName(linkOf(vlan.guid)));
    }
  }
  return rows;
}

Value LinkName(const Value& connectionStatus) {
  const auto* number = std::get_if<std::int64_t>(&connectionStatus);
  if (number == nullptr || *number < 0 || *number >= static_cast<std::int64_t>(std::size(kLinkNames))) return {};
  return kLinkNames[*number];
}

}  // namespace qvrn
