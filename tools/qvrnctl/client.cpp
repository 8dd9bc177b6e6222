#include "tools/qvrnctl/client.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <new>

#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/json.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/pendingchange.h"
#include "tools/qvrnctl/properties.h"
#include "tools/qvrnctl/requests.h"
#include "tools/qvrnctl/wmiclient.h"

namespace qvrn {
namespace {

// A change that waits may undo whatever is told or done here; the commands that deal with it say more themselves.
void NotePending(const Arguments& arguments) try {
  const bool dealsWithIt = (arguments.command->options & kOptionComputer) == 0 || !arguments.confirmWithin.empty();
  if (dealsWithIt || !arguments.computer.empty() || PendingChange().Stage() == PendingStage::kNone) return;
  WriteError(L"note: a change of this machine may be taken back still: see `qvrnctl confirm --status`");
} catch (const ClientError&) {
  // Nothing waits where there is no place for it.
}

int Run(const Arguments& arguments) {
  if (arguments.help) {
    WriteOut(arguments.command == nullptr ? GeneralHelp(Commands()) : CommandHelp(*arguments.command));
    return kExitDone;
  }
  if (arguments.version) {
    WriteOut(L"qvrnctl " QVRNCTL_VERSION L"\n");
    return kExitDone;
  }
  SetRequestTimeout(arguments.timeout.empty() ? kRequestTimeout : ParseSeconds(L"--timeout", arguments.timeout));
  const ComRuntime com;
  NotePending(arguments);
  return arguments.command->run(arguments);
}

// For programs, where the command has printed nothing else.
void WriteErrorAsJson(const std::wstring& message, HRESULT code) {
  const Value name = ShortNameOfCode(code);
  const Json error = {{"code", TextOf(name).empty() ? Json(nullptr) : ToJson(name)},
                      {"hresult", code == S_OK ? Json(nullptr) : ToJson(NumberOfCode(code))},
                      {"message", ToJson(message)}};
  WriteOut(FormatOnOneLine({{"error", error}}) + L"\n");
}

int Conclude(std::span<const std::wstring> words, const ClientError& error) try {
  constexpr std::size_t kMostFaults = 20;
  const std::vector<std::wstring>& faults = error.Faults();
  for (std::size_t i = 0; i < faults.size() && i < kMostFaults; ++i) WriteError(faults[i]);
  if (faults.size() > kMostFaults) WriteError(L"and " + std::to_wstring(faults.size() - kMostFaults) + L" more");
  WriteError(error.Message());
  if (std::ranges::find(words, L"--json") == words.end() || HasOutput()) return error.ExitStatus();
  std::wstring message = error.Message();
  for (const std::wstring& fault : faults) message += L"\n" + fault;
  WriteErrorAsJson(message, error.Code());
  return error.ExitStatus();
} catch (const std::exception&) {
  return error.ExitStatus();  // nobody reads the output
}

}  // namespace

int RunClient(std::span<const std::wstring> words) try {
  StartOutput();
  return Run(ParseArguments(words, Commands()));
} catch (const ClientError& error) {
  return Conclude(words, error);
} catch (const std::bad_alloc&) {
  return Conclude(words, ClientError(kExitFailed, L"out of memory", E_OUTOFMEMORY));
} catch (const std::exception& error) {
  return Conclude(words, ClientError(kExitFailed, L"unexpected: " + FromUtf8(error.what()), E_UNEXPECTED));
}

}  // namespace qvrn
