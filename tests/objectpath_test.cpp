#include "tools/wmi/qvrnwmiprovider/objectpath.h"

#include <gmock/gmock.h>

#include <string>

#include "lab/wmi/classobject.h"
#include "lab/wmi/wbemhost.h"
#include "platform/comtext.h"
#include "tests/support/hresult.h"

namespace {

TEST(ClassNameFromPath, EndsAtTheFirstDotAndStartsBehindTheLastColonBeforeIt) {
  const struct {
    const wchar_t* path;
    HRESULT result;
    const wchar_t* name;
  } rows[] = {
      {L"\\\\HOST\\root\\ns:QvrnEN_VLAN.DeviceID=\"3\"", S_OK, L"QvrnEN_VLAN"},
      {L"QvrnEN_VLAN.DeviceID=\"3\"", S_OK, L"QvrnEN_VLAN"},
      {L"QvrnEN_VLAN", S_OK, L"QvrnEN_VLAN"},
      {L"a:b:c.d:e", S_OK, L"c"},
      {L"Class.Key=\"x:y.z\"", S_OK, L"Class"},
      {L"\\\\a.example\\root:Class.Key=\"1\"", S_OK, L"\\\\a"},
      {L"root:", E_FAIL, L""},
      {L"root:.Key=\"1\"", E_FAIL, L""},
      {L".", E_FAIL, L""},
      {L"", E_FAIL, L""},
  };
  for (const auto& row : rows) {
    wchar_t name[64] = L"poison";
    EXPECT_HRESULT(row.result, qvrn::ClassNameFromPath(row.path, name, 64)) << row.path;
    EXPECT_EQ(std::wstring(name), row.name) << row.path;
  }
}

TEST(ClassNameFromPath, RefusesNullAndABufferThatIsTooSmall) {
  wchar_t name[4] = {};
  EXPECT_HRESULT(E_INVALIDARG, qvrn::ClassNameFromPath(nullptr, name, 4));
  EXPECT_HRESULT(E_INVALIDARG, qvrn::ClassNameFromPath(L"abc", nullptr, 4));
  EXPECT_HRESULT(S_OK, qvrn::ClassNameFromPath(L"abc", name, 4));
  EXPECT_HRESULT(E_FAIL, qvrn::ClassNameFromPath(L"abcd", name, 4));
}

TEST(ClassNameOfInstance, ReportsTheSizeFirstAndCopiesThen) {
  auto definition = std::make_shared<lab::ClassDefinition>();
  definition->name = L"Some_Class";
  const auto instance = lab::MakeInstance(definition);
  std::size_t size = 0;
  ASSERT_HRESULT(S_OK, qvrn::ClassNameOfInstance(instance.Get(), nullptr, &size));
  ASSERT_EQ(size, 11u);
  wchar_t name[11] = {};
  size = 10;
  EXPECT_HRESULT(S_OK, qvrn::ClassNameOfInstance(instance.Get(), name, &size));
  EXPECT_EQ(std::wstring(name), L"") << "copied into a buffer that is one too small";
  EXPECT_HRESULT(S_OK, qvrn::ClassNameOfInstance(instance.Get(), name, &size));
  EXPECT_EQ(std::wstring(name), L"Some_Class");
  EXPECT_HRESULT(S_OK, qvrn::ClassNameOfInstance(nullptr, nullptr, nullptr));
  EXPECT_HRESULT(E_FAIL, qvrn::ClassNameOfInstance(instance.Get(), nullptr, nullptr));
}

TEST(QuotedKeyPath, ReadsBetweenTheFirstTwoQuotes) {
  const std::wstring longKey(300, L'9');
  const std::wstring cut = L"C.K=\"" + longKey + L"\"";
  const struct {
    const wchar_t* path;
    const wchar_t* key;
    const wchar_t* className;
  } rows[] = {
      {L"Class.SettingID=\"7\"", L"7", L"Class"},
      {L"Class.Whatever=\"7\"", L"7", L"Class"},
      {L"Class.SettingID=\"7.5\"", L"7", L"Class"},
      {L"Class=\"7\"", L"7", L"Class=\"7"},
      {L"Class.SettingID=\"\"", L"", L"Class"},
      {L"Class.A=\"1\",B=\"2\"", L"1", L"Class"},
      {L"Class.SettingID=7", nullptr, L"Class"},
      {L"Class.SettingID=\"7", nullptr, L"Class"},
      {L"", nullptr, L""},
      {cut.c_str(), nullptr, L"C"},
  };
  for (const auto& row : rows) {
    const qvrn::QuotedKeyPath path(row.path);
    ASSERT_EQ(path.Key() == nullptr, row.key == nullptr) << row.path;
    if (row.key != nullptr) {
      EXPECT_EQ(std::wstring(path.Key()), row.key) << row.path;
    }
    EXPECT_EQ(std::wstring(path.ClassName()), row.className) << row.path;
  }
}

}  // namespace
