// The client's thinking, as far as it is a matter of functions: command lines, values, names of VLANs and files, widths
// of characters, names of codes. What it does is told by scenarios/client/.
#include "platform/wmi.h"

#include <shellapi.h>

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <vector>

#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/displaywidth.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/filename.h"
#include "tools/qvrnctl/statedescription.h"
#include "tools/qvrnctl/vlan.h"
#include "tools/qvrnctl/vlanoutcome.h"

namespace qvrn {
namespace {

using ::testing::HasSubstr;
using Words = std::vector<std::wstring>;

/// What `action` gives, or the message that it ends with; wrong usage begins with "2: ".
template <typename Action>
std::wstring TextOrError(Action action) try {
  return action();
} catch (const ClientError& error) {
  return (error.ExitStatus() == kExitWrongUsage ? L"2: " : L"1: ") + error.Message();
}

// The words as the platform gives them to a program.
Words Split(const std::wstring& line) {
  int count = 0;
  wchar_t** const words = ::CommandLineToArgvW((L"qvrnctl " + line).c_str(), &count);
  Words split(words + 1, words + count);
  ::LocalFree(words);
  return split;
}

Arguments Parse(const std::wstring& line) { return ParseArguments(Split(line), Commands()); }

TEST(CommandLine, IsReadInAnyOrderOrRefusedWithTheUsage) {
  const auto summary = [](const Arguments& read) {
    std::wstring text = read.command == nullptr ? L"-" : read.command->name;
    for (const std::wstring& operand : read.operands) text += L"|" + operand;
    text += L"; " + read.computer + L"; " + read.nameSpace + L"; " + read.vlanId + read.vlanName + read.priority;
    const std::pair<bool, const wchar_t*> flags[] = {{read.json, L" json"},      {read.association, L" association"},
                                                     {read.whatIf, L" if"},      {read.yes, L" yes"},
                                                     {read.noColour, L" no"},    {read.help, L" help"},
                                                     {read.version, L" version"}};
    for (const auto& [isSet, name] : flags) text += isSet ? name : L"";
    return text;
  };
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"adapters --no-color", L"adapters; ; root\\cimv2;  no"},
      {L"--json get 7", L"get|7; ; root\\cimv2;  json"},
      {L"get --computer \\\\HOST 7 --association RssMode", L"get|7|RssMode; HOST; root\\cimv2;  association"},
      {L"get 7 --computer=h --namespace=root\\x=y", L"get|7; h; root\\x=y; "},
      {L"set 7 RssMode=-1 --what-if --yes", L"set|7|RssMode=-1; ; root\\cimv2;  if yes"},
      {L"vlan add 7 --id 1 --name \"a b\" --priority 2", L"vlan add|7; ; root\\cimv2; 1a b2"},
      {L"get -- --json -", L"get|--json|-; ; root\\cimv2; "},
      {L"vlan list 7", L"vlans|7; ; root\\cimv2; "},
      {L"help vlan add", L"vlan add; ; root\\cimv2;  help"},
      {L"/?", L"-; ; root\\cimv2;  help"},
      {L"help gett", L"2: there is no command \"gett\""},
      {L"get 7 --json --json", L"2: --json is given twice"},
      {L"get -h --version", L"get; ; root\\cimv2;  help version"},
      {L"", L"2: a command is missing\nusage: qvrnctl COMMAND [ARGUMENTS...] [OPTIONS...]; try qvrnctl --help"},
      {L"Get", L"2: there is no command \"Get\"\nusage: qvrnctl COMMAND"},
      {L"vlan 7", L"2: there is no command \"vlan\"\nusage: qvrnctl COMMAND"},
      {L"get", L"2: too few arguments\nusage: qvrnctl get ADAPTER... [PROPERTY...] [OPTIONS...]"},
      {L"adapters 7", L"2: too many arguments: \"7\"\nusage: qvrnctl adapters [OPTIONS...]"},
      {L"get 7 --what-if", L"2: get does not take --what-if\nusage: qvrnctl get"},
      {L"adapters --bogus=1", L"2: there is no option --bogus\nusage: qvrnctl COMMAND"},
      {L"adapters --json=yes", L"2: --json takes no value"},
      {L"adapters --computer", L"2: --computer needs a value: HOST"},
      {L"adapters --computer --json", L"2: --computer needs a value: HOST"},
      {L"adapters --computer \\\\", L"2: --computer needs a value: HOST"},
      {L"adapters --namespace=", L"2: --namespace needs a value: NS"},
      {L"vlan add 7 --id 1", L"2: vlan add needs --name NAME\nusage: qvrnctl vlan add ADAPTER --id N"},
      {L"vlan add 7 --name 1", L"2: vlan add needs --id N\nusage"},
  };
  for (const auto& row : rows)
    EXPECT_THAT(TextOrError([&] { return summary(Parse(row.first)); }), HasSubstr(row.second));
}

