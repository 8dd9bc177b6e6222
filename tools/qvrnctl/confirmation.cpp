#include "tools/qvrnctl/confirmation.h"

#include <nlohmann/json.hpp>

#include <windows.h>

#include <algorithm>
#include <ctime>

#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/pendingchange.h"
#include "tools/qvrnctl/reach.h"
#include "tools/qvrnctl/terminal.h"
#include "tools/qvrnctl/vlanclient.h"

namespace qvrn {
namespace {

constexpr DWORD kPollMs = 250;
// Within which a guard must have begun, and behind a deadline must have acted.
constexpr int kGuardPolls = 120;
constexpr std::int64_t kGuardDelay = 5;
constexpr unsigned kShortestWait = 1;

std::wstring FormatTime(std::int64_t seconds) {
  const std::time_t time = seconds;
  wchar_t text[32] = {};
  std::wcsftime(text, 32, L"%Y-%m-%d %H:%M:%S", std::localtime(&time));
  return text;
}

std::wstring TextOf(const Json& record, const char* key) { return FromUtf8(record.value(key, "")); }

// --- taking back -----------------------------------------------------------------------------------------------------

// Brings the recorded state back. Whatever cannot be brought back is told and does not keep the rest from it.
bool BringBack(const Json& record, const Speaker& say) {
  Arguments arguments;
  arguments.nameSpace = TextOf(record, "namespace");
  const WmiClient wmi(arguments);
  DriverRegistry drivers(arguments);
  MachineState machine = ReadMachine(wmi);
  const DesiredState desired = Resolve(ReadDescription(record.at("state")), machine, wmi, drivers);
  for (const std::wstring& fault : desired.faults) say(fault);
  const ReachResult result = Reach(arguments, wmi, desired, std::move(machine), say);
  if (!result.left.empty()) say(L"still different:\n" + FormatDifferences(result.left));
  return desired.faults.empty() && result.left.empty();
}

// For a process that has taken the step to taking back.
bool TakeBack(PendingChange& pending, const Speaker& tell) {
  const auto say = [&](const std::wstring& line) {
    pending.Log(line);
    tell(line);
  };
  try {
    const Json record = pending.Record();
    say(L"taking back: " + TextOf(record, "command"));
    if (BringBack(record, say)) {
      pending.Finish();
      say(L"the state from before is back");
      return true;
    }
  } catch (const ClientError& error) {
    say(error.Message());
  } catch (const std::exception&) {
    say(L"what was recorded of the state from before cannot be used");
  }
  pending.GiveUp();
  say(L"the state from before is not back; `qvrnctl rollback` tries again, `qvrnctl confirm` keeps the state as it is");
  return false;
}

// --- the guard -------------------------------------------------------------------------------------------------------

// A process without a console, in no group and, where that is allowed, no job of this one.
bool StartProcess(const std::wstring& program, DWORD moreFlags) {
  std::wstring line = L"\"" + program + L"\" guard";
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process = {};
  if (!::CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE,
                        DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP | moreFlags, nullptr, nullptr, &startup,
                        &process)) {
    return false;
  }
  const KernelHandle handles[] = {KernelHandle(process.hProcess), KernelHandle(process.hThread)};
  return true;
}

void StartGuard(const PendingChange& pending) {
  wchar_t program[MAX_PATH] = {};
  ::GetModuleFileNameW(nullptr, program, MAX_PATH);
  if (!StartProcess(program, CREATE_BREAKAWAY_FROM_JOB)) {
    WriteError(
        L"note: this session may end its processes with itself; then `qvrnctl rollback` brings the old state back");
    StartProcess(program, 0);
  }
  for (int i = 0; i < kGuardPolls; ++i) {
    if (pending.IsGuarded()) return;
    ::Sleep(kPollMs);
  }
  throw Failed(L"no process could be started that would take the change back; nothing was changed");
}

// --- waiting ---------------------------------------------------------------------------------------------------------

bool IsEnterPressed() {
  const HANDLE console = ::GetStdHandle(STD_INPUT_HANDLE);
  DWORD events = 0;
  INPUT_RECORD record = {};
  while (::GetNumberOfConsoleInputEvents(console, &events) && events > 0) {
    if (!::ReadConsoleInputW(console, &record, 1, &events)) return false;
    const bool isKey = record.EventType == KEY_EVENT && record.Event.KeyEvent.bKeyDown != FALSE;
    if (isKey && record.Event.KeyEvent.wVirtualKeyCode == VK_RETURN) return true;
  }
  return false;
}

// Until nothing is pending any more. Where the guard has not acted in time, this process does.
int AwaitConfirmation(PendingChange& pending, unsigned seconds) {
  WriteError(L"the change is made, and is taken back in " + std::to_wstring(seconds) +
             L" seconds unless it is confirmed: " + (CanAsk() ? L"press Enter here, or " : L"") +
             L"type `qvrnctl confirm` in any prompt of this computer");
  for (;;) {
    const PendingStage stage = pending.Stage();
    if (stage == PendingStage::kNone || stage == PendingStage::kStuck) break;
    if (stage == PendingStage::kWaiting) {
      if (CanAsk() && IsEnterPressed() && pending.Keep()) break;
      const bool isLate = std::time(nullptr) > pending.Deadline() + kGuardDelay;
      if (isLate && pending.StartToTakeBack()) {
        TakeBack(pending, &WriteError);
        return kExitFailed;
      }
    }
    ::Sleep(kPollMs);
  }
  if (pending.WasKept()) {
    WriteError(L"confirmed: the change stays");
    return kExitDone;
  }
  WriteError((pending.Stage() == PendingStage::kNone ? L"not confirmed: the state from before is back; see "
                                                     : L"not confirmed, and the state from before is not back; see ") +
             pending.LogFile());
  return kExitFailed;
}

Json MakeRecord(const Arguments& arguments, const std::wstring& what, const MachineState& before, unsigned seconds) {
  const std::int64_t now = std::time(nullptr);
  return {{"id", std::to_string(now) + "-" + std::to_string(::GetCurrentProcessId())},
          {"command", ToJson(what)},
          {"namespace", ToJson(arguments.nameSpace)},
          {"started", now},
          {"seconds", seconds},
          {"state", DescribeMachine(before.states)}};
}

void RefuseOtherComputers(const Arguments& arguments) {
  if (arguments.computer.empty()) return;
  throw WrongUsage(
      L"--computer and --confirm-within do not go together: the process that takes the change back has to "
      L"run on " +
      arguments.computer + L" itself, where the change cannot cut it off; run this command there");
}

// --- confirming ------------------------------------------------------------------------------------------------------

int Keep(const Arguments& arguments, PendingChange& pending) {
  const PendingStage stage = pending.Stage();
  if (stage == PendingStage::kNone) throw Failed(L"no change waits for a confirmation");
  if (stage == PendingStage::kChanging) throw Failed(L"the change is still being made; confirm it when it is");
  if (!pending.Keep()) throw Failed(L"too late: the state from before is being brought back");
  pending.Log(L"confirmed");
  WriteOut(arguments.json ? FormatJson({{{L"stage", L"confirmed"}}}) : L"confirmed: the change stays\n");
  return kExitDone;
}

int ShowStatus(const Arguments& arguments, const PendingChange& pending) {
  // In the order of PendingStage.
  constexpr const wchar_t* kStages[] = {L"none", L"changing", L"waiting", L"takingBack", L"stuck"};
  constexpr const wchar_t* kTexts[] = {L"no change waits for a confirmation", L"being made",
                                       L"waits for a confirmation", L"being taken back",
                                       L"not taken back: `qvrnctl rollback` tries again"};
  const PendingStage stage = pending.Stage();
  const int index = static_cast<int>(stage);
  const Json record = stage == PendingStage::kNone ? Json::object() : pending.Record();
  const std::int64_t deadline = stage == PendingStage::kWaiting ? pending.Deadline() : 0;
  const bool isGuarded = pending.IsGuarded();
  if (arguments.json) {
    WriteOut(FormatJson({{{L"stage", kStages[index]},
                          {L"command", record.empty() ? Value() : Value(TextOf(record, "command"))},
                          {L"started", record.empty() ? Value() : Value(FormatTime(record.value("started", 0LL)))},
                          {L"until", deadline != 0 ? Value(FormatTime(deadline)) : Value()},
                          {L"guarded", std::int64_t{isGuarded}}}}));
    return kExitDone;
  }
  std::wstring line = kTexts[index];
  if (!record.empty())
    line = TextOf(record, "command") + L", begun " + FormatTime(record.value("started", 0LL)) + L": " + line;
  if (deadline != 0) line += L" until " + FormatTime(deadline);
  if (stage == PendingStage::kWaiting && !isGuarded) {
    line += L"; the process that would take it back has ended: it stays until `qvrnctl rollback` or `qvrnctl confirm`";
  }
  WriteOut(line + L"\n");
  return kExitDone;
}

}  // namespace

