#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <variant>
#include <vector>

#include "lab/schema/schema.h"

namespace lab {
namespace {

Schema Read(const std::string& text) {
  Schema schema;
  ReadMof(text, "test.mof", schema);
  return schema;
}

// A provider that serves Base, Pair and Tool, in the manner of a product's registration file.
constexpr char kRegistration[] = R"mof(
#pragma autorecover
#pragma classflags("forceupdate")
#pragma namespace("\\\\.\\root\\cimv2")
/* The provider
   and its registrations. */
instance of __Win32Provider as $P
{
  Name = "Some";
  CLSID = "{22CB8761-914A-11CF-B705-00AA0062CBB7}";
  ImpersonationLevel = 1;
};
instance of __InstanceProviderRegistration { provider = $P; SupportsPut = TRUE; };
instance of __MethodProviderRegistration { provider = $P; };

[dynamic, provider("Some"), Description("Two " "literals") : amended tosubclass]
class Base
{
  [key, read] string Id;  // a comment with "quotes"
  [read, write, MinValue(-1), MaxValue(0x10), ValueMap{"0", "1"}, Values{"Off", "On"}] sint32 Mode = 1;
  uint8 Bytes[] = {1, 2, NULL};
  [implemented, static] uint32 Save([in, ID(1)] string sFile, [in, out, id(0)] sint32 Level = 3);
  void Reset();
};
[dynamic, provider("Some")]
class Derived : Base
{
  [Units("ms")] sint32 Mode = 0;
  boolean Extra;
};
[Association, dynamic, provider("Some")]
class Pair
{
  [key] Base REF Left;
  [key] Derived ref Right;
};
)mof";

using Names = std::vector<std::wstring>;

Names NamesOf(const std::vector<Property>& properties) {
  Names names;
  for (const Property& property : properties) names.push_back(property.name);
  return names;
}

TEST(MofReader, ReadsClassesAndRegistrations) {
  const Schema schema = Read(std::string(kRegistration) + "class Third : Derived {};");
  const auto base = schema.Find(L"BASE");
  const auto derived = schema.Find(L"Derived");
  const auto third = schema.Find(L"Third");
  ASSERT_TRUE(base != nullptr && derived != nullptr && third != nullptr);
  EXPECT_EQ(L"Some", base->Provider());
  EXPECT_EQ(Value(L"Two literals"), FindQualifier(base->qualifiers, L"description")->value);
  EXPECT_EQ(Value(std::int64_t{16}), FindQualifier(base->Find(L"Mode")->qualifiers, L"maxvalue")->value);
  EXPECT_EQ((Names{L"Id", L"Mode", L"Bytes", L"Extra"}), NamesOf(derived->properties));
  EXPECT_TRUE(derived->Find(L"Mode")->Has(L"write")) << "an override keeps inherited qualifiers";
  EXPECT_EQ(Value(std::int64_t{0}), derived->Find(L"Mode")->initial);
  EXPECT_EQ((Names{L"Derived", L"Base"}), third->derivation);
  EXPECT_EQ(L"Base", third->Find(L"Id")->origin);
  EXPECT_EQ(L"Derived", schema.Find(L"Pair")->Find(L"Right")->reference);

  const Method* save = derived->FindMethod(L"save");
  ASSERT_TRUE(save != nullptr && save->in != nullptr && save->out != nullptr);
  EXPECT_EQ((Names{L"Level", L"sFile"}), NamesOf(save->in->properties)) << "in the order of the ids";
  EXPECT_EQ((Names{L"Level", L"ReturnValue"}), NamesOf(save->out->properties));
  EXPECT_EQ(nullptr, base->FindMethod(L"Reset")->in);

  EXPECT_EQ(L"{22CB8761-914A-11CF-B705-00AA0062CBB7}", schema.ProviderClassId(L"some"));
  ASSERT_EQ(3u, schema.instances.size());
  EXPECT_EQ(LR"(__InstanceProviderRegistration.provider="__Win32Provider.Name=\"Some\"")", schema.instances[1].path);
  EXPECT_EQ(Value(L"$P"), schema.instances[1].values.front().second);
}

TEST(MofReader, ReadsLiterals) {
  const struct {
    const char* declaration;
    Value expected;
  } cases[] = {
      {R"(string P = "a\\b\"c\n\t\r\x41\x263Az")", L"a\\b\"c\n\t\rA\x263Az"},
      {"string P = \"caf\xC3\xA9 \" /* in between */ \"// no comment\"", L"caf\x00E9 // no comment"},
      {"datetime P = \"00000001******.******:000\"", L"00000001******.******:000"},
      {"boolean P = True", true},
      {"uint32 P = 0xFFFFFFFF", std::int64_t{4294967295}},
      {"sint64 P = -9223372036854775808", std::numeric_limits<std::int64_t>::min()},
      {"real64 P = -2.5e-1", -0.25},
      {"string P[] = {\"a\", NULL}", std::vector<Scalar>{L"a", std::monostate()}},
  };
  for (const auto& [declaration, expected] : cases) {
    SCOPED_TRACE(declaration);
    const Schema schema = Read(std::string("class C { ") + declaration + "; };");
    EXPECT_EQ(expected, schema.classes.front()->properties.front().initial);
  }
}