TEST(CommandLine, EachCommandTakesItsOperandsAndOptionsAndShowsAnExampleThatWorks) {
  // How many operands, of up to three, and which options.
  const Words expected = {
      L"adapters 0 computer namespace timeout json help",
      L"get 123 computer namespace association timeout json help",
      L"describe 123 computer namespace timeout json help",
      L"set 23 computer namespace timeout json what-if yes help",
      L"reset 123 computer namespace timeout json what-if yes help",
      L"vlans 01 computer namespace timeout json help",
      L"vlan add 1 computer namespace id name priority timeout json what-if yes help",
      L"vlan set 1 computer namespace id name priority timeout json what-if yes help",
      L"vlan remove 123 computer namespace if-exists timeout json what-if yes help",
      L"tree 0 computer namespace timeout json help",
      L"save 1 computer namespace timeout json what-if yes help",
      L"restore 1 computer namespace confirm-within timeout json what-if yes help",
      L"show 0123 computer namespace timeout json help",
      L"diff 1 computer namespace timeout json help",
      L"apply 1 computer namespace confirm-within timeout json what-if yes help",
      L"confirm 0 status json help",
      L"rollback 0 json help",
  };
  Words seen;
  for (const Command& command : Commands()) {
    if (command.operands == nullptr) continue;
    const std::wstring example = command.example;
    EXPECT_EQ(Parse(example).command, &command);
    const std::wstring help = CommandHelp(command);
    EXPECT_THAT(help, HasSubstr(L"\nexample:\n  qvrnctl " + example + L"\n"));
    EXPECT_THAT(GeneralHelp(Commands()), HasSubstr(std::wstring(L"\n  ") + command.name + L" " + command.operands));
    std::wstring text = command.name + std::wstring(L" ");
    std::wstring line = text + (command.needed == 0 ? L"" : L"--id=1 --name=1");
    for (const wchar_t* count : {L"0", L"1", L"2", L"3"}) {
      if (!TextOrError([&] { return Parse(line), L""; }).starts_with(L"2")) text += count;
      line += L" 1";
    }
    std::wistringstream words(help.substr(help.find(L"\noptions:")));
    for (std::wstring word; words >> word;) text += word.starts_with(L"--") ? L" " + word.substr(2) : L"";
    seen.push_back(text);
  }
  EXPECT_EQ(seen, expected);
}

PropertyInfo Info(const wchar_t* name) {
  PropertyInfo info;
  info.name = name;
  info.writable = true;
  info.least = 0;
  return info;
}

