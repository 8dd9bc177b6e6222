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

// The caret stands before the place that the error names.
TEST(MofReader, RefusesWithItsPlace) {
  const struct {
    const char* marked;
    const char* message;  ///< a part of it
  } rows[] = {
      {"^clas C {};", "expected 'class'"},
      {"class C { string P; }\n^", "expected ';' instead of the file's end"},
      {"class C { sint32 P = ^017; };", "no number that fits"},
      {"class C { uint16 P = ^65536; };", "out of range"},
      {"class C { [^kee] string P; };", "unknown qualifier 'kee'"},
      {"class C { string P; ^sint32 p; };", "'p' is declared twice"},
      {"class C { sint32 M(^string P); };", "not one of 'in' and 'out'"},
      {"class C { sint32 M([in] string P, ^[in, ID(2)] string Q); };", "do not run from 0"},
      {"[dynamic, provider(\"Some\")] class ^C { string P; };", "has no key"},
      {"[dynamic, provider(\"None\")] class ^C { [key] string K; };", "no instance of __Win32Provider"},
      {"[dynamic, provider(\"Bare\")] class ^C { [key] string K; };", "is not registered for instances"},
      {"instance of __Win32Provider { ^HostModel = \"x\"; };", "does not declare 'HostModel'"},
      {"instance of __MethodProviderRegistration { provider = ^$X; };", "does not name what the property takes"},
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

}  // namespace
}  // namespace lab
