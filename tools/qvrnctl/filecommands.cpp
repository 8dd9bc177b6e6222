#include <algorithm>
#include <optional>

#include "tools/qvrnctl/changes.h"
#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/confirmation.h"
#include "tools/qvrnctl/elevation.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/filename.h"
#include "tools/qvrnctl/inputfile.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/terminal.h"
#include "tools/qvrnctl/vlanclient.h"
#include "tools/qvrnctl/vlanfile.h"
#include "tools/qvrnctl/vlanoutcome.h"

namespace qvrn {
namespace {

bool IsRemote(const Arguments& arguments) { return !arguments.computer.empty(); }

std::wstring FileOf(const Arguments& arguments) { return FullFileName(arguments.operands[0], IsRemote(arguments)); }

std::wstring Count(std::size_t count) { return std::to_wstring(count) + (count == 1 ? L" VLAN" : L" VLANs"); }

// --- save ----------------------------------------------------------------------------------------------------------

// What a file would lose of the VLANs: one line each.
std::vector<std::wstring> FindLosses(std::span<const Vlan> vlans) {
  std::vector<std::wstring> losses;
  for (std::size_t i = 0; i < vlans.size(); ++i) {
    std::optional<std::wstring> fault = VlanFault(vlans[i]);
    if (!fault) fault = FindClash(vlans[i], vlans.first(i));
    if (fault) losses.push_back(L"VLAN " + Label(vlans[i]) + L": " + *fault);
  }
  return losses;
}

std::vector<VlanOutcome> Outcomes(std::span<const Vlan> vlans, VlanResult result) {
  std::vector<VlanOutcome> outcomes;
  for (const Vlan& vlan : vlans) outcomes.push_back({vlan, result});
  return outcomes;
}

VlanFileContent ReadSaved(const std::wstring& file, const std::vector<Adapter>& adapters) try {
  return ReadElements(VlanFile(file).Elements(), adapters);
} catch (const ClientError& error) {
  throw Failed(L"the VLANs were not saved: " + error.Message());
}

// Compares the saved file with the VLANs. Throws ClientError when there is none, or one that could not be restored.
std::vector<VlanOutcome> CompareSaved(const std::wstring& file, const std::vector<Vlan>& vlans,
                                      const std::vector<Adapter>& adapters) {
  const VlanFileContent saved = ReadSaved(file, adapters);
  RefuseFaults(saved.faults, file + L" does not hold the VLANs as they are");
  std::vector<VlanOutcome> outcomes;
  for (const Vlan& vlan : vlans) {
    const bool found = FindSame(saved.vlans, vlan) != nullptr;
    outcomes.push_back({vlan, found ? VlanResult::kSaved : VlanResult::kNotSaved});
  }
  for (const Vlan& vlan : saved.vlans) {
    if (FindSame(vlans, vlan) == nullptr) outcomes.push_back({vlan, VlanResult::kUnexpected});
  }
  return outcomes;
}

// Lists are empty without the rights of an administrator, too; a file that holds VLANs is worth a question.
void RefuseToEmpty(const std::wstring& file) {
  std::size_t held = 0;
  try {
    if (::GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES) held = VlanFile(file).Elements().size();
  } catch (const ClientError&) {
    return;  // no file of saved VLANs: nothing is lost
  }
  if (held == 0) return;
  throw Failed(file + L" holds " + Count(held) + L", and there is none now" +
               (IsElevated() ? L"" : L", as it looks to a prompt without the rights of an administrator") +
               L"; --yes replaces it all the same");
}

int Save(const Arguments& arguments, const WmiClient& wmi, const std::wstring& file, const std::vector<Vlan>& vlans) {
  const HRESULT answer = CallWithFile(wmi, L"SaveVlanConfiguration", file);
  const bool refused = ReportRefusal(L"saving was refused", answer);
  if (IsRemote(arguments)) {
    if (refused) return kExitFailed;
    ReportVlans(arguments, Outcomes(vlans, VlanResult::kSaved));
    WriteError(L"note: " + file + L" is on " + arguments.computer + L" and was not checked");
    return kExitDone;
  }
  const std::vector<VlanOutcome> outcomes = CompareSaved(file, vlans, ListParents(wmi, vlans).served);
  ReportVlans(arguments, outcomes);
  if (AnyFailure(outcomes)) throw Failed(file + L" does not hold the VLANs as they are");
  WriteError(Count(vlans.size()) + L" saved in " + file);
  return kExitDone;
}

// --- restore -------------------------------------------------------------------------------------------------------

// Says what a restore does besides creating what the file says.
void AnnounceRestore(const Arguments& arguments, const std::vector<Vlan>& before, const std::vector<Vlan>* wanted) {
  WriteError((arguments.whatIf ? L"restore would remove every VLAN first (" : L"restore removes every VLAN first (") +
             std::to_wstring(before.size()) + (arguments.whatIf ? L" now), then create" : L" now), then creates") +
             L" those of the file" + (wanted == nullptr ? L"" : L" (" + std::to_wstring(wanted->size()) + L")") +
             L"; the adapters restart, and their connections drop");
  if (wanted == nullptr) {
    WriteError(L"the file is on " + arguments.computer +
               L" and cannot be checked from here: a VLAN that it does not describe, or describes wrongly, is gone "
               L"afterwards");
    return;
  }
  if (wanted->empty()) WriteError(L"the file holds no VLAN: none is left");
  AnnounceFirstVlans(before, *wanted);
  if (arguments.whatIf) return;
  for (const Vlan& vlan : before) {
    if (FindSame(*wanted, vlan) == nullptr)
      WriteError(L"the file has no VLAN like this one, which is gone afterwards: " + Label(vlan));
  }
}

// Without a terminal nobody can be asked, and what nobody has checked nobody can agree to.
void CheckConsentPossible(const Arguments& arguments) {
  if (arguments.yes || arguments.whatIf) return;
  if (IsRemote(arguments))
    throw WrongUsage(L"restore with --computer needs --yes: the file cannot be checked from here");
  if (!CanAsk())
    throw WrongUsage(L"restore removes every VLAN first and asks before; without a terminal it needs --yes");
}

// Network adapters that Windows knows. A VLAN is one, and listing them asks nothing of the provider while it works.
std::size_t CountAdapters(const WmiClient& wmi) { return wmi.Query(L"SELECT * FROM Win32_NetworkAdapter").size(); }

HRESULT Restore(const WmiClient& wmi, const std::wstring& file, std::size_t before, const std::wstring& goal) {
  const std::size_t all = CountAdapters(wmi);
  const std::size_t others = all - std::min(all, before);
  return CallWithFile(wmi, L"RestoreVlanConfiguration", file, [&] {
    const std::size_t now = CountAdapters(wmi);
    return L"restoring; there now: " + Count(now - std::min(now, others)) + goal;
  });
}

bool IsUntouched(const std::vector<Vlan>& before, const std::vector<Vlan>& after) {
  return !before.empty() && before == after;
}

int ConcludeRestore(const std::vector<VlanOutcome>& outcomes, const std::wstring& file, HRESULT answer,
                    bool isUntouched) {
  const bool refused = ReportRefusal(L"restoring was refused", answer);
  if (isUntouched) {
    if (!refused) WriteError(L"the provider has changed nothing: it could not read " + file);
    return kExitFailed;
  }
  for (const VlanOutcome& outcome : outcomes) {
    if (AnyFailure({&outcome, 1})) WriteError(FormatVlanOutcome(outcome, false));
  }
  if (!AnyFailure(outcomes)) return refused ? kExitFailed : kExitDone;
  WriteError(L"the VLANs are not those of " + file);
  return kExitFailed;
}

}  // namespace

int RunSave(const Arguments& arguments) {
  const std::wstring file = FileOf(arguments);
  if (!IsRemote(arguments)) RefuseFolder(file);
  const WmiClient wmi(arguments);
  const std::vector<Vlan> vlans = ListVlans(wmi);
  RefuseFaults(FindLosses(vlans), L"a file cannot hold these VLANs so that they can be restored; nothing was saved");
  if (vlans.empty()) {
    WriteError(L"there is no VLAN: restoring such a file removes every VLAN");
    if (!arguments.yes && !IsRemote(arguments)) RefuseToEmpty(file);
  }
  if (!arguments.whatIf) return Save(arguments, wmi, file, vlans);
  ReportVlans(arguments, Outcomes(vlans, VlanResult::kSaved));
  WriteError(Count(vlans.size()) + L" would be saved in " + file);
  return kExitDone;
}

int RunRestore(const Arguments& arguments) {
  CheckConsentPossible(arguments);
  CheckConfirmation(arguments);
  const std::wstring file = FileOf(arguments);
  const WmiClient wmi(arguments);
  const std::vector<Vlan> before = ListVlans(wmi);
  std::optional<VlanFile> opened;  // until the provider has read it
  std::optional<std::vector<Vlan>> wanted;
  if (!IsRemote(arguments)) {
    opened.emplace(file);
    const VlanFileContent content = ReadElements(opened->Elements(), ListParents(wmi, before).served);
    RefuseFaults(content.faults, file + L" would lose VLANs; nothing was changed");
    wanted = content.vlans;
  }
  AnnounceRestore(arguments, before, wanted ? &*wanted : nullptr);
  if (arguments.whatIf) {
    const std::vector<Vlan> none;
    ReportVlans(arguments, CompareRestored(before, wanted.value_or(none), wanted.value_or(none)));
    return kExitDone;
  }
  MachineState machine;  // as it was before; for a change that may be taken back
  if (!arguments.confirmWithin.empty()) {
    machine = ReadMachine(wmi);
    AnnounceTakingBack(machine, wanted.value_or(std::vector<Vlan>()), !before.empty());
  }
  AskForConsent(arguments);
  std::vector<VlanOutcome> outcomes;
  const auto restore = [&] {
    const std::wstring goal = wanted ? L" of " + std::to_wstring(wanted->size()) : L"";
    const HRESULT answer = Restore(wmi, file, before.size(), goal);
    const auto after = ReadBack<std::vector<Vlan>>(arguments, &ListVlans);
    outcomes = CompareRestored(before, wanted.value_or(after), after);
    if (!IsReportedLater(arguments)) ReportVlans(arguments, outcomes);
    return ConcludeRestore(outcomes, file, answer, IsUntouched(before, after));
  };
  if (arguments.confirmWithin.empty()) return restore();
  return MakeConfirmed(arguments, L"restore " + file, machine, restore, [&](bool takenBack) {
    for (VlanOutcome& outcome : outcomes) outcome.result = takenBack ? VlanResult::kTakenBack : outcome.result;
    ReportVlans(arguments, outcomes);
  });
}

}  // namespace qvrn