TEST(Requests, AreReadByTheSchemaOrAreWrongUsage) {
  std::vector<PropertyInfo> properties = {Info(L"Key"),    Info(L"Flow"),  Info(L"Size"),
                                          Info(L"Offset"), Info(L"State"), Info(L"Text")};
  properties[0].key = true;
  properties[1].namedValues = {{L"0", L"Off"}, {L"3", L"Rx and Tx"}};
  properties[2].most = 9014;
  properties[3].least.reset();
  properties[4].writable = false;
  properties[5].text = true;
  const auto read = [&](const std::wstring& line) {
    std::wstring text;
    for (const Assignment& assignment : ParseAssignments(properties, Split(line))) {
      const Request request = Resolve(assignment, [](const PropertyInfo&) { return std::nullopt; });
      text += request.info.name + L" " + FormatWithMeaning(request.info, request.value) + L";";
    }
    return text;
  };
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"size=9014 \"Flow=rx AND tx\" Offset=-2147483648", L"Size 9014;Flow 3 (Rx and Tx);Offset -2147483648;"},
      {L"Flow=1 Size=0 Offset=0001 Text=a=b", L"Flow 1;Size 0;Offset 1;Text a=b;"},
      {L"Flow=2147483647", L"Flow 2147483647;"},
      {L"Size", L"2: \"Size\" is not of the form PROPERTY=VALUE"},
      {L"Speed=1", L"2: there is no property \"Speed\"; there are Key, Flow, Size, Offset, State, Text"},
      {L"Key=8", L"2: Key cannot be set"},
      {L"State=8", L"2: State cannot be set"},
      {L"Size=1 size=2", L"2: Size is given twice"},
      {L"Flow=both", L"2: Flow cannot be \"both\": it takes a number, 0 or \"Off\", 3 or \"Rx and Tx\""},
      {L"Size=", L"2: Size cannot be \"\": it takes a number"},
      {L"Size=-", L"2: Size cannot be \"-\": it takes a number"},
      {L"Size=1.5", L"2: Size cannot be \"1.5\": it takes a number"},
      {L"\"Size= 1\"", L"2: Size cannot be \" 1\": it takes a number"},
      {L"Size=-1", L"2: Size cannot be \"-1\": it takes 0 to 9014"},
      {L"Size=9015", L"2: Size cannot be \"9015\": it takes 0 to 9014"},
      {L"Flow=2147483648", L"2: Flow cannot be \"2147483648\": it takes 0 to 2147483647"},
      {L"Offset=-2147483649", L"2: Offset cannot be \"-2147483649\": it takes -2147483648 to 2147483647"},
      {L"Offset=99999999999999999999", L"2: Offset cannot be \"99999999999999999999\": it takes a number"},
  };
  for (const auto& row : rows) EXPECT_EQ(TextOrError([&] { return read(row.first); }), row.second);
}

TEST(Vlans, AreFoundByWhatNamesExactlyOne) {
  const std::vector<Adapter> adapters = {{L"7", L"Quorvane Ethernet", L"West", {}, {}},
                                         {L"12", L"Ethernet #2", {}, {}, {}}};
  const std::vector<Vlan> vlans = {{L"{A}", L"7", L"Office", 10, 0},
                                   {L"{B}", L"7", L"Voice", 20, 5},
                                   {L"{C}", L"12", L"Office", 10, 0},
                                   {L"{D}", L"12", L"7/20", 40, 0}};
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"{b}", L"{B}"},
      {L"VOICE", L"{B}"},
      {L"7/10", L"{A}"},
      {L"west/20", L"{B}"},
      {L"Ethernet #2/010", L"{C}"},
      {L"12/40", L"{D}"},
      {L"Office", L"1: VLAN \"Office\" is ambiguous: 7/10 \"Office\" {A}, 12/10 \"Office\" {C}"},
      {L"7/20", L"1: VLAN \"7/20\" is ambiguous: 7/20 \"Voice\" {B}, 12/40 \"7/20\" {D}"},
      {L"7/40", L"1: VLAN \"7/40\" is not there: WBEM_E_NOT_FOUND (0x80041002); there are 7/10 \"Office\" {A}, 7/20 "},
  };
  const auto find = [&](const wchar_t* wanted) {
    return TextOrError([&] { return MatchVlan(vlans, adapters, wanted).guid; });
  };
  for (const auto& [wanted, text] : rows) EXPECT_THAT(find(wanted), testing::StartsWith(text));
  for (const wchar_t* unknown : {L"", L"/", L"/10", L"7/", L"10", L"7/x", L"East/10"})
    EXPECT_THAT(find(unknown), HasSubstr(L"is not there"));
  const std::vector<Vlan> many(22, vlans[0]);
  EXPECT_THAT(TextOrError([&] { return MatchVlan(std::span(many).first(20), adapters, L"office").guid; }),
              testing::EndsWith(L"\"Office\" {A}"));
  EXPECT_THAT(TextOrError([&] { return MatchVlan(many, adapters, L"office").guid; }),
              testing::EndsWith(L" {A}, 2 more"));
}