// A text that is refused; a caret stands before the place that the error names.
struct Refusal {
  const char* marked;
  const char* message;  ///< a part of it
};

// Takes the caret out and gives its place as the error's beginning.
std::string TakePlace(std::string& text) {
  const std::size_t caret = text.find('^');
  text.erase(caret, 1);
  const auto line = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(caret), '\n') + 1;
  const std::size_t start = line == 1 ? 0 : text.rfind('\n', caret - 1) + 1;
  return "test.mof:" + std::to_string(line) + ":" + std::to_string(caret - start + 1) + ": ";
}

void ExpectRefusal(const Refusal& refusal, Schema schema = Read("class Known { string Name; };")) {
  SCOPED_TRACE(refusal.marked);
  std::string text = refusal.marked;
  const std::string place = TakePlace(text);
  const std::size_t classes = schema.classes.size();
  try {
    ReadMof(text, "test.mof", schema);
    ADD_FAILURE() << "was read";
  } catch (const MofError& error) {
    const std::string message = error.what();
    EXPECT_EQ(place, message.substr(0, place.size())) << message;
    EXPECT_NE(std::string::npos, message.find(refusal.message)) << message;
  }
  EXPECT_EQ(classes, schema.classes.size()) << "a refused file changed the schema";
}

TEST(MofReader, RefusesWhatItDoesNotUnderstandAndBrokenClasses) {
  const Refusal cases[] = {
      {"^clas C {};", "expected 'class'"},
      {"class C ^@ {};", "unexpected character '@'"},
      {"class C { string P; }\n^", "expected ';' instead of the file's end"},
      {"class C {};\n  ^/* class D {};", "comment without end"},
      {"class C { string P = ^\"abc; };", "string without end"},
      {"class C { string P = \"^\\q\"; };", "unknown escape"},
      {"class C { sint32 P = ^12ab; };", "'12ab' is no number"},
      {"class C { sint64 P = ^9223372036854775808; };", "is no number that fits"},
      {"class C { ^strin P; };", "unknown type 'strin'"},
      {"class C { void P^; };", "expected '('"},
      {"class C { void M([in] ^void P); };", "only a method may be void"},
      {"class C { [^kee] string P; };", "unknown qualifier 'kee'"},
      {"#pragma ^include(\"other.mof\")", "unknown pragma 'include'"},
      {"#pragma namespace(^\"root\\\\default\")", "is not root\\cimv2"},
      {"#pragma classflags(^\"force\")", "unknown class flag 'force'"},
      {"^class C { [Description(\"caf\xE9\")] string P; };", "neither UTF-8 nor UTF-16"},
      // Classes that make no sense.
      {"class ^KNOWN {};", "is declared twice"},
      {"class C : ^Unknown {};", "unknown superclass 'Unknown'"},
      {"class C { string P; sint32 ^p; };", "property 'p' is declared twice"},
      {"class C : Known { sint32 ^Name; };", "has another type than in the superclass"},
      {"class C { [read, ^Read] string P; };", "is given twice"},
      {"class C { ^Unknown REF P; };", "unknown class 'Unknown'"},
      {"class C { sint32 P = ^\"1\"; };", "'P' has a value of another type"},
      {"class C { uint8 P = ^256; };", "out of range"},
      {"class C { string P[] = ^{\"a\", 1}; };", "of another type"},
      {"class C { datetime P = ^\"2026-11-21\"; };", "of another type"},
      {"class C { [^static] string P; };", "does not belong here"},
      {"class C { [ValueMap{\"0\", \"1\"}, ^Values{\"Off\"}] sint32 P; };", "differ in length"},
      {"[Association] class ^C { [key] Known REF A; [key] string B; };", "needs two references"},
      {"class C { void M(string ^P); };", "neither 'in' nor 'out'"},
      {"class C { void ^M([in, ID(0)] string P, [in] string Q); };", "to all parameters or to none"},
      {"class C { void ^M([in, ID(0)] string P, [in, ID(2)] string Q); };", "do not run from 0"},
  };
  for (const Refusal& refusal : cases) ExpectRefusal(refusal);
}

