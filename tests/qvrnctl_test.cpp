// The client's thinking: command lines, requests against a schema, what a put did and will do, and the output's form.
#include "platform/wmi.h"

#include <shellapi.h>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tools/qvrnctl/adapters.h"
#include "tools/qvrnctl/commands.h"
#include "tools/qvrnctl/errors.h"
#include "tools/qvrnctl/output.h"
#include "tools/qvrnctl/properties.h"

namespace qvrn {

// For the messages of failed comparisons.
void PrintTo(const Value& value, std::ostream* out) {
  *out << testing::PrintToString(value == Value() ? std::wstring(L"NULL") : FormatValue(value));
}

namespace {

using Words = std::vector<std::wstring>;

// The error that `action` ends with; a failed test when it does not end with one.
template <typename Action>
ClientError ErrorOf(Action action) {
  try {
    action();
  } catch (const ClientError& error) {
    return error;
  }
  ADD_FAILURE() << "no error";
  return Failed(L"no error");
}

bool Contains(const std::wstring& text, const std::wstring& part) { return text.find(part) != std::wstring::npos; }

Value Number(std::int64_t number) { return number; }

// --- command lines -------------------------------------------------------------------------------------------------

// The words after the program's name, as the platform gives them to a program.
Words SplitCommandLine(const std::wstring& line) {
  int count = 0;
  wchar_t** const words = ::CommandLineToArgvW((L"qvrnctl " + line).c_str(), &count);
  Words split(words + 1, words + count);
  ::LocalFree(words);
  return split;
}

// What was understood: command, operands, options.
std::wstring Summary(const Arguments& arguments) {
  std::wstring text = arguments.command == nullptr ? L"" : arguments.command->name;
  for (const std::wstring& operand : arguments.operands) text += L"|" + operand;
  return text + L"; " + arguments.computer + L" " + arguments.nameSpace + (arguments.json ? L" json" : L"") +
         (arguments.whatIf ? L" what-if" : L"");
}

TEST(Arguments, TakesWordsAndOptionsInAnyOrder) {
  const struct {
    Words words;
    const wchar_t* summary;
  } cases[] = {
      {{L"adapters", L"--no-color"}, L"adapters;  root\\cimv2"},
      {{L"--json", L"get", L"7"}, L"get|7;  root\\cimv2 json"},
      {{L"get", L"--computer", L"\\\\HOST", L"7", L"RssMode"}, L"get|7|RssMode; HOST root\\cimv2"},
      {{L"get", L"7", L"--computer=h", L"--namespace=root\\x=y"}, L"get|7; h root\\x=y"},
      {{L"set", L"7", L"RssMode=-1", L"--what-if", L"--yes"}, L"set|7|RssMode=-1;  root\\cimv2 what-if"},
      {{L"get", L"--", L"--json", L"-"}, L"get|--json|-;  root\\cimv2"},
  };
  for (const auto& c : cases) EXPECT_EQ(Summary(ParseArguments(c.words, Commands())), c.summary);
}

TEST(Arguments, RefusesWhatItDoesNotUnderstand) {
  const struct {
    Words words;
    const wchar_t* message;
  } cases[] = {
      {{}, L"a command is missing"},
      {{L"Get"}, L"no command \"Get\""},
      {{L"get"}, L"usage: qvrnctl get ADAPTER"},
      {{L"set", L"7"}, L"too few"},
      {{L"adapters", L"7"}, L"too many arguments: \"7\""},
      {{L"get", L"7", L"--what-if"}, L"get does not take --what-if"},
      {{L"adapters", L"--bogus"}, L"no option --bogus"},
      {{L"adapters", L"--json=yes"}, L"--json takes no value"},
      {{L"adapters", L"--computer"}, L"--computer needs a value"},
      {{L"adapters", L"--computer", L"--json"}, L"--computer needs a value"},
      {{L"adapters", L"--computer", L"\\\\"}, L"--computer needs a value"},
      {{L"adapters", L"--namespace="}, L"--namespace needs a value"},
      {{L"vlan", L"7"}, L"no command \"vlan\""},
      {{L"vlan", L"add", L"7", L"--id", L"1"}, L"vlan add needs --name NAME\nusage: qvrnctl vlan add ADAPTER --id N"},
      {{L"vlan", L"remove", L"7/1", L"--id=1"}, L"vlan remove does not take --id"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    const ClientError error = ErrorOf([&] { ParseArguments(c.words, Commands()); });
    EXPECT_EQ(error.ExitStatus(), kExitWrongUsage);
    EXPECT_TRUE(Contains(error.Message(), c.message)) << testing::PrintToString(error.Message());
  }
}

// Whoever copies an example must not be told that it is wrong usage.
TEST(Arguments, HelpShowsAnExampleThatWorks) {
  for (const Command& command : Commands()) {
    const std::wstring help = CommandHelp(command);
    EXPECT_TRUE(Contains(help, std::wstring(L"example:\n  qvrnctl ") + command.example + L"\n"));
    const Arguments arguments = ParseArguments(SplitCommandLine(command.example), Commands());
    EXPECT_EQ(arguments.command, &command) << testing::PrintToString(std::wstring(command.example));
  }
}

// --- adapters ------------------------------------------------------------------------------------------------------

TEST(Errors, SayWhatToDoWhereThatIsKnown) {
  const struct {
    ClientError error;
    const wchar_t* message;
  } rows[] = {
      {ClassMissing(L"QvrnEN_VLAN", kNotFound),
       L"class QvrnEN_VLAN: WBEM_E_NOT_FOUND (0x80041002); the classes are not registered; in an elevated prompt, "
       L"repair the installation or run mofcomp on qvrnwmiprovider.mof"},
      {WmiFailed(L"query", static_cast<HRESULT>(WBEM_E_INVALID_CLASS)),
       L"query: WBEM_E_INVALID_CLASS (0x80041010); the classes are not registered; in an elevated prompt, repair the "
       L"installation or run mofcomp on qvrnwmiprovider.mof"},
      {WmiFailed(L"query", static_cast<HRESULT>(WBEM_E_PROVIDER_LOAD_FAILURE)),
       L"query: WBEM_E_PROVIDER_LOAD_FAILURE (0x80041013); the provider could not be loaded; in an elevated prompt, "
       L"repair the installation or run regsvr32 on qvrnwmiprovider.dll"},
      {WmiFailed(L"query", static_cast<HRESULT>(WBEM_E_ACCESS_DENIED)),
       L"query: WBEM_E_ACCESS_DENIED (0x80041003); run it as an administrator, in an elevated prompt"},
      {WmiFailed(L"query", static_cast<HRESULT>(0x80041024)), L"query: WBEM_E_PROVIDER_NOT_CAPABLE (0x80041024)"},
      {WmiFailed(L"query", E_FAIL), L"query: E_FAIL (0x80004005)"},
      {WmiFailed(L"query", static_cast<HRESULT>(0x80041FFFL)), L"query: 0x80041FFF"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.error.ExitStatus(), kExitFailed);
    EXPECT_EQ(row.error.Message(), row.message);
  }
}

TEST(Adapters, AreFoundByWhatNamesExactlyOne) {
  const std::vector<Adapter> adapters = {
      {L"7", L"Quorvane Ethernet", L"Storage", {}, {}},
      {L"12", L"Quorvane Ethernet", L"7 West", {}, {}},
      {L"13", L"Quorvane Ethernet #2", {}, {}, {}},
  };
  EXPECT_EQ(MatchAdapter(adapters, L"12").id, L"12");
  EXPECT_EQ(MatchAdapter(adapters, L"storage").id, L"7");
  EXPECT_EQ(MatchAdapter(adapters, L"QUORVANE ETHERNET #2").id, L"13");

  const ClientError ambiguous = ErrorOf([&] { MatchAdapter(adapters, L"Quorvane Ethernet"); });
  EXPECT_EQ(ambiguous.Message(),
            L"adapter \"Quorvane Ethernet\" is ambiguous: 7 \"Storage\" (Quorvane Ethernet), 12 \"7 West\" (Quorvane "
            L"Ethernet)");

  for (const wchar_t* unknown : {L"1", L"007", L"Stor", L""}) {
    const ClientError error = ErrorOf([&] { MatchAdapter(adapters, unknown); });
    EXPECT_EQ(error.Code(), kNotFound);
    EXPECT_TRUE(
        Contains(error.Message(), L"is not served by the provider: WBEM_E_NOT_FOUND (0x80041002); it serves 7 "))
        << testing::PrintToString(error.Message());
  }
  EXPECT_TRUE(Contains(ErrorOf([] { MatchAdapter({}, L"1"); }).Message(), L"it serves none"));
}

// --- properties ----------------------------------------------------------------------------------------------------

PropertyInfo Info(const wchar_t* name, const wchar_t* keyword) {
  PropertyInfo info;
  info.name = name;
  info.keyword = keyword;
  info.writable = true;
  info.least = 0;
  return info;
}

class Properties : public testing::Test {
 protected:
  Properties() {
    properties[0].text = properties[0].key = true;
    properties[0].writable = false;
    properties[1].namedValues = {{L"0", L"Disabled"}, {L"3", L"Rx and Tx"}};
    properties[2].most = 9014;
    properties[3].least.reset();
    for (std::size_t i = 0; i < properties.size(); ++i) states.push_back({properties[i], values[i]});
  }

  std::vector<Request> Ask(const Words& words) const { return ParseRequests(properties, words); }

  std::vector<PropertyState> With(std::size_t i, const Value& value) const {
    auto changed = states;
    changed[i].value = value;
    return changed;
  }

  std::vector<PropertyInfo> properties = {Info(L"SettingID", L""), Info(L"FlowControl", L"*FlowControl"),
                                          Info(L"MaxFrameSize", L"*JumboPacket"), Info(L"Offset", L"Offset"),
                                          Info(L"RssMode", L"*RSS")};
  const std::vector<Value> values = {Value(L"7"), Number(3), Number(1514), Number(5), Value()};
  std::vector<PropertyState> states;
};

TEST_F(Properties, RequestsAreReadByTheSchema) {
  const struct {
    const wchar_t* word;
    const wchar_t* name;
    std::int64_t value;
  } cases[] = {
      {L"maxframesize=9014", L"MaxFrameSize", 9014},   {L"FlowControl=rx AND tx", L"FlowControl", 3},
      {L"FlowControl=1", L"FlowControl", 1},           {L"Offset=-2147483648", L"Offset", -2147483648LL},
      {L"RssMode=2147483647", L"RssMode", 2147483647}, {L"RssMode=0001", L"RssMode", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.word)));
    const auto requests = Ask({c.word});
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].info.name, c.name);
    EXPECT_EQ(requests[0].value, Number(c.value));
  }
}

