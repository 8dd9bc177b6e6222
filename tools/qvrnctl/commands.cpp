#include "tools/qvrnctl/commands.h"

namespace qvrn {
namespace {

constexpr Command kCommands[] = {
    {L"adapters", L"", 0, 0, kReadingOptions, L"list the served adapters",
     L"Lists the adapters that the provider serves, with what names them: the ID for the other commands,\n"
     L"the connection's and the adapter's name, and the adapter's GUID.\n",
     &RunAdapters},
    {L"get", L"ADAPTER [PROPERTY...]", 1, kAnyNumber, kReadingOptions | kOptionAssociation,
     L"show the properties of an adapter",
     L"Shows all properties that the adapter has, or the ones that are named. ADAPTER is its ID, or its name or\n"
     L"connection name as `qvrnctl adapters` shows them. Names are taken without regard to case.\n"
     L"With --association the client walks from the Win32_NetworkAdapter to its configuration, as management\n"
     L"consoles do, and says which way it went.\n",
     &RunGet},
    {L"set", L"ADAPTER PROPERTY=VALUE...", 2, kAnyNumber, kChangingOptions, L"change properties of an adapter",
     L"Changes properties, then reads them back and says what has changed and what has not. VALUE is a number, or a\n"
     L"meaning as `qvrnctl get` shows it. The adapter restarts when something changes: its connections drop for a\n"
     L"moment. Where every value is there already, nothing is written and nothing restarts.\n",
     &RunSet},
};

}  // namespace

std::span<const Command> Commands() { return kCommands; }

}  // namespace qvrn
