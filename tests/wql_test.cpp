#include "lab/wmi/wql.h"

#include <gtest/gtest.h>

#include "lab/schema/mofreader.h"
#include "lab/wmi/classobject.h"

namespace {

using lab::ParseQuery;

TEST(ParseQuery, UnderstandsEveryServedForm) {
  const struct {
    const wchar_t* text;
    std::vector<std::wstring> properties;
    std::wstring conditionProperty;  ///< empty for no condition
    std::wstring value;
  } rows[] = {
      {L"  select\t* from X  ", {}, L"", L""},
      {L"SELECT a,b , __PATH FROM X", {L"a", L"b", L"__PATH"}, L"", L""},
      {L"SELECT * FROM X WHERE Name = 'it\\'s'", {}, L"Name", L"it's"},
      {L"SELECT * FROM X where Name=\"C:\\\\a 'b' \x263A\"", {}, L"Name", L"C:\\a 'b' \x263A"},
      {L"SELECT * FROM X WHERE Index = 3", {}, L"Index", L"3"},
      {L"SELECT from FROM X WHERE where = true", {L"from"}, L"where", L"true"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
    const auto query = ParseQuery(row.text);
    ASSERT_TRUE(query);
    EXPECT_EQ(query->properties, row.properties);
    EXPECT_EQ(query->className, L"X");
    ASSERT_EQ(query->condition.has_value(), !row.conditionProperty.empty());
    if (!query->condition) continue;
    EXPECT_EQ(query->condition->property, row.conditionProperty);
    EXPECT_EQ(query->condition->value, row.value);
  }
}

TEST(ParseQuery, RefusesEverythingElse) {
  for (const wchar_t* row :
       {L"", L"SELECT FROM X", L"SELECT * X", L"SELECT * FROM", L"SELECT a, FROM X", L"SELECT *, a FROM X",
        L"SELECT * FROM X Y", L"SELECT * FROM X WHERE", L"SELECT * FROM X WHERE a = b",
        L"SELECT * FROM X WHERE a = 'open", L"SELECT * FROM X WHERE a = 12x", L"SELECT * FROM X WHERE a <> 1",
        L"SELECT * FROM X WHERE a = 1 AND b = 2", L"ASSOCIATORS OF {X.a=1}"}) {
    EXPECT_FALSE(ParseQuery(row)) << testing::PrintToString(std::wstring(row));
  }
}

TEST(Matches, ComparesByTheValueNotItsType) {
  lab::Schema schema;
  lab::ReadMof("class Thing { string Name = \"Halvex\"; sint32 Size = 7; boolean Up = TRUE; string NoName; };",
               "test.mof", schema);
  const auto thing = lab::MakeInstance(schema.Find(L"Thing"));
  const struct {
    const wchar_t* condition;
    bool expected;
  } rows[] = {{L"Name = 'halvex'", true}, {L"Name = 'Halve'", false},  {L"size = 7", true},
              {L"Size = '7'", true},      {L"Size = 0x7", true},       {L"Size = 70", false},
              {L"Up = TRUE", true},       {L"Up = FALSE", false},      {L"NoName = ''", false},
              {L"Absent = 1", false},     {L"__CLASS = 'Thing'", true}};
  for (const auto& row : rows) {
    const auto query = ParseQuery(std::wstring(L"SELECT * FROM Thing WHERE ") + row.condition);
    EXPECT_EQ(lab::Matches(*query->condition, thing.Get()), row.expected)
        << testing::PrintToString(std::wstring(row.condition));
  }
}

}  // namespace