TEST(Vlans, OptionsReplaceWhatTheyNameAndAreWrongUsageWhereNoVlanCanHaveThem) {
  const struct {
    std::wstring id, name, priority, text;
  } rows[] = {
      {L"", L"", L"", L"7/20 \"Voice\" {B} 5"},
      {L"4095", L"\U0001F600 &", L"0", L"7/4095 \"\U0001F600 &\" {B} 0"},
      {L"1", L"a \x7F", L"7", L"7/1 \"a \x7F\" {B} 7"},
      {L"0", L"", L"", L"2: --id cannot be \"0\": a VLAN number is 1 to 4095"},
      {L"4096", L"", L"", L"2: --id cannot be \"4096\": a VLAN number is 1 to 4095"},
      {L"4294967297", L"", L"", L"2: --id cannot be \"4294967297\": a VLAN number is 1 to 4095"},
      {L"1x", L"", L"", L"2: --id cannot be \"1x\": it takes a number"},
      {L"", L"", L"8", L"2: --priority cannot be \"8\": a priority is 0 to 7"},
      {L"", L"", L"-1", L"2: --priority cannot be \"-1\": a priority is 0 to 7"},
      {L"", L" x", L"", L"2: --name cannot be that: a saved file does not keep blanks at the beginning and the end"},
      {L"", L"x\r", L"", L"2: --name cannot be that: a saved file does not keep blanks"},
      {L"", L"a\uFFFFb", L"", L"2: --name cannot be that: a saved file cannot hold control characters and halves"},
      {L"", L"a\uFFFEb", L"", L"2: --name cannot be that: a saved file cannot hold"},
      {L"", {L'a', wchar_t(0xDE00)}, L"", L"2: --name cannot be that: a saved file cannot hold"},
  };
  for (const auto& row : rows) {
    Arguments arguments;
    arguments.vlanId = row.id;
    arguments.vlanName = row.name;
    arguments.priority = row.priority;
    const auto read = [&] {
      const Vlan vlan = WithOptions({L"{B}", L"7", L"Voice", 20, 5}, arguments);
      return Label(vlan) + L" " + std::to_wstring(vlan.priority);
    };
    EXPECT_THAT(TextOrError(read), testing::StartsWith(row.text));
  }
  EXPECT_FALSE(NameFault(std::wstring(99, L'x')));
}

TEST(FileName, IsMadeAbsoluteAndNeverTakenForAnAddress) {
  wchar_t folder[MAX_PATH] = {};
  ::GetCurrentDirectoryW(MAX_PATH, folder);
  const std::wstring here = folder;
  const struct {
    const wchar_t* name;
    std::wstring here;
    const wchar_t* there;  // on another computer
  } rows[] = {
      {L"C:\\a b\\..\\ü#'2.xml", L"C:\\ü#'2.xml", L"C:\\a b\\..\\ü#'2.xml"},
      {L"v.xml", here + L"\\v.xml",
       L"2: the file cannot be \"v.xml\": with --computer it takes a whole path of that computer"},
      {L"c:/v.xml", L"c:\\v.xml", L"c:/v.xml"},
      {L"\\\\host\\v.xml", L"\\\\host\\v.xml", L"\\\\host\\v.xml"},
      {L"", L"2: the file cannot be \"\": it is empty", L"2: the file cannot be \"\": it is empty"},
      {L"C:\\a%20b", L"2: the file cannot be \"C:\\a%20b\": the XML reader would take % for",
       L"2: the file cannot be \"C:\\a%20b\": the XML"},
      {L"C:\\a\"b", L"2: the file cannot be \"C:\\a\"b\": no file name holds any of",
       L"2: the file cannot be \"C:\\a\"b\": no file"},
      {L"NUL", L"2: the file cannot be \"NUL\": that is a device", L"2: the file cannot be \"NUL\": with --computer"},
      {L"\\\\?\\C:\\v", L"2: the file cannot be \"\\\\?\\C:\\v\": no file name",
       L"2: the file cannot be \"\\\\?\\C:\\v\": no file name"},
      {L"C:v", L"C:\\", L"2: the file cannot be \"C:v\": with --computer"},
      {L"1:\\v", L"2: the file cannot be \"1:\\v\": ", L"2: the file cannot be \"1:\\v\": with --computer"},
  };
  for (const auto& row : rows) {
    EXPECT_THAT(TextOrError([&] { return FullFileName(row.name, false); }), testing::StartsWith(row.here));
    EXPECT_THAT(TextOrError([&] { return FullFileName(row.name, true); }), testing::StartsWith(row.there));
  }
}

