// What every change has in common: adapters restart under it, and the provider's answer does not tell what happened.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/vlan.h"
#include "tools/qvrnctl/wmiclient.h"

namespace qvrn {

/// Why the provider may have left a change of VLANs undone.
inline constexpr wchar_t kRefusedReasons[] =
    L"the provider does not say why: the adapter may belong to a team, the VLAN driver's files may be missing, another "
    L"program may be changing the network configuration, or it takes an administrator, in an elevated prompt";

/// Says that the adapter restarts, or would do so, and what that means for its connections.
void AnnounceRestart(const Arguments& arguments, const std::wstring& adapterId, bool isFirstVlan = false);

/// Warns of every adapter that has no VLAN in `before` and one in `created`: with its first VLAN the VLAN driver takes
/// its protocols over, so that the adapter's own addresses are out of use.
void AnnounceFirstVlans(const std::vector<Vlan>& before, const std::vector<Vlan>& created);

/// Asks whether to go on, unless --yes has said so. Throws ClientError when the answer is no.
void AskForConsent(const Arguments& arguments);

/// Says what WMI answered when that tells something; gives whether it did. Of the provider's own answers neither
/// success nor "not found" does: a put that worked may come back as "not found", one that failed as success.
bool ReportRefusal(const std::wstring& subject, HRESULT answer);

/// Throws ClientError with the conclusion and the faults, a line each; does nothing where there is none.
void RefuseFaults(const std::vector<std::wstring>& faults, const std::wstring& conclusion);

/// Waits a while before what a change has done is read once more. Throws ClientError when reading again is of no use:
/// after any error but a lost connection, and after half a minute.
void WaitToReadAgain(const ClientError& error, int attempt);

/// What `read` gives over a new connection. Where a restarted adapter carries the connection to the computer itself, it
/// takes a while until it answers again.
template <typename Result>
Result ReadBack(const Arguments& arguments, const std::function<Result(const WmiClient& wmi)>& read) {
  for (int attempt = 1;; ++attempt) {
    try {
      return read(WmiClient(arguments));
    } catch (const ClientError& error) {
      WaitToReadAgain(error, attempt);
    }
  }
}

/// The connection for the next change: `wmi` itself, but to another computer a new one, as the change before may have cut
/// the old one.
WmiClient ConnectAgain(const Arguments& arguments, const WmiClient& wmi);

}  // namespace qvrn