void CheckConfirmation(const Arguments& arguments) {
  if (arguments.confirmWithin.empty()) return;
  ParseSeconds(L"--confirm-within", arguments.confirmWithin);
  RefuseOtherComputers(arguments);
  PendingChange().RefuseSecond();
}

void AnnounceHelper(const MachineState& machine, const std::vector<Vlan>& vlans, const std::vector<std::wstring>& empty,
                    const wchar_t* what) {
  std::vector<Vlan> all = machine.Vlans();
  all.insert(all.end(), vlans.begin(), vlans.end());
  const auto helper = MakeHelper(std::move(all), empty, machine.adapters.served);
  if (!helper) return;
  WriteError(std::wstring(L"note: where the provider does not find a VLAN that is to be ") + what + L", adapter " +
             helper->adapter + L" gets one for a while, which restarts it and cuts its own connections meanwhile");
}

void AnnounceTakingBack(const MachineState& before, const std::vector<Vlan>& created, bool removes) {
  if (removes) {
    WriteError(L"note: a VLAN that is removed comes back with another GUID, and so without the addresses that it has");
  }
  const std::vector<std::wstring> filled = ParentIds(created);
  std::vector<std::wstring> empty;
  for (const AdapterState& state : before.states) {
    const bool staysEmpty = state.vlans.empty() && std::ranges::find(filled, state.adapter.id) == filled.end();
    if (staysEmpty) empty.push_back(state.adapter.id);
  }
  if (!created.empty()) AnnounceHelper(before, created, empty, L"taken back");
}

