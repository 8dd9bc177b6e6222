#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "lab/modulepath.h"
#include "lab/schema/schema.h"

namespace lab {
namespace {

std::vector<std::wstring> Paths(const Schema& schema) {
  std::vector<std::wstring> paths;
  for (const auto& definition : schema.classes) paths.push_back(definition->name);
  for (const InstanceDefinition& instance : schema.instances) paths.push_back(instance.path);
  return paths;
}

TEST(RemovalFile, LeavesNothingOfTheRegistrationHoweverOftenItIsRead) {
  const std::wstring removal = ModuleFolder() + L"qvrnwmiprovider-uninstall.mof";
  Schema schema;
  ReadMofFile(ModuleFolder() + L"platform.mof", schema);
  const auto before = Paths(schema);
  ReadMofFile(ModuleFolder() + L"qvrnwmiprovider.mof", schema);
  ASSERT_GT(Paths(schema).size(), before.size());
  for (int time = 0; time < 2; ++time) {
    ASSERT_NO_THROW(ReadMofFile(removal, schema));
    EXPECT_EQ(Paths(schema), before);
  }
  std::ifstream file(removal.c_str());
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(text.find("autorecover"), std::string::npos) << "a new repository would remove what the registration makes";
}

}  // namespace
}  // namespace lab
