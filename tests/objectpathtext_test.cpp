#include "lab/objectpathtext.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace {

using lab::MatchNamespace;
using lab::NamespaceMatch;
using lab::ParseObjectPath;

using Keys = std::vector<std::pair<std::wstring, std::wstring>>;

TEST(ParseObjectPath, TakesPathsApart) {
  const struct {
    const wchar_t* text;
    const wchar_t* space;
    const wchar_t* relative;
    const wchar_t* className;
    Keys keys;
    bool isInstance;
  } rows[] = {
      {L"Thing", L"", L"Thing", L"Thing", {}, false},
      {L"\\\\host.lan\\root\\cimv2:Thing", L"\\\\host.lan\\root\\cimv2", L"Thing", L"Thing", {}, false},
      {L"root\\cimv2:Thing.Id=7", L"root\\cimv2", L"Thing.Id=7", L"Thing", {{L"Id", L"7"}}, true},
      {L"Thing=\"7\"", L"", L"Thing=\"7\"", L"Thing", {{L"", L"7"}}, true},
      {L"Thing=@", L"", L"Thing=@", L"Thing", {}, true},
      {L"Thing.A=\"a:b,c.d=\",B=2",
       L"",
       L"Thing.A=\"a:b,c.d=\",B=2",
       L"Thing",
       {{L"A", L"a:b,c.d="}, {L"B", L"2"}},
       true},
      {L"T.E=\"N.D=\\\"7\\\"\"", L"", L"T.E=\"N.D=\\\"7\\\"\"", L"T", {{L"E", L"N.D=\"7\""}}, true},
      {L"T.P=\"C:\\\\x\"", L"", L"T.P=\"C:\\\\x\"", L"T", {{L"P", L"C:\\x"}}, true},
      {L"T.P=\"\"", L"", L"T.P=\"\"", L"T", {{L"P", L""}}, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
    const auto path = ParseObjectPath(row.text);
    ASSERT_TRUE(path);
    EXPECT_EQ(path->space, row.space);
    EXPECT_EQ(path->relative, row.relative);
    EXPECT_EQ(path->className, row.className);
    EXPECT_EQ(path->keys, row.keys);
    EXPECT_EQ(path->isInstance, row.isInstance);
  }
}

TEST(ParseObjectPath, RefusesBrokenPaths) {
  for (const wchar_t* text : {L"", L"root\\cimv2:", L".Id=7", L"Thing.", L"Thing.Id", L"Thing.Id=", L"Thing.Id=\"7",
                              L"Thing.Id=\"7\\", L"Thing.Id=\"7\"x", L"Thing.Id=7,", L"Two words", L"Thing=\"7\"\""}) {
    EXPECT_FALSE(ParseObjectPath(text)) << testing::PrintToString(std::wstring(text));
  }
}

TEST(MatchNamespace, KnowsTheUsualSpellings) {
  wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
  ASSERT_TRUE(::GetComputerNameW(computer, &length));
  const struct {
    std::wstring name;
    NamespaceMatch expected;
  } rows[] = {
      {L"", NamespaceMatch::kOurs},
      {L"root\\cimv2", NamespaceMatch::kOurs},
      {L"ROOT/CimV2", NamespaceMatch::kOurs},
      {L"\\\\.\\root\\cimv2", NamespaceMatch::kOurs},
      {L"//./root/cimv2", NamespaceMatch::kOurs},
      {L"\\\\LOCALHOST\\root\\cimv2", NamespaceMatch::kOurs},
      {std::wstring(L"\\\\") + computer + L"\\root\\cimv2", NamespaceMatch::kOurs},
      {L"root", NamespaceMatch::kOtherNamespace},
      {L"root\\default", NamespaceMatch::kOtherNamespace},
      {L"\\\\.\\root\\cimv2x", NamespaceMatch::kOtherNamespace},
      {L"\\\\another-machine\\root\\cimv2", NamespaceMatch::kOtherComputer},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(MatchNamespace(row.name), row.expected) << testing::PrintToString(row.name);
  }
}

}  // namespace
