#include <algorithm>
#include <cwctype>
#include <map>

#include "tools/qvrnctl/changes.h"
#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/vlanclient.h"
#include "tools/qvrnctl/vlanoutcome.h"

namespace qvrn {
namespace {

constexpr wchar_t kRefusedReasons[] =
    L"the provider does not say why: the adapter may belong to a team, the VLAN driver's files may be missing, another "
    L"program may be changing the network configuration, or it takes an administrator, in an elevated prompt";
// The provider finds the adapter below a VLAN only while the last adapter that the VLAN driver knows has VLANs, too.
constexpr wchar_t kNoParentReasons[] =
    L"the provider does not find the adapter below it, as the adapter with the highest GUID of those that had VLANs "
    L"has "
    L"none: create one there, and remove it after this one";

// The VLANs as they are after a change, whatever it did to the connection.
std::vector<Vlan> ReadVlansBack(const Arguments& arguments) {
  return ReadBack<std::vector<Vlan>>(arguments, &ListVlans);
}

void RefuseClash(const Vlan& wanted, const std::vector<Vlan>& vlans) {
  if (const auto clash = FindClash(wanted, vlans)) throw Failed(*clash + L"; nothing was changed");
}

int Conclude(const VlanOutcome& outcome, const std::wstring& subject, HRESULT answer,
             const wchar_t* reasons = kRefusedReasons) {
  if (!AnyFailure({&outcome, 1})) return kExitDone;
  if (!ReportRefusal(subject, answer)) WriteError(subject + L"; " + reasons);
  return kExitFailed;
}

// --- add -----------------------------------------------------------------------------------------------------------

VlanOutcome JudgeCreated(const Vlan& wanted, const std::vector<Vlan>& before, const std::vector<Vlan>& after) {
  const auto isNew = [&](const Vlan& vlan) {
    return vlan.adapter == wanted.adapter && vlan.number == wanted.number && FindGuid(before, vlan.guid) == nullptr;
  };
  const auto found = std::ranges::find_if(after, isNew);
  if (found == after.end()) return {wanted, VlanResult::kNotCreated};
  return {*found, FindSame({&*found, 1}, wanted) == nullptr ? VlanResult::kNotTaken : VlanResult::kCreated};
}

// --- set -----------------------------------------------------------------------------------------------------------

void ReportChange(const Arguments& arguments, const Vlan& before, const Vlan& wanted, const VlanOutcome& outcome) {
  if (arguments.json) {
    ReportVlans(arguments, {&outcome, 1});
    return;
  }
  std::wstring lines;
  for (const Outcome& o : CompareStates(StatesOf(before), RequestsFor(wanted), StatesOf(outcome.vlan))) {
    if (o.before != o.requested || o.before != o.after) lines += FormatOutcome(o, L"refused by the provider") + L"\n";
  }
  WriteOut(lines);
}

VlanOutcome JudgeChanged(const Vlan& wanted, const std::vector<Vlan>& after) {
  const Vlan* there = FindGuid(after, wanted.guid);
  if (there == nullptr) throw Failed(L"VLAN " + Label(wanted) + L" is not there any more");
  return {*there, *there == wanted ? VlanResult::kChanged : VlanResult::kNotTaken};
}

// --- remove --------------------------------------------------------------------------------------------------------

// The GUID of the adapter below a VLAN, for comparison.
std::wstring ParentGuid(const std::vector<Adapter>& adapters, const Vlan& vlan) {
  const auto parent = std::ranges::find(adapters, vlan.adapter, &Adapter::id);
  std::wstring guid = parent == adapters.end() ? L"" : TextOf(parent->guid);
  std::ranges::transform(guid, guid.begin(), [](wchar_t unit) { return static_cast<wchar_t>(std::towupper(unit)); });
  return guid;
}

// The VLANs that the operands name, each once, in an order in which each can be removed: those of the adapter with the
// highest GUID last. Throws ClientError when an operand names none: nothing is removed then.
std::vector<Vlan> MatchOperands(const Arguments& arguments, const WmiClient& wmi) {
  const std::vector<Vlan> vlans = ListVlans(wmi);
  const std::vector<Adapter> adapters = ListParents(wmi, vlans);
  std::vector<Vlan> meant;
  for (const std::wstring& operand : arguments.operands) {
    const Vlan& vlan = MatchVlan(vlans, adapters, operand);
    if (FindGuid(meant, vlan.guid) == nullptr) meant.push_back(vlan);
  }
  std::ranges::stable_sort(meant, {}, [&adapters](const Vlan& vlan) { return ParentGuid(adapters, vlan); });
  return meant;
}

VlanOutcome Remove(const Arguments& arguments, const Vlan& vlan) {
  AnnounceRestart(arguments, vlan.adapter);
  if (arguments.whatIf) return {vlan, VlanResult::kRemoved};
  const HRESULT answer = RemoveVlan(WmiClient(arguments), vlan);
  const bool gone = FindGuid(ReadVlansBack(arguments), vlan.guid) == nullptr;
  VlanOutcome outcome = {vlan, gone ? VlanResult::kRemoved : VlanResult::kNotRemoved};
  Conclude(outcome, L"VLAN " + Label(vlan) + L" was not removed", answer,
           answer == kNotFound ? kNoParentReasons : kRefusedReasons);
  return outcome;
}

VlanOutcome TryToRemove(const Arguments& arguments, const Vlan& vlan) try {
  return Remove(arguments, vlan);
} catch (const ClientError& error) {
  WriteError(L"VLAN " + Label(vlan) + L": " + error.Message());
  return {vlan, VlanResult::kNotRemoved};
}

// --- tree ----------------------------------------------------------------------------------------------------------

// The state of each network adapter's link by its GUID; a VLAN is a network adapter, too.
std::map<std::wstring, Value> ReadLinks(const WmiClient& wmi) {
  std::map<std::wstring, Value> links;
  for (const WmiObject& adapter : wmi.Query(L"SELECT * FROM Win32_NetworkAdapter")) {
    links.emplace(TextOf(ReadProperty(adapter.Get(), L"GUID")), ReadProperty(adapter.Get(), L"NetConnectionStatus"));
  }
  return links;
}

}  // namespace

int RunVlans(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  std::vector<Vlan> vlans = ListVlans(wmi);
  if (!arguments.operands.empty()) {
    const std::wstring id = MatchAdapter(ListParents(wmi, vlans), arguments.operands[0]).id;
    std::erase_if(vlans, [&](const Vlan& vlan) { return vlan.adapter != id; });
  }
  std::vector<JsonRow> rows;
  for (const Vlan& vlan : vlans) rows.push_back(DescribeVlan(vlan));
  WriteOut(arguments.json ? FormatJson(rows) : FormatVlans(vlans));
  return kExitDone;
}

int RunVlanAdd(const Arguments& arguments) {
  Vlan wanted = WithOptions({}, arguments);
  const WmiClient wmi(arguments);
  const std::vector<Vlan> before = ListVlans(wmi);
  wanted.adapter = MatchAdapter(ListParents(wmi, before), arguments.operands[0]).id;
  RefuseClash(wanted, before);
  AnnounceRestart(arguments, wanted.adapter);
  VlanOutcome outcome = {wanted, VlanResult::kCreated};
  HRESULT answer = S_OK;
  if (!arguments.whatIf) {
    answer = CreateVlan(wmi, wanted);
    outcome = JudgeCreated(wanted, before, ReadVlansBack(arguments));
  }
  ReportVlans(arguments, {&outcome, 1});
  return Conclude(outcome, L"VLAN " + Label(wanted) + L" was not created", answer);
}

int RunVlanSet(const Arguments& arguments) {
  if (arguments.vlanId.empty() && arguments.vlanName.empty() && arguments.priority.empty()) {
    throw WrongUsage(L"vlan set needs --id N, --name NAME or --priority P");
  }
  WithOptions({}, arguments);  // what no VLAN can have is refused before anything is asked
  const WmiClient wmi(arguments);
  const std::vector<Vlan> vlans = ListVlans(wmi);
  const Vlan before = MatchVlan(vlans, ListParents(wmi, vlans), arguments.operands[0]);
  const Vlan wanted = WithOptions(before, arguments);
  if (wanted == before) {
    if (arguments.json) ReportVlans(arguments, std::vector<VlanOutcome>{{before, VlanResult::kUnchanged}});
    WriteError(L"VLAN " + Label(before) + L" has these values already; nothing was written and nothing restarts");
    return kExitDone;
  }
  RefuseClash(wanted, vlans);
  AnnounceRestart(arguments, before.adapter);
  VlanOutcome outcome = {wanted, VlanResult::kChanged};
  HRESULT answer = S_OK;
  if (!arguments.whatIf) {
    answer = ChangeVlan(wmi, wanted);
    outcome = JudgeChanged(wanted, ReadVlansBack(arguments));
  }
  ReportChange(arguments, before, wanted, outcome);
  return Conclude(outcome, L"VLAN " + Label(before) + L" was not changed as asked for", answer);
}

int RunVlanRemove(const Arguments& arguments) {
  std::vector<VlanOutcome> outcomes;
  for (const Vlan& vlan : MatchOperands(arguments, WmiClient(arguments))) {
    outcomes.push_back(TryToRemove(arguments, vlan));
  }
  ReportVlans(arguments, outcomes);
  return AnyFailure(outcomes) ? kExitFailed : kExitDone;
}

int RunTree(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  const std::vector<Vlan> vlans = ListVlans(wmi);
  const std::vector<Adapter> adapters = ListParents(wmi, vlans);
  const std::map<std::wstring, Value> links = ReadLinks(wmi);
  const LinkReader linkOf = [&](const Value& guid) {
    const auto found = links.find(TextOf(guid));
    return found == links.end() ? Value() : found->second;
  };
  if (adapters.empty()) WriteError(L"the provider serves no adapter");
  WriteOut(arguments.json ? FormatJson(DescribeTree(adapters, vlans, linkOf)) : FormatTree(adapters, vlans, linkOf));
  return kExitDone;
}

}  // namespace qvrn