TEST_F(Properties, RequestsThatTheSchemaRefusesAreWrongUsage) {
  const struct {
    Words words;
    const wchar_t* message;
  } cases[] = {
      {{L"MaxFrameSize"}, L"not of the form PROPERTY=VALUE"},
      {{L"Speed=1"}, L"no property \"Speed\"; there are SettingID, FlowControl, MaxFrameSize, Offset, RssMode"},
      {{L"SettingID=8"}, L"SettingID cannot be set"},
      {{L"RssMode=1", L"rssmode=2"}, L"RssMode is given twice"},
      {{L"FlowControl=both"}, L"it takes a number, 0 or \"Disabled\", 3 or \"Rx and Tx\""},
      {{L"RssMode="}, L"it takes a number"},
      {{L"RssMode=-"}, L"it takes a number"},
      {{L"RssMode=1.5"}, L"it takes a number"},
      {{L"RssMode= 1"}, L"it takes a number"},
      {{L"RssMode=-1"}, L"it takes 0 to 2147483647"},
      {{L"MaxFrameSize=9015"}, L"it takes 0 to 9014"},
      {{L"Offset=2147483648"}, L"it takes -2147483648 to 2147483647"},
      {{L"Offset=99999999999999999999"}, L"it takes a number"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.words));
    const ClientError error = ErrorOf([&] { Ask(c.words); });
    EXPECT_EQ(error.ExitStatus(), kExitWrongUsage);
    EXPECT_TRUE(Contains(error.Message(), c.message)) << testing::PrintToString(error.Message());
  }
}