TEST(MofReader, RefusesBrokenRegistrations) {
  const std::string withMethod = "[dynamic, provider(\"Bare\")] class ^C { [key] string K; void M(); };";
  const std::string bare = R"(instance of __Win32Provider as $B { Name = "Bare"; CLSID = "{0}"; };)";
  const std::string served = bare + "instance of __InstanceProviderRegistration { provider = $B; };";
  const std::string noRegistration = bare + withMethod;
  const std::string noMethods = served + withMethod;
  const Refusal cases[] = {
      {"[dynamic, provider(\"None\")] class ^C { [key] string K; };", "is named by no instance of __Win32Provider"},
      {"[dynamic] class ^C { [key] string K; };", "names no provider"},
      {"[provider(\"Some\")] class ^C { [key] string K; };", "is not dynamic"},
      {"[dynamic, provider(\"Some\")] class ^C { string P; };", "has no key"},
      {noRegistration.c_str(), "is not registered for instances"},
      {noMethods.c_str(), "is not registered for methods"},
      {"instance of ^__Win32Provder { Name = \"X\"; };", "unknown class"},
      {"instance of ^__Win32Provider { Name = \"X\"; };", "lacks a value for 'CLSID'"},
      {"instance of __MethodProviderRegistration { provider = ^$X; };", "unknown alias '$X'"},
      {"instance of Known as $K {}; instance of __MethodProviderRegistration { provider = ^$K; };", "is no reference"},
      {"instance of Known { Name = \"a\"; ^name = \"b\"; };", "is given twice"},
      {"instance of __Win32Provider { ^HostModel = \"x\"; };", "is not declared by class '__Win32Provider'"},
      {"instance of __Win32Provider { Pure = ^\"TRUE\"; };", "of another type"},
      {"#pragma deleteclass(^\"Unknown\")", "there is no 'Unknown' to delete"},
      {"#pragma deleteclass(\"Known\", ^maybe)", "expected 'fail' or 'nofail'"},
      {"#pragma deleteinstance(^\"__Win32Provider.Name=\\\"Other\\\"\", FAIL)", "to delete"},
  };
  Schema registered = Read(kRegistration);
  ReadMof("class Known { string Name; };", "known.mof", registered);
  for (const Refusal& refusal : cases) ExpectRefusal(refusal, registered);
}

TEST(MofReader, ReadsFilesByTheirByteOrderMark) {
  const std::string utf8 = "class C { string P = \"\xC3\xA9\"; };";
  std::string little = "\xFF\xFE";
  std::string big = "\xFE\xFF";
  for (const wchar_t character : std::wstring(L"class C { string P = \"\x00E9\"; };")) {
    little.append({static_cast<char>(character), '\0'});
    big.append({'\0', static_cast<char>(character)});
  }
  const std::wstring path = std::filesystem::temp_directory_path() / "mofreader_test.mof";
  for (const std::string& bytes : {utf8, "\xEF\xBB\xBF" + utf8, little, big}) {
    std::ofstream(path.c_str(), std::ios::binary) << bytes;
    Schema schema;
    ASSERT_NO_THROW(ReadMofFile(path, schema)) << testing::PrintToString(bytes);
    EXPECT_EQ(Value(L"\x00E9"), schema.classes.front()->properties.front().initial);
  }
  ::DeleteFileW(path.c_str());
  Schema schema;
  EXPECT_THROW(ReadMofFile(path, schema), MofError);
}

}  // namespace
}  // namespace lab
