#include "tools/qvrnctl/commands.h"

namespace qvrn {
namespace {

constexpr Command kCommands[] = {
    {L"adapters", L"", 0, 0, kReadingOptions, 0, L"list the served adapters",
     L"Lists the adapters that the provider serves, with what names them: the ID for the other commands,\n"
     L"the connection's and the adapter's name, and the adapter's GUID.\n",
     L"adapters --computer HOST", &RunAdapters},
    {L"get", L"ADAPTER [PROPERTY...]", 1, kAnyNumber, kReadingOptions | kOptionAssociation, 0,
     L"show the properties of an adapter",
     L"Shows all properties that the adapter has, or the ones that are named. ADAPTER is its ID, or its name or\n"
     L"connection name as `qvrnctl adapters` shows them. Names are taken without regard to case.\n"
     L"With --association the client walks from the Win32_NetworkAdapter to its configuration, as management\n"
     L"consoles do, and says which way it went.\n",
     L"get 7 MaxFrameSize RssMode", &RunGet},
    {L"set", L"ADAPTER PROPERTY=VALUE...", 2, kAnyNumber, kChangingOptions, 0, L"change properties of an adapter",
     L"Changes properties, then reads them back and says what has changed and what has not. VALUE is a number, or a\n"
     L"meaning as `qvrnctl get` shows it. The adapter restarts when something changes: its connections drop for a\n"
     L"moment. Where every value is there already, nothing is written and nothing restarts.\n",
     L"set 7 MaxFrameSize=9014 InterruptModeration=Disabled", &RunSet},
    {L"vlans", L"[ADAPTER]", 0, 1, kReadingOptions, 0, L"list the VLANs",
     L"Lists the VLANs of all adapters, or of one, in the order in which they were created.\n", L"vlans 7", &RunVlans},
    {L"vlan add", L"ADAPTER --id N --name NAME [--priority P]", 1, 1, kVlanOptions, kOptionId | kOptionName,
     L"create a VLAN",
     L"Creates a VLAN above an adapter, installing the VLAN driver where it is missing, then lists the VLANs to see\n"
     L"whether it is there. N is 1 to 4095, P is 0 to 7 (0 where none is given), and neither N nor NAME may be those\n"
     L"of another VLAN of the adapter. The adapter restarts: its connections drop for a moment.\n",
     L"vlan add 7 --id 10 --name \"Front office\" --priority 3", &RunVlanAdd},
    {L"vlan set", L"VLAN [--id N] [--name NAME] [--priority P]", 1, 1, kVlanOptions, 0, L"change a VLAN",
     L"Changes a VLAN, then reads it back and says what has changed and what has not. VLAN is its GUID, or\n"
     L"ADAPTER/NUMBER, or its name where no other VLAN has it. The adapter restarts when something changes.\n",
     L"vlan set 7/10 --name Office", &RunVlanSet},
    {L"vlan remove", L"VLAN...", 1, kAnyNumber, kChangingOptions, 0, L"remove VLANs",
     L"Removes VLANs one after the other, and lists the VLANs to see whether they are gone. VLAN is as for\n"
     L"`qvrnctl vlan set`. Nothing is removed when one of them is not known. Their adapters restart.\n",
     L"vlan remove 7/10 Voice", &RunVlanRemove},
    {L"tree", L"", 0, 0, kReadingOptions, 0, L"draw the adapters and their VLANs",
     L"Draws the served adapters with their VLANs below them, and the state of their links where Windows knows one.\n",
     L"tree", &RunTree},
    {L"save", L"FILE", 1, 1, kChangingOptions, 0, L"save the VLANs of all adapters to a file",
     L"Lets the provider write the VLANs of all served adapters to an XML file, replacing it, and compares the file\n"
     L"with the VLANs. With --computer the file is one of the other computer, and is not compared.\n",
     L"save C:\\vlans.xml", &RunSave},
    {L"restore", L"FILE", 1, 1, kChangingOptions, 0, L"replace the VLANs of all adapters by those of a file",
     L"Removes every VLAN of every served adapter, then creates those of the file, and compares what is there with\n"
     L"the file. A file that would lose VLANs is refused before. Asks for a confirmation first, which takes a\n"
     L"terminal; elsewhere --yes has to be given. With --computer the file is one of the other computer, and is not\n"
     L"checked. --what-if shows which VLANs would go and which would come.\n",
     L"restore C:\\vlans.xml --what-if", &RunRestore},
};

}  // namespace

std::span<const Command> Commands() { return kCommands; }

}  // namespace qvrn