TEST_F(Properties, APropertyThatTheAdapterLacksCannotBeAskedFor) {
  EXPECT_NO_THROW(CheckSupported(states, Ask({L"FlowControl=0", L"Offset=1"})));
  EXPECT_EQ(ErrorOf([&] { CheckSupported(states, Ask({L"FlowControl=0", L"RssMode=1"})); }).ExitStatus(), kExitFailed);
}

TEST_F(Properties, EveryRequestAndEveryOtherChangeIsReported) {
  const struct {
    Words asked;
    std::size_t changed;  // which property is different after the put
    Value after;
    Words lines;
  } cases[] = {
      {{L"MaxFrameSize=9014"}, 2, Number(9014), {L"MaxFrameSize 1514 -> 9014"}},
      {{L"FlowControl=0"}, 1, Number(0), {L"FlowControl 3 (Rx and Tx) -> 0 (Disabled)"}},
      {{L"MaxFrameSize=4000"},
       2,
       Number(1514),
       {L"MaxFrameSize stays 1514: 4000 was not taken (outside the driver's range, or not among its values)"}},
      {{L"MaxFrameSize=4000"},
       2,
       Number(4088),
       {L"MaxFrameSize 1514 -> 4088: 4000 was not taken (outside the driver's range, or not among its values)"}},
      {{L"FlowControl=3"},
       2,
       Number(9014),
       {L"FlowControl is 3 (Rx and Tx) already", L"MaxFrameSize 1514 -> 9014 (not asked for)"}},
      {{L"FlowControl=3"},
       1,
       Number(0),
       {L"FlowControl 3 (Rx and Tx) -> 0 (Disabled): 3 was not taken (outside the driver's range, or not among its "
        L"values)"}},
      {{L"FlowControl=3"}, 3, Value(), {L"FlowControl is 3 (Rx and Tx) already", L"Offset 5 -> - (not asked for)"}},
  };
  for (const auto& c : cases) {
    Words lines;
    for (const Outcome& outcome : CompareStates(states, Ask(c.asked), With(c.changed, c.after))) {
      lines.push_back(FormatOutcome(outcome));
    }
    EXPECT_EQ(lines, c.lines);
  }
}

