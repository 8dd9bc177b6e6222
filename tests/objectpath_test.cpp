#include "tools/wmi/qvrnwmiprovider/objectpath.h"

#include <gmock/gmock.h>

#include <string>

#include "lab/wmi/classobject.h"
#include "tests/support/hresult.h"

namespace {

TEST(ObjectPath, AClassNameStandsBetweenTheLastColonAndTheFirstDot) {
  const std::pair<const wchar_t*, const wchar_t*> rows[] = {
      {L"\\\\HOST\\root\\ns:QvrnEN_VLAN.DeviceID=\"3\"", L"QvrnEN_VLAN"},
      {L"QvrnEN_VLAN", L"QvrnEN_VLAN"},
      {L"a:b:c.d:e", L"c"},
      {L"\\\\a.example\\root:Class.Key=\"1\"", L"\\\\a"},
      {L"root:", nullptr},
      {L"root:.Key=\"1\"", nullptr},
      {L"", nullptr},
  };
  for (const auto& [path, expected] : rows) {
    wchar_t name[64] = L"poison";
    EXPECT_HRESULT(expected == nullptr ? E_FAIL : S_OK, qvrn::ClassNameFromPath(path, name, 64)) << path;
    EXPECT_STREQ(name, expected == nullptr ? L"" : expected);
  }
  wchar_t name[4] = {};
  EXPECT_HRESULT(E_INVALIDARG, qvrn::ClassNameFromPath(nullptr, name, 4));
  EXPECT_HRESULT(E_INVALIDARG, qvrn::ClassNameFromPath(L"abc", nullptr, 4));
  EXPECT_HRESULT(S_OK, qvrn::ClassNameFromPath(L"abc", name, 4));
  EXPECT_HRESULT(E_FAIL, qvrn::ClassNameFromPath(L"abcd", name, 4));
}

TEST(ObjectPath, AnInstanceTellsTheSizeOfItsClassNameFirst) {
  auto definition = std::make_shared<lab::ClassDefinition>();
  definition->name = L"Some_Class";
  const auto instance = lab::MakeInstance(definition);
  std::size_t size = 0;
  ASSERT_HRESULT(S_OK, qvrn::ClassNameOfInstance(instance.Get(), nullptr, &size));
  ASSERT_EQ(size, 11u);
  wchar_t name[11] = {};
  size = 10;
  EXPECT_HRESULT(S_OK, qvrn::ClassNameOfInstance(instance.Get(), name, &size));
  EXPECT_STREQ(name, L"") << "one too small";
  EXPECT_HRESULT(S_OK, qvrn::ClassNameOfInstance(instance.Get(), name, &size));
  EXPECT_STREQ(name, L"Some_Class");
  EXPECT_HRESULT(S_OK, qvrn::ClassNameOfInstance(nullptr, nullptr, nullptr));
  EXPECT_HRESULT(E_FAIL, qvrn::ClassNameOfInstance(instance.Get(), nullptr, nullptr));
}

TEST(ObjectPath, AKeyStandsBetweenTheFirstTwoQuotes) {
  const std::wstring longest(254, L'9');
  const std::wstring fits = L"C.K=\"" + longest + L"\"";
  const std::wstring cut = L"C.K=\"9" + longest + L"\"";
  const struct {
    const wchar_t* path;
    const wchar_t* key;
    const wchar_t* className;
  } rows[] = {
      {L"Class.A=\"1\",B=\"2\"", L"1", L"Class"}, {L"Class.SettingID=\"7.5\"", L"7", L"Class"},
      {L"Class=\"7\"", L"7", L"Class=\"7"},       {L"Class.SettingID=\"\"", L"", L"Class"},
      {L"Class.SettingID=7", nullptr, L"Class"},  {L"Class.SettingID=\"7", nullptr, L"Class"},
      {fits.c_str(), longest.c_str(), L"C"},      {cut.c_str(), nullptr, L"C"},
  };
  for (const auto& row : rows) {
    const qvrn::QuotedKeyPath path(row.path);
    EXPECT_STREQ(path.Key(), row.key) << row.path;
    EXPECT_STREQ(path.ClassName(), row.className) << row.path;
  }
}

TEST(ObjectPath, ReferenceDigitsStandBehindTheSecondEqualSign) {
  const std::wstring digits(260, L'1');
  const std::pair<std::wstring, std::wstring> rows[] = {
      {L"A.B=\"C.D=\\\"12\\\"\",E=\"F.G=\\\"34\\\"\"", L"12"},
      {L"A.B=\"C.D=\\\"/x0y9:\\\"\"", L"09"},
      {L"A.B=\"C.D=12\"", L""},
      {L"A.B=\"C.D=\"12=34\"\"", L"1234"},
      {L"A.B=\"12\"", L""},
      {L"", L""},
      {L"==\"" + digits, digits.substr(3)},
  };
  for (const auto& [path, expected] : rows)
    EXPECT_EQ(std::wstring(qvrn::ReferenceDigits(path.c_str()).Text()), expected) << ::testing::PrintToString(path);
}

}  // namespace