bool IsReportedLater(const Arguments& arguments) { return arguments.json && !arguments.confirmWithin.empty(); }

int MakeConfirmed(const Arguments& arguments, const std::wstring& what, const MachineState& before,
                  const std::function<int()>& change, const std::function<void(bool takenBack)>& report) {
  const unsigned seconds = ParseSeconds(L"--confirm-within", arguments.confirmWithin);
  PendingChange pending;
  pending.Begin(MakeRecord(arguments, what, before, seconds));
  try {
    StartGuard(pending);
  } catch (const ClientError&) {
    pending.Keep();
    throw;
  }
  pending.Log(what + L", to be confirmed within " + std::to_wstring(seconds) + L" seconds");
  int status = kExitFailed;
  try {
    status = change();
  } catch (const ClientError& error) {
    WriteError(error.Message());
  }
  if (status == kExitDone) {
    pending.StartToWait(seconds);
    status = AwaitConfirmation(pending, seconds);
  } else {
    pending.Log(L"the change failed");
    WriteError(L"the change failed; the state from before is brought back");
    if (pending.StartToTakeBack()) TakeBack(pending, &WriteError);
  }
  if (arguments.json) report(status != kExitDone && pending.Stage() == PendingStage::kNone);
  return status;
}

int RunGuard(const Arguments&) {
  PendingChange pending;
  if (!pending.Guard()) return kExitFailed;
  for (;; ::Sleep(kPollMs)) {
    const PendingStage stage = pending.Stage();
    if (stage == PendingStage::kChanging) continue;
    if (stage != PendingStage::kWaiting) return kExitDone;
    const std::int64_t deadline = pending.Deadline();
    // Whoever made the change has ended before it was made.
    if (deadline == 0) pending.StartToWait(pending.Record().value("seconds", kShortestWait));
    if (deadline == 0 || std::time(nullptr) < deadline) continue;
    if (!pending.StartToTakeBack()) continue;
    pending.Log(L"no confirmation came in time");
    return TakeBack(pending, [](const std::wstring&) {}) ? kExitDone : kExitFailed;
  }
}

int RunConfirm(const Arguments& arguments) {
  PendingChange pending;
  return arguments.status ? ShowStatus(arguments, pending) : Keep(arguments, pending);
}

int RunRollback(const Arguments& arguments) {
  PendingChange pending;
  const PendingStage stage = pending.Stage();
  if (stage == PendingStage::kNone) throw Failed(L"no change waits for a confirmation: there is nothing to take back");
  if (stage == PendingStage::kChanging) throw Failed(L"the change is still being made; take it back when it is");
  if (!pending.StartToTakeBack()) throw Failed(L"another process takes it back already, or has kept it");
  const bool isBack = TakeBack(pending, &WriteError);
  if (arguments.json) WriteOut(FormatJson({{{L"stage", isBack ? L"takenBack" : L"stuck"}}}));
  return isBack ? kExitDone : kExitFailed;
}

}  // namespace qvrn
