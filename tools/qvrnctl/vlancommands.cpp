#include <algorithm>
#include <map>
#include <optional>

#include "tools/qvrnctl/changes.h"
#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/terminal.h"
#include "tools/qvrnctl/vlanclient.h"
#include "tools/qvrnctl/vlanoutcome.h"

namespace qvrn {
namespace {

// The provider finds the adapter below a VLAN only while the last adapter that the VLAN driver knows has VLANs, too.
constexpr wchar_t kNoParentReasons[] =
    L"the provider does not find the adapter below it, as the adapter with the highest GUID of those that had VLANs "
    L"has none: create one there (it is that adapter's first), remove this one, then that one";

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

HRESULT Put(const Arguments& arguments, const WmiClient& wmi, const Vlan& wanted, bool isFirst = false) {
  const Vlan prepared = PrepareVlan(wmi, wanted);
  AnnounceRestart(arguments, wanted.adapter, isFirst);
  return PutVlan(wmi, prepared);
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

// The VLANs that the operands name, each once, in an order in which each can be removed. Throws ClientError when an
// operand names none, which --if-exists allows: nothing is removed then.
std::vector<Vlan> MatchOperands(const Arguments& arguments, const std::vector<Vlan>& vlans,
                                const std::vector<Adapter>& adapters) {
  std::vector<Vlan> meant;
  for (const std::wstring& operand : arguments.operands) try {
      const Vlan& vlan = MatchVlan(vlans, adapters, operand);
      if (FindGuid(meant, vlan.guid) == nullptr) meant.push_back(vlan);
    } catch (const ClientError& error) {
      if (!arguments.ifExists || error.Code() != kNotFound) throw;
      WriteError(L"VLAN \"" + operand + L"\" is not there: nothing to remove");
    }
  SortForRemoval(meant, adapters);
  return meant;
}

// What WMI answered to the removal of each VLAN; those behind an interruption have none.
std::vector<std::optional<HRESULT>> RemoveAll(const Arguments& arguments, const WmiClient& wmi,
                                              const std::vector<Vlan>& vlans) {
  const InterruptWatch watch;
  std::vector<std::optional<HRESULT>> answers(vlans.size());
  for (std::size_t i = 0; i < vlans.size() && !InterruptWatch::IsInterrupted(); ++i) try {
      answers[i] = RemoveVlan(ConnectAgain(arguments, wmi), vlans[i]);
      // One that the provider does not find makes nothing restart.
      if (answers[i] != kNotFound) AnnounceRestart(arguments, vlans[i].adapter);
    } catch (const ClientError& error) {
      answers[i] = FAILED(error.Code()) ? error.Code() : E_FAIL;
    }
  return answers;
}

VlanOutcome JudgeRemoved(const Vlan& vlan, std::optional<HRESULT> answer, const std::vector<Vlan>& after) {
  if (FindGuid(after, vlan.guid) == nullptr) return {vlan, VlanResult::kRemoved};
  VlanOutcome outcome = {vlan, VlanResult::kNotRemoved};
  if (answer) {
    Conclude(outcome, L"VLAN " + Label(vlan) + L" was not removed", *answer,
             answer == kNotFound ? kNoParentReasons : kRefusedReasons);
  } else {
    WriteError(L"interrupted: VLAN " + Label(vlan) + L" was not removed");
  }
  return outcome;
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
  if (vlans.empty() || !arguments.operands.empty()) {
    const AdapterList adapters = ListParents(wmi, vlans);
    if (adapters.served.empty()) WriteError(NothingServed(arguments));
    if (!arguments.operands.empty()) {
      const std::wstring id = MatchAdapter(wmi, adapters, arguments.operands[0]).id;
      std::erase_if(vlans, [&](const Vlan& vlan) { return vlan.adapter != id; });
    }
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
  wanted.adapter = MatchAdapter(wmi, ListParents(wmi, before), arguments.operands[0]).id;
  if (const Vlan* there = FindSame(before, wanted)) {
    ReportVlans(arguments, std::vector<VlanOutcome>{{*there, VlanResult::kUnchanged}});
    return kExitDone;
  }
  const auto hasOtherPriority = [&](const Vlan& vlan) {
    return vlan.adapter == wanted.adapter && vlan.number == wanted.number && vlan.name == wanted.name;
  };
  if (const auto there = std::ranges::find_if(before, hasOtherPriority); there != before.end()) {
    throw Failed(Label(*there) + L" is there, with the priority " + std::to_wstring(there->priority) +
                 L": `qvrnctl vlan set` changes it; nothing was changed");
  }
  RefuseClash(wanted, before);
  const bool isFirst = std::ranges::find(before, wanted.adapter, &Vlan::adapter) == before.end();
  if (arguments.whatIf) {
    AnnounceRestart(arguments, wanted.adapter, isFirst);
    ReportVlans(arguments, std::vector<VlanOutcome>{{wanted, VlanResult::kCreated}});
    return kExitDone;
  }
  const HRESULT answer = Put(arguments, wmi, wanted, isFirst);
  const VlanOutcome outcome = JudgeCreated(wanted, before, ReadVlansBack(arguments));
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
  const Vlan before = MatchVlan(vlans, ListParents(wmi, vlans).served, arguments.operands[0]);
  const Vlan wanted = WithOptions(before, arguments);
  if (wanted == before) {
    if (arguments.json) ReportVlans(arguments, std::vector<VlanOutcome>{{before, VlanResult::kUnchanged}});
    WriteError(L"VLAN " + Label(before) + L" has these values already; nothing was written and nothing restarts");
    return kExitDone;
  }
  RefuseClash(wanted, vlans);
  VlanOutcome outcome = {wanted, VlanResult::kChanged};
  HRESULT answer = S_OK;
  if (arguments.whatIf) {
    AnnounceRestart(arguments, before.adapter);
  } else {
    answer = Put(arguments, wmi, wanted);
    outcome = JudgeChanged(wanted, ReadVlansBack(arguments));
  }
  ReportChange(arguments, before, wanted, outcome);
  return Conclude(outcome, L"VLAN " + Label(before) + L" was not changed as asked for", answer);
}

int RunVlanRemove(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  const std::vector<Vlan> before = ListVlans(wmi);
  const std::vector<Vlan> meant = MatchOperands(arguments, before, ListParents(wmi, before).served);
  std::vector<VlanOutcome> outcomes;
  if (arguments.whatIf) {
    for (const std::wstring& id : ParentIds(meant)) AnnounceRestart(arguments, id);
    for (const Vlan& vlan : meant) outcomes.push_back({vlan, VlanResult::kRemoved});
  } else if (!meant.empty()) {
    const std::vector<std::optional<HRESULT>> answers = RemoveAll(arguments, wmi, meant);
    const std::vector<Vlan> after = ReadVlansBack(arguments);
    for (std::size_t i = 0; i < meant.size(); ++i) outcomes.push_back(JudgeRemoved(meant[i], answers[i], after));
  }
  ReportVlans(arguments, outcomes);
  return AnyFailure(outcomes) ? kExitFailed : kExitDone;
}

int RunTree(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  const std::vector<Vlan> vlans = ListVlans(wmi);
  const std::vector<Adapter> adapters = ListParents(wmi, vlans).served;
  const std::map<std::wstring, Value> links = ReadLinks(wmi);
  const LinkReader linkOf = [&](const Value& guid) {
    const auto found = links.find(TextOf(guid));
    return found == links.end() ? Value() : found->second;
  };
  if (adapters.empty()) WriteError(NothingServed(arguments));
  WriteOut(arguments.json ? FormatJson(DescribeTree(adapters, vlans, linkOf)) : FormatTree(adapters, vlans, linkOf));
  return kExitDone;
}

}  // namespace qvrn
