#include "tools/qvrnctl/commands.h"

namespace qvrn {
namespace {

constexpr Command kCommands[] = {
    {L"adapters", L"", 0, 0, kReadingOptions, 0, L"list the served adapters",
     L"Lists the adapters that the provider serves, with what names them: the ID for the other commands,\n"
     L"the connection's and the adapter's name, and the adapter's GUID.\n",
     L"adapters --computer HOST", &RunAdapters},
    {L"get", L"ADAPTER... [PROPERTY...]", 1, kAnyNumber, kReadingOptions | kOptionAssociation, 0,
     L"show the properties of adapters",
     L"Shows all properties that the adapters have, or the ones that are named. ADAPTER is an ID, a name, a\n"
     L"connection's name, a GUID or a PnP device id as `qvrnctl adapters` shows them, without regard to case; * and ?\n"
     L"stand for any characters and any one. Values have the meanings that the class or the driver gives them.\n"
     L"With --association the client walks from the Win32_NetworkAdapter to its configuration, as management\n"
     L"consoles do, and says which way it went.\n",
     L"get 7 MaxFrameSize RssMode", &RunGet},
    {L"describe", L"ADAPTER [PROPERTY...]", 1, kAnyNumber, kReadingOptions, 0,
     L"show what an adapter's driver takes for its properties",
     L"Shows for each property what it is now, the driver's default, and the values that the driver takes: a range,\n"
     L"with its step where the driver names one, or a list with the driver's meanings.\n",
     L"describe 7 MaxFrameSize FlowControl", &RunDescribe},
    {L"set", L"ADAPTER... PROPERTY=VALUE...", 2, kAnyNumber, kChangingOptions, 0, L"change properties of adapters",
     L"Changes properties, then reads them back and says what has changed and what has not. VALUE is a number, a\n"
     L"meaning as `qvrnctl get` shows it, or `default` for the driver's own. An adapter restarts once when something\n"
     L"of it changes: its connections drop for a moment. Where every value is there already, nothing is written and\n"
     L"nothing restarts. When one of several adapters does not take a value, none is changed.\n",
     L"set 7 MaxFrameSize=9014 InterruptModeration=Disabled", &RunSet},
    {L"reset", L"ADAPTER...", 1, kAnyNumber, kChangingOptions, 0, L"give adapters their driver's defaults",
     L"Sets every property of the adapters whose default the driver names to that default, as `qvrnctl set` does.\n",
     L"reset 7 --what-if", &RunReset},
    {L"vlans", L"[ADAPTER]", 0, 1, kReadingOptions, 0, L"list the VLANs",
     L"Lists the VLANs of all adapters, or of one, in the order in which they were created.\n", L"vlans 7", &RunVlans},
    {L"vlan add", L"ADAPTER --id N --name NAME [--priority P]", 1, 1, kVlanOptions, kOptionId | kOptionName,
     L"create a VLAN",
     L"Creates a VLAN above an adapter, installing the VLAN driver where it is missing, then lists the VLANs to see\n"
     L"whether it is there. N is 1 to 4095, P is 0 to 7 (0 where none is given), and neither N nor NAME may be those\n"
     L"of another VLAN of the adapter. The adapter restarts: its connections drop for a moment. With its first VLAN\n"
     L"the adapter itself loses them, until its last VLAN is removed. Where the same VLAN is there already, nothing\n"
     L"is changed.\n",
     L"vlan add 7 --id 10 --name \"Front office\" --priority 3", &RunVlanAdd},
    {L"vlan set", L"VLAN [--id N] [--name NAME] [--priority P]", 1, 1, kVlanOptions, 0, L"change a VLAN",
     L"Changes a VLAN, then reads it back and says what has changed and what has not. VLAN is its GUID, or\n"
     L"ADAPTER/NUMBER, or its name where no other VLAN has it. The adapter restarts when something changes.\n",
     L"vlan set 7/10 --name Office", &RunVlanSet},
    {L"vlan remove", L"VLAN...", 1, kAnyNumber, kChangingOptions | kOptionIfExists, 0, L"remove VLANs",
     L"Removes VLANs one after the other, and lists the VLANs to see whether they are gone. VLAN is as for\n"
     L"`qvrnctl vlan set`. Nothing is removed when one of them is not known, unless --if-exists is given. Their\n"
     L"adapters restart.\n",
     L"vlan remove 7/10 Voice", &RunVlanRemove},
    {L"tree", L"", 0, 0, kReadingOptions, 0, L"draw the adapters and their VLANs",
     L"Draws the served adapters with their VLANs below them, and the state of their links where Windows knows one.\n",
     L"tree", &RunTree},
    {L"save", L"FILE", 1, 1, kChangingOptions, 0, L"save the VLANs of all adapters to a file",
     L"Lets the provider write the VLANs of all served adapters to an XML file, replacing it, and compares the file\n"
     L"with the VLANs. Where there is no VLAN, a file that holds some is replaced with --yes only. With --computer "
     L"the\n"
     L"file is one of the other computer, and is not compared.\n",
     L"save C:\\vlans.xml", &RunSave},
    {L"restore", L"FILE", 1, 1, kChangingOptions | kOptionConfirmWithin, 0,
     L"replace the VLANs of all adapters by those of a file",
     L"Removes every VLAN of every served adapter, then creates those of the file, and compares what is there with\n"
     L"the file. A file that would lose VLANs is refused before. Asks for a confirmation first, which takes a\n"
     L"terminal; elsewhere --yes has to be given. With --computer the file is one of the other computer, and is not\n"
     L"checked. --what-if shows which VLANs would go and which would come.\n",
     L"restore C:\\vlans.xml --what-if", &RunRestore},
    {L"show", L"[ADAPTER...]", 0, kAnyNumber, kReadingOptions, 0, L"print the state of the adapters as JSON",
     L"Prints the adapters' names, properties and VLANs in the form of a state file, of all served adapters or of "
     L"some.\n",
     L"show > C:\\server.json", &RunShow},
    {L"diff", L"FILE", 1, 1, kReadingOptions, 0, L"compare the machine with a state file",
     L"Prints what is not as the file describes it; exit status 3 where anything differs. FILE is of the form that\n"
     L"`qvrnctl show` prints, or one of `qvrnctl save`. An adapter is named by one or more of its names; adapters,\n"
     L"properties and lists of VLANs that the file does not mention are left alone.\n",
     L"diff C:\\server.json", &RunDiff},
    {L"apply", L"FILE", 1, 1, kChangingOptions | kOptionConfirmWithin, 0,
     L"make the machine as a state file describes it",
     L"Changes what differs, and nothing else: VLANs are matched by their numbers and keep their GUIDs where they "
     L"can.\n"
     L"First everything in the file is checked; when anything is wrong, nothing is changed. At the end the state is\n"
     L"read back and compared. Asks for a confirmation first, which takes a terminal; elsewhere --yes has to be "
     L"given.\n"
     L"With --confirm-within the state from before comes back by itself unless the change is confirmed in time.\n",
     L"apply C:\\server.json --confirm-within 120", &RunApply},
    {L"confirm", L"", 0, 0, kOptionJson | kOptionStatus, 0, L"keep a change that waits for a confirmation",
     L"Keeps what `apply` or `restore` with --confirm-within has changed on this computer. With --status it only says\n"
     L"what waits, and until when.\n",
     L"confirm --status", &RunConfirm},
    {L"rollback", L"", 0, 0, kOptionJson, 0, L"take back a change that waits for a confirmation",
     L"Brings back the state from before now, also where the process that would have done so was ended.\n", L"rollback",
     &RunRollback},
    {L"guard", nullptr, 0, 0, 0, 0, nullptr, nullptr, nullptr, &RunGuard},
};

}  // namespace

std::span<const Command> Commands() { return kCommands; }

}  // namespace qvrn
