#include "lab/wmi/objectpathtext.h"

#include <windows.h>

#include <gtest/gtest.h>

namespace {

using lab::MatchNamespace;
using lab::NamespaceMatch;
using lab::ParseObjectPath;

TEST(ParseObjectPath, TakesPathsApart) {
  const struct {
    const wchar_t* space;
    const wchar_t* relative;
    bool isInstance;
  } rows[] = {
      {L"", L"Thing", false},
      {L"\\\\host.lan\\root\\cimv2", L"Thing", false},
      {L"root\\cimv2", L"Thing.Id=7", true},
      {L"", L"Thing=\"7\"", true},
      {L"", L"Thing.A=\"a:b,c.d=\",B=2", true},
      {L"", L"Thing.E=\"N.D=\\\"7\\\"\",P=\"C:\\\\x\"", true},
  };
  for (const auto& row : rows) {
    const std::wstring space = row.space;
    SCOPED_TRACE(testing::PrintToString(space + row.relative));
    const auto path = ParseObjectPath(space.empty() ? row.relative : space + L":" + row.relative);
    ASSERT_TRUE(path);
    EXPECT_EQ(path->space, space);
    EXPECT_EQ(path->relative, row.relative);
    EXPECT_EQ(path->className, L"Thing");
    EXPECT_EQ(path->isInstance, row.isInstance);
  }
}

TEST(ParseObjectPath, RefusesBrokenPaths) {
  for (const wchar_t* text : {L"", L"root\\cimv2:", L".Id=7", L"Thing.", L"Thing.Id", L"Thing.Id=", L"Thing.Id=\"7",
                              L"Thing.Id=\"7\"x", L"Thing.Id=7,", L"Two words"}) {
    EXPECT_FALSE(ParseObjectPath(text)) << testing::PrintToString(std::wstring(text));
  }
}

TEST(MatchNamespace, KnowsTheUsualSpellings) {
  wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1];
  DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
  ASSERT_TRUE(::GetComputerNameW(computer, &length));
  for (const std::wstring& ours : {std::wstring(), std::wstring(L"ROOT/CimV2"), std::wstring(L"//./root/cimv2"),
                                   L"\\\\" + std::wstring(computer) + L"\\root\\cimv2"}) {
    EXPECT_EQ(MatchNamespace(ours), NamespaceMatch::kOurs) << testing::PrintToString(ours);
  }
  for (const wchar_t* other : {L"root", L"root\\default", L"\\\\.\\root\\cimv2x"}) {
    EXPECT_EQ(MatchNamespace(other), NamespaceMatch::kOtherNamespace) << other;
  }
  EXPECT_EQ(MatchNamespace(L"\\\\another-machine\\root\\cimv2"), NamespaceMatch::kOtherComputer);
}

}  // namespace