TEST_F(Properties, WhatIsForeseenIsWhatIsAskedForAndNothingElse) {
  const auto requests = Ask({L"MaxFrameSize=9014", L"FlowControl=3"});
  const auto outcomes = CompareStates(states, requests, Foresee(states, requests));
  ASSERT_EQ(outcomes.size(), 2U);
  EXPECT_EQ(outcomes[0].result, Result::kAlreadyThere);
  EXPECT_EQ(outcomes[1].result, Result::kChanged);
}

// Key and name of a value to its text.
using Registry = std::map<std::pair<std::wstring, std::wstring>, std::wstring>;

auto ReaderOf(const Registry& registry) {
  return [&registry](const std::wstring& where, const std::wstring& name) -> std::optional<std::wstring> {
    const auto found = registry.find({where, name});
    return found == registry.end() ? std::nullopt : std::optional(found->second);
  };
}

TEST_F(Properties, RewritesAreFoundWhereAnotherFormOfTheValueIsStored) {
  const std::wstring key = L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002BE10318}\\0007";
  const std::wstring parameter = key + L"\\Ndi\\config\\*FlowControl";
  const struct {
    const wchar_t* situation;
    const wchar_t* stored;  // null: not there
    const wchar_t* type;
    const wchar_t* allowed;
    Words asked;
    Words rewritten;  // stored and written
  } cases[] = {
      {L"another form", L"03", L"enum", L"3", {L"Offset=6"}, {L"03", L"3"}},
      {L"with a tail", L"3 ", L"enum", L"3", {L"Offset=6"}, {L"3 ", L"3"}},
      {L"the canonical form", L"3", L"enum", L"3", {L"Offset=6"}, {}},
      {L"only the odd form is allowed", L"03", L"enum", L"03", {L"Offset=6"}, {}},
      {L"a range", L"03", L"int", L"3", {L"Offset=6"}, {}},
      {L"adapted on the way", L"6", L"enum", L"3", {L"Offset=6"}, {}},
      {L"asked for", L"03", L"enum", L"3", {L"FlowControl=0"}, {}},
      {L"not stored", nullptr, L"enum", L"3", {L"Offset=6"}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(c.situation)));
    Registry registry = {{{parameter, L"type"}, c.type}, {{parameter + L"\\Enum", c.allowed}, L"Rx and Tx"}};
    if (c.stored != nullptr) registry[{key, L"*FlowControl"}] = c.stored;
    Words rewritten;
    for (const Rewrite& rewrite : FindRewrites(L"7", states, Ask(c.asked), ReaderOf(registry))) {
      EXPECT_EQ(rewrite.property, L"FlowControl");
      rewritten.insert(rewritten.end(), {rewrite.stored, rewrite.written});
    }
    EXPECT_EQ(rewritten, c.rewritten);
  }
}

