#include "tools/qvrnctl/client.h"

#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/wmiclient.h"

namespace qvrn {
namespace {

int Run(const Arguments& arguments) {
  if (arguments.help) {
    WriteOut(arguments.command == nullptr ? GeneralHelp(Commands()) : CommandHelp(*arguments.command));
    return kExitDone;
  }
  if (arguments.version) {
    WriteOut(L"qvrnctl " QVRNCTL_VERSION L"\n");
    return kExitDone;
  }
  const ComRuntime com;
  return arguments.command->run(arguments);
}

}  // namespace

int RunClient(std::span<const std::wstring> words) try {
  return Run(ParseArguments(words, Commands()));
} catch (const ClientError& error) {
  WriteError(error.Message());
  return error.ExitStatus();
} catch (const std::exception&) {
  WriteError(L"out of memory");
  return kExitFailed;
}

}  // namespace qvrn