TEST(StateFile, IsReadInEachEncodingThatEditorsAndShellsWrite) {
  using std::string_literals::operator""s;
  for (const std::string& bytes : {"{\xC3\xBC}"s, "\xEF\xBB\xBF{\xC3\xBC}"s, "\xFF\xFE{\0\xFC\0}\0"s, "{\0\xFC\0}\0"s,
                                   "\xFE\xFF\0{\0\xFC\0}"s, "\0{\0\xFC\0}"s})
    EXPECT_EQ(qvrn::DecodeText(bytes), "{\xC3\xBC}");
}

TEST(Links, AreNamedAsWindowsNamesThem) {
  std::vector<std::wstring> names;
  for (std::int64_t status = -1; status < 14; ++status) names.push_back(FormatValue(LinkName(status)));
  EXPECT_EQ(Join(names),
            L"-, Disconnected, Connecting, Connected, Disconnecting, Hardware not present, Hardware disabled, Hardware "
            L"malfunction, Media disconnected, Authenticating, Authenticated, Authentication failed, Invalid address, "
            L"Credentials required, -");
}

// The first and the last of each block, and their neighbours of another width.
TEST(DisplayWidth, IsThatOfTheCharactersOnAScreen) {
  const std::pair<std::size_t, std::wstring> rows[] = {
      {0,
       L"\u0300\u036F\u0483\u0489\u0591\u05BD\u064B\u065F\u093C\u0941\u0948\u094D\u0E31\u0E34\u0E3A\u0E47\u0E4E"
       L"\u1160\u11FF\u1AB0\u1AFF\u1DC0\u1DFF\u200B\u200F\u202A\u202E\u2060\u2064\u20D0\u20FF\u302A\u302D\u3099"
       L"\u309A\uFE00\uFE0F\uFE20\uFE2F\uFEFF"},
      {1,
       L" ~é\u02FF\u0370\u0482\u048A\u0590\u05BE\u064A\u0660\u093B\u093D\u0940\u0949\u094C\u094E\u0E30\u0E32\u0E33"
       L"\u0E3B\u0E46\u0E4F\u10FF\u1200\u1AAF\u1B00\u1DBF\u1E00\u200A\u2010\u2029\u202F\u205F\u2065\u20CF\u2100"
       L"\u2E7F\u303F\u3040\u4DC0\u4DFF\uA4D0\uA95F\uA980\uABFF\uD7A4\uF8FF\uFB00\uFDFF\uFE10\uFE1F\uFE70\uFEFE"
       L"\uFF00\uFF61\uFFDF\uFFE7\U0001F2FF\U0001F650\U0001F67F\U0001F700\U0001F8FF\U0001FA00\U0001FFFF\U0003FFFE"},
      {2,
       L"\u1100\u115F\u2E80\u3029\u302E\u303E\u3041\u3098\u309B\u4DBF\u4E00\uA4CF\uA960\uA97F\uAC00\uD7A3\uF900"
       L"\uFAFF\uFE30\uFE6F\uFF01\uFF60\uFFE0\uFFE6\U0001F300\U0001F64F\U0001F680\U0001F6FF\U0001F900\U0001F9FF"
       L"\U00020000\U0003FFFD"},
  };
  for (const auto& [width, characters] : rows) {
    for (std::size_t i = 0; i < characters.size(); ++i) {
      const std::wstring one = characters.substr(i, IS_HIGH_SURROGATE(characters[i]) ? 2 : 1);
      i += one.size() - 1;
      EXPECT_EQ(DisplayWidth(one), width) << testing::PrintToString(one);
    }
  }
  EXPECT_EQ(DisplayWidth(std::wstring{wchar_t(0xD83D)}), 1U);
  EXPECT_EQ(DisplayWidth(std::wstring{wchar_t(0xDE00), wchar_t(0xD83D), wchar_t(0xDE00)}), 3U);
}

