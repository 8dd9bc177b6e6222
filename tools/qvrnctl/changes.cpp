#include "tools/qvrnctl/changes.h"

#include <algorithm>

#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/terminal.h"
#include "tools/qvrnctl/vlanclient.h"

namespace qvrn {

void AnnounceRestart(const Arguments& arguments, const std::wstring& adapterId, bool isFirstVlan) {
  WriteError(L"adapter " + adapterId + (arguments.whatIf ? L" would restart" : L" restarts now") +
             (isFirstVlan ? L": with its first VLAN, it loses its own connections, until its last VLAN is removed"
                          : L": its connections drop for a moment"));
}

void AnnounceFirstVlans(const std::vector<Vlan>& before, const std::vector<Vlan>& created) {
  const std::vector<std::wstring> withVlans = ParentIds(before);
  for (const std::wstring& id : ParentIds(created)) {
    if (std::ranges::find(withVlans, id) != withVlans.end()) continue;
    WriteError(L"note: with its first VLAN, adapter " + id +
               L" loses its own connections, until its last VLAN is removed");
  }
}

void AskForConsent(const Arguments& arguments) {
  if (!arguments.yes && !Confirm(L"Go on?")) throw Failed(L"not confirmed; nothing was changed");
}

bool ReportRefusal(const std::wstring& subject, HRESULT answer) {
  if (SUCCEEDED(answer) || answer == kNotFound) return false;
  WriteError(WmiFailed(subject, answer).Message());
  return true;
}

void RefuseFaults(const std::vector<std::wstring>& faults, const std::wstring& conclusion) {
  if (!faults.empty()) throw Failed(conclusion).Because(faults);
}

void WaitToReadAgain(const ClientError& error, int attempt) {
  constexpr int kAttempts = 30;
  if (attempt == kAttempts || !IsConnectionLost(error.Code())) {
    throw ClientError(kExitFailed, L"what the change has done cannot be read back: " + error.Message(), error.Code());
  }
  ::Sleep(1000);
}

WmiClient ConnectAgain(const Arguments& arguments, const WmiClient& wmi) {
  if (arguments.computer.empty()) return wmi;
  return ReadBack<WmiClient>(arguments, [](const WmiClient& fresh) { return fresh; });
}

}  // namespace qvrn
