#include "lab/schema/mofreader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "lab/modulepath.h"

namespace lab {
namespace {

Schema Platform() {
  Schema schema;
  ReadMofFile(ModuleFolder() + L"platform.mof", schema);
  return schema;
}

std::vector<std::wstring> Everything(const Schema& schema) {
  std::vector<std::wstring> names;
  for (const auto& definition : schema.classes) names.push_back(definition->name);
  for (const InstanceDefinition& instance : schema.instances) names.push_back(instance.path);
  return names;
}

constexpr char kRegistration[] = R"mof(#pragma autorecover
instance of __Win32Provider as $P { Name = "Some"; CLSID = "{0}"; };
instance of __Win32Provider { Name = "Bare"; CLSID = "{1}"; };
instance of __InstanceProviderRegistration { provider = $P; SupportsPut = TRUE; };
instance of __MethodProviderRegistration { provider = $P; };
class Known { [key] string Name; };
)mof";

TEST(MofReader, ReadsClassesAndRegistrations) {
  Schema schema = Platform();
  ReadMof(std::string(kRegistration) + R"mof(
[dynamic, provider("Some"), Description("Two \\ \"quoted\" " // in between
  "literals")]
class Base
{
  [key, MinValue(0x10), Values{"Off", "On"}] string Id;
  uint32 Level = 4294967295;
  Known REF Other;
  [implemented] uint32 Save([in, ID(0)] string sFile, [out, ID(1)] sint32 Size);
};)mof",
          "test.mof", schema);
  const auto base = schema.Find(L"BASE");
  ASSERT_NE(base, nullptr);
  EXPECT_EQ(base->Provider(), L"Some");
  EXPECT_EQ(FindQualifier(base->qualifiers, L"description")->value, Value(L"Two \\ \"quoted\" literals"));
  const Property& id = *base->FindKey();
  EXPECT_EQ(FindQualifier(id.qualifiers, L"MinValue")->value, Value(std::int64_t{16}));
  EXPECT_EQ(FindQualifier(id.qualifiers, L"Values")->value, Value(std::vector<std::wstring>{L"Off", L"On"}));
  EXPECT_EQ(base->Find(L"level")->initial, Value(std::int64_t{4294967295}));
  EXPECT_EQ(base->Find(L"Other")->reference, L"Known");
  const Method& save = *base->FindMethod(L"save");
  EXPECT_NE(save.in->Find(L"sFile"), nullptr);
  EXPECT_NE(save.out->Find(L"Size"), nullptr);
  EXPECT_NE(save.out->Find(L"ReturnValue"), nullptr);
  EXPECT_EQ(schema.ProviderClassId(L"some"), L"{0}");
  const InstanceDefinition* const registration = schema.FindRegistration(L"__InstanceProviderRegistration", L"SOME");
  ASSERT_NE(registration, nullptr);
  EXPECT_EQ(registration->path, LR"(__InstanceProviderRegistration.provider="__Win32Provider.Name=\"Some\"")");
  EXPECT_EQ(registration->values.at(L"SupportsPut"), Value(true));
  EXPECT_EQ(registration->values.at(L"SupportsGet"), Value(false)) << "what the platform's class says";
}

// The caret stands before the place that the error names.
TEST(MofReader, RefusesWithItsPlace) {
  const struct {
    const char* marked;
    const char* message;  ///< a part of it
  } rows[] = {
      {"^clas C {};", "expected 'class'"},
      {"class C { string P; }\n^", "expected ';' instead of the file's end"},
      {"class C {}; // a comment\n  ^/* class D {}; */", "expected 'class'"},
      {"class C { string P = ^\"abc; };\n", "without an end"},
      {"class C { string P = ^\"\\q\"; };", "unknown escape"},
      {"class C { sint32 P = ^12ab; };", "no number that fits"},
      {"class C { sint32 P = ^017; };", "no number that fits"},
      {"class C { uint16 P = ^65536; };", "out of range"},
      {"class C { ^strin P; };", "unknown class 'strin'"},
      {"class C { [^kee] string P; };", "unknown qualifier 'kee'"},
      {"class C { [^static] string P; };", "does not belong here"},
      {"class C { [key^(FALSE)] string P; };", "expected ']'"},
      {"class C { [Values^(\"1\")] string P; };", "expected '{'"},
      {"class ^KNOWN {};", "declared twice"},
      {"class C { string P; ^sint32 p; };", "'p' is declared twice"},
      {"class C { sint32 M(^string P); };", "not one of 'in' and 'out'"},
      {"class C { sint32 M([in] string P, ^[in, ID(2)] string Q); };", "do not run from 0"},
      {"[dynamic, provider(\"Some\")] class ^C { string P; };", "has no key"},
      {"[dynamic, provider(\"None\")] class ^C { [key] string K; };", "no instance of __Win32Provider"},
      {"[dynamic, provider(\"Bare\")] class ^C { [key] string K; };", "is not registered for instances"},
      {"instance of ^__Win32Provider { CLSID = \"{1}\"; };", "no value for its key"},
      {"instance of __Win32Provider { ^HostModel = \"x\"; };", "does not declare 'HostModel'"},
      {"instance of __MethodProviderRegistration { provider = ^$X; };", "does not name what the property takes"},
      {"#pragma ^include(\"other.mof\")", "unknown pragma"},
      {"#pragma namespace(^\"root\\\\default\")", "not root\\cimv2"},
      {"^class C { [Description(\"caf\xE9\")] string P; };", "not plain ASCII"},
  };
  Schema schema = Platform();
  ReadMof(kRegistration, "known.mof", schema);
  const auto before = Everything(schema);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.marked);
    std::string text = row.marked;
    const std::size_t caret = text.find('^');
    text.erase(caret, 1);
    const std::string ahead = text.substr(0, caret);
    const auto line = std::count(ahead.begin(), ahead.end(), '\n') + 1;
    const std::size_t column = caret - (line == 1 ? 0 : ahead.rfind('\n') + 1) + 1;
    const std::string place = "test.mof:" + std::to_string(line) + ":" + std::to_string(column) + ": ";
    try {
      ReadMof(text, "test.mof", schema);
      ADD_FAILURE() << "was read";
    } catch (const MofError& error) {
      const std::string message = error.what();
      EXPECT_EQ(message.substr(0, place.size()), place) << message;
      EXPECT_NE(message.find(row.message), std::string::npos) << message;
    }
    EXPECT_EQ(Everything(schema), before) << "a refused file changed the schema";
  }
  EXPECT_THROW(ReadMofFile(ModuleFolder() + L"no such file", schema), MofError);
}

TEST(MofReader, TheRemovalFileLeavesNothingOfTheRegistrationHoweverOftenItIsRead) {
  Schema schema = Platform();
  const auto before = Everything(schema);
  ReadMofFile(ModuleFolder() + L"qvrnwmiprovider.mof", schema);
  ASSERT_EQ(Everything(schema).size(), before.size() + 6);
  for (int time = 0; time < 2; ++time) {
    ReadMofFile(ModuleFolder() + L"qvrnwmiprovider-uninstall.mof", schema);
    EXPECT_EQ(Everything(schema), before);
  }
}

}  // namespace
}  // namespace lab