TEST(Codes, AreNamedWithWhatToDoWhereThatIsKnown) {
  std::wistringstream known(
      L"80041001 WBEM_E_FAILED 80041002 WBEM_E_NOT_FOUND 80041003 WBEM_E_ACCESS_DENIED 80041004 "
      L"WBEM_E_PROVIDER_FAILURE "
      L"80041005 WBEM_E_TYPE_MISMATCH 80041006 WBEM_E_OUT_OF_MEMORY 80041008 WBEM_E_INVALID_PARAMETER "
      L"80041009 WBEM_E_NOT_AVAILABLE 8004100A WBEM_E_CRITICAL_ERROR 8004100C WBEM_E_NOT_SUPPORTED "
      L"8004100E WBEM_E_INVALID_NAMESPACE 8004100F WBEM_E_INVALID_OBJECT 80041010 WBEM_E_INVALID_CLASS "
      L"80041011 WBEM_E_PROVIDER_NOT_FOUND 80041012 WBEM_E_INVALID_PROVIDER_REGISTRATION "
      L"80041013 WBEM_E_PROVIDER_LOAD_FAILURE 80041014 WBEM_E_INITIALIZATION_FAILURE 80041015 WBEM_E_TRANSPORT_FAILURE "
      L"80041016 WBEM_E_INVALID_OPERATION 80041017 WBEM_E_INVALID_QUERY 8004101D WBEM_E_UNEXPECTED "
      L"80041023 WBEM_E_READ_ONLY 80041024 WBEM_E_PROVIDER_NOT_CAPABLE 8004102E WBEM_E_INVALID_METHOD "
      L"80041033 WBEM_E_SHUTTING_DOWN 8004103A WBEM_E_INVALID_OBJECT_PATH 80041064 WBEM_E_LOCAL_CREDENTIALS "
      L"80041069 WBEM_E_TIMED_OUT 8004106C WBEM_E_QUOTA_VIOLATION 80004005 E_FAIL 80004001 E_NOTIMPL "
      L"8000FFFF E_UNEXPECTED 8007000E E_OUTOFMEMORY 80070005 E_ACCESSDENIED 80040154 REGDB_E_CLASSNOTREG "
      L"80010108 RPC_E_DISCONNECTED 80070002 ERROR_FILE_NOT_FOUND 80070003 ERROR_PATH_NOT_FOUND "
      L"80070020 ERROR_SHARING_VIOLATION 800706BA RPC_S_SERVER_UNAVAILABLE 800706BE RPC_S_CALL_FAILED "
      L"800706BF RPC_S_CALL_FAILED_DNE");
  std::wstring number;
  for (std::wstring name; known >> number >> name;) {
    EXPECT_EQ(NameOfCode(static_cast<HRESULT>(std::stoul(number, nullptr, 16))), name + L" (0x" + number + L")");
  }
  EXPECT_EQ(NameOfCode(static_cast<HRESULT>(0x8004001FL)), L"0x8004001F");
  const wchar_t kRegistered[] = L"; the classes are not registered; in an elevated prompt, repair the installation or";
  for (const HRESULT code : {0x80041010L, 0x80041011L, 0x80041012L})
    EXPECT_THAT(WmiFailed(L"s", code).Message(), HasSubstr(kRegistered));
  for (const HRESULT code : {0x80041015L, 0x800706BAL})
    EXPECT_THAT(WmiFailed(L"s", code).Message(), HasSubstr(L"; check the computer's name, that it is on"));
  EXPECT_THAT(WmiFailed(L"s", E_ACCESSDENIED).Message(), HasSubstr(L"); run it as an administrator"));
  EXPECT_THAT(WmiFailed(L"s", 0x80070020L).Message(), testing::EndsWith(L"); another program has the file open"));
  for (const HRESULT code : {0x80041015L, 0x80010108L, 0x80010007L, 0x800706BAL, 0x800706BEL, 0x800706BFL})
    EXPECT_TRUE(IsConnectionLost(code));
  EXPECT_FALSE(IsConnectionLost(E_FAIL));
  EXPECT_EQ(WmiFailed(L"s", E_FAIL).Message(), L"s: E_FAIL (0x80004005)");
}

}  // namespace
}  // namespace qvrn