TEST_F(Properties, RefusalsAreFoundWhereTheDriverDoesNotTakeAValue) {
  const std::wstring configuration =
      L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4D36E972-E325-11CE-BFC1-08002BE10318}\\0012\\Ndi\\config\\";
  const Registry registry = {
      {{configuration + L"*JumboPacket", L"type"}, L"int"},    {{configuration + L"*JumboPacket", L"min"}, L"1515"},
      {{configuration + L"*JumboPacket", L"max"}, L"9000"},    {{configuration + L"*FlowControl", L"type"}, L"enum"},
      {{configuration + L"*FlowControl\\Enum", L"0"}, L"Off"}, {{configuration + L"Offset", L"min"}, L"6"},
  };
  const struct {
    Words asked;
    Words refusals;
  } cases[] = {
      {{L"MaxFrameSize=9000", L"FlowControl=0"}, {}},
      {{L"MaxFrameSize=1515"}, {}},
      {{L"MaxFrameSize=9001"}, {L"MaxFrameSize cannot be 9001: the driver takes 1515 to 9000"}},
      {{L"MaxFrameSize=1513", L"FlowControl=1"},
       {L"MaxFrameSize cannot be 1513: the driver takes 1515 to 9000",
        L"FlowControl cannot be 1: it is not among the driver's values: 0 (Off)"}},
      {{L"MaxFrameSize=1514", L"FlowControl=3"}, {}},  // what is there already is no question
      {{L"Offset=4"}, {}},                             // neither a range nor a list is declared
  };
  for (const auto& c : cases) EXPECT_EQ(FindRefusals(L"12", states, Ask(c.asked), ReaderOf(registry)), c.refusals);
}

// --- output --------------------------------------------------------------------------------------------------------

TEST(Output, ColumnsAreAsWideAsTheirCharacters) {
  EXPECT_EQ(FormatTable({{L"ID", L"NAME", L"GUID"},
                         {L"7", L"Büro", L"{1}"},
                         {L"8", L"Bu\u0308ro", L"{2}"},    // a combining mark
                         {L"9", L"\u4E8B\u52D9", L"{3}"},  // two columns each
                         {L"10", L"\uFF76\uFF9E", L"{4}"},
                         {L"11", L"\u304B\u3099", L"{5}"},
                         {L"12", L"\U0001F600", L"{6}"},
                         {L"13", L"\U00020000" + std::wstring(1, wchar_t(0xD83D)), L""}}),
            L"ID  NAME  GUID\n"
            L"7   Büro  {1}\n"
            L"8   Bu\u0308ro  {2}\n"
            L"9   \u4E8B\u52D9  {3}\n"
            L"10  \uFF76\uFF9E    {4}\n"
            L"11  \u304B\u3099    {5}\n"
            L"12  \U0001F600    {6}\n"
            L"13  \U00020000" +
                std::wstring(1, wchar_t(0xD83D)) + L"\n");
}

TEST(Output, JsonIsEscapedSoThatAnyTextComesBack) {
  const struct {
    Value value;
    const wchar_t* json;
  } cases[] = {
      {Value(), L"null"},
      {Number(-2147483648LL), L"-2147483648"},
      {Value(L""), L"\"\""},
      {Value(L"a\"b\\c"), L"\"a\\\"b\\\\c\""},
      {Value(L"\n\t\x1f"), L"\"\\u000a\\u0009\\u001f\""},
      {Value(L"ü\U0001F600"), L"\"ü\U0001F600\""},
      {Value(std::wstring{wchar_t(0xD83D), L'x', wchar_t(0xDE00)}), L"\"\\ud83dx\\ude00\""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(FormatJson({{{L"v", c.value}}}), L"[\n  {\"v\": " + std::wstring(c.json) + L"}\n]\n");
  }
  EXPECT_EQ(FormatJson({}), L"[]\n");
  EXPECT_EQ(FormatJson({{{L"a", Number(1)}, {L"b", {}}}, {{L"a", Number(2)}, {L"b", L"x"}}}),
            L"[\n  {\"a\": 1, \"b\": null},\n  {\"a\": 2, \"b\": \"x\"}\n]\n");
}

}  // namespace
}  // namespace qvrn
