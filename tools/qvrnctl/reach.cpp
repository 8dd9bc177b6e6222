#include "tools/qvrnctl/reach.h"

#include <algorithm>
#include <set>

#include "tools/qvrnctl/changes.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/terminal.h"
#include "tools/qvrnctl/vlanclient.h"

namespace qvrn {
namespace {

HRESULT Perform(const WmiClient& wmi, const Step& step) {
  if (step.deviation == Deviation::kRemove) return RemoveVlan(wmi, step.vlan);
  if (step.deviation != Deviation::kSet) return PutVlan(wmi, PrepareVlan(wmi, step.vlan));
  for (const Request& request : step.requests) {
    WriteProperty(step.configuration.Get(), request.info.name, request.value);
  }
  return wmi.Put(step.configuration, WBEM_FLAG_UPDATE_ONLY, step.Text());
}

// What WMI answered, or what else kept the request from being made.
HRESULT TryToPerform(const Arguments& arguments, const WmiClient& wmi, const Step& step) try {
  return Perform(ConnectAgain(arguments, wmi), step);
} catch (const ClientError& error) {
  return FAILED(error.Code()) ? error.Code() : E_FAIL;
}

// Gives whether a removal ended in "not found".
bool Carry(const Arguments& arguments, const WmiClient& wmi, const std::vector<Step>& plan, const Speaker& say) {
  std::set<std::wstring> stopped;  // adapters
  bool lost = false;
  for (std::size_t i = 0; i < plan.size(); ++i) {
    const Step& step = plan[i];
    const std::wstring subject = step.Text();
    if (InterruptWatch::IsInterrupted()) {
      say(L"interrupted before " + std::to_wstring(i + 1) + L" of " + std::to_wstring(plan.size()) + L": " + subject);
      break;
    }
    if (stopped.contains(step.adapter)) {
      say(L"left out after the failure before: " + subject);
      continue;
    }
    say(std::to_wstring(i + 1) + L" of " + std::to_wstring(plan.size()) + L": " + subject);
    const HRESULT answer = TryToPerform(arguments, wmi, step);
    // Of the provider's answers neither success nor "not found" tells what happened.
    lost |= step.deviation == Deviation::kRemove && answer == kNotFound;
    if (SUCCEEDED(answer) || answer == kNotFound) continue;
    say(WmiFailed(subject, answer).Message());
    stopped.insert(step.adapter);
  }
  return lost;
}

bool AnyRemoval(const std::vector<Difference>& differences) {
  return std::ranges::any_of(differences, [](const Difference& d) { return d.deviation == Deviation::kRemove; });
}

}  // namespace

ReachResult Reach(const Arguments& arguments, const WmiClient& wmi, const DesiredState& desired, MachineState machine,
                  const Speaker& say) {
  const InterruptWatch watch;
  ReachResult result = {Compare(desired, machine), {}};
  const auto readBack = [&] {
    machine = ReadBack<MachineState>(arguments, &ReadMachine);
    result.left = Compare(desired, machine);
  };
  const bool lost = Carry(arguments, wmi, MakePlan(desired, machine), say);
  readBack();
  if (!lost || !AnyRemoval(result.left)) return result;
  say(L"the provider does not find every VLAN that it lists; once more, with one that it finds the others by");
  if (const auto helper = MakeHelper(machine.Vlans(), FindEmpty(desired, machine), machine.adapters.served)) {
    Carry(arguments, wmi, {{Deviation::kCreate, helper->adapter, {}, {}, *helper, 2}}, say);
    readBack();
  }
  Carry(arguments, wmi, MakePlan(desired, machine), say);
  readBack();
  if (AnyRemoval(result.left)) {
    say(L"the provider finds what is left only while the adapter with the highest GUID of those that had VLANs has "
        L"one: describe that adapter in the file, too, with \"vlans\": [] if it shall have none");
  }
  return result;
}

}  // namespace qvrn
