#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>

#include "tools/qvrnctl/changes.h"
#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/confirmation.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/filename.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/reach.h"
#include "tools/qvrnctl/terminal.h"

namespace qvrn {
namespace {

// A machine, and what a file wants of it.
struct Task {
  std::wstring file;
  WmiClient wmi;
  MachineState machine;
  DesiredState desired;
  std::vector<Difference> differences;

  // Throws ClientError, after one line for each fault, when anything in the file is wrong.
  explicit Task(const Arguments& arguments)
      : file(FullFileName(arguments.operands[0], false)), wmi(arguments), machine(ReadMachine(wmi)) {
    DriverRegistry drivers(arguments);
    desired = Resolve(ReadStateFile(file, machine.adapters.served), machine, wmi, drivers);
    RefuseFaults(desired.faults, file + L" does not describe a state of this machine; nothing was changed");
    differences = Compare(desired, machine);
  }
};

void WriteDifferences(const Arguments& arguments, const std::vector<Difference>& differences) {
  if (arguments.json) {
    WriteOut(FormatJson(DescribeDifferences(differences)));
  } else if (!differences.empty()) {
    WriteOut(FormatDifferences(differences));
  }
}

void ReportApplied(const ReachResult& result, bool takenBack) {
  std::vector<JsonRow> rows = DescribeDifferences(result.before);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Difference& difference = result.before[i];
    const Difference* const left = FindSame(result.left, difference);
    const bool isDone = left == nullptr && !takenBack;
    rows[i].emplace_back(L"after", isDone ? difference.wanted : takenBack ? difference.now : left->now);
    rows[i].emplace_back(L"result", isDone ? L"done" : takenBack ? L"takenBack" : L"notDone");
  }
  WriteOut(FormatJson(rows));
}

int Apply(const Arguments& arguments, const Task& task, ReachResult& result) {
  result = Reach(arguments, task.wmi, task.desired, task.machine, &WriteError);
  if (!arguments.json) WriteOut(FormatDifferences(result.before, result.left, true));
  if (arguments.json && !IsReportedLater(arguments)) ReportApplied(result, false);
  if (result.left.empty()) return kExitDone;
  const auto isCreation = [](const Difference& difference) { return difference.deviation == Deviation::kCreate; };
  if (std::ranges::any_of(result.left, isCreation))
    WriteError(std::wstring(L"a VLAN was not created; ") + kRefusedReasons);
  WriteError(L"the machine is not as " + task.file + L" describes it");
  return kExitFailed;
}

// Says which adapters restart how often, and what else happens to them that the file does not say.
void AnnouncePlan(const Arguments& arguments, const Task& task) {
  const std::vector<Step> plan = MakePlan(task.desired, task.machine);
  WriteError(FormatRestarts(plan, arguments.whatIf) + L"; connections drop for a moment at each restart");
  std::vector<Vlan> created;
  bool removes = false;
  for (const Step& step : plan) {
    if (step.deviation == Deviation::kCreate) created.push_back(step.vlan);
    removes |= step.deviation == Deviation::kRemove;
  }
  AnnounceFirstVlans(task.machine.Vlans(), created);
  if (removes) AnnounceHelper(task.machine, {}, FindEmpty(task.desired, task.machine), L"removed");
  if (!arguments.confirmWithin.empty()) AnnounceTakingBack(task.machine, created, removes);
}

}  // namespace

int RunShow(const Arguments& arguments) {
  const WmiClient wmi(arguments);
  MachineState machine = ReadMachine(wmi);
  if (!arguments.operands.empty()) {
    std::vector<AdapterState> named;
    for (const Adapter& adapter : MatchAdapters(wmi, machine.adapters, arguments.operands)) {
      const AdapterState* const state = machine.Find(adapter.id);
      named.push_back(state == nullptr ? AdapterState{adapter, {}, {}, {}} : *state);
    }
    machine.states = std::move(named);
  }
  if (machine.states.empty()) WriteError(NothingServed(arguments));
  WriteOut(FormatOnLines(DescribeMachine(machine.states), !IsConsole(STD_OUTPUT_HANDLE)));
  return kExitDone;
}

int RunDiff(const Arguments& arguments) {
  const Task task(arguments);
  WriteDifferences(arguments, task.differences);
  return task.differences.empty() ? kExitDone : kExitDifferences;
}

int RunApply(const Arguments& arguments) {
  CheckConfirmation(arguments);
  const Task task(arguments);
  if (task.differences.empty()) {
    WriteDifferences(arguments, {});
    WriteError(L"the machine is as " + task.file + L" describes it; nothing was written and nothing restarts");
    return kExitDone;
  }
  AnnouncePlan(arguments, task);
  if (arguments.whatIf) {
    WriteDifferences(arguments, task.differences);
    return kExitDone;
  }
  if (!arguments.yes && !CanAsk()) {
    throw WrongUsage(L"apply asks before it changes anything; without a terminal it needs --yes; nothing was changed");
  }
  AskForConsent(arguments);
  ReachResult result;
  const auto apply = [&] { return Apply(arguments, task, result); };
  if (arguments.confirmWithin.empty()) return apply();
  return MakeConfirmed(arguments, L"apply " + task.file, task.machine, apply,
                       [&](bool takenBack) { ReportApplied(result, takenBack); });
}

}  // namespace qvrn
