#include "lab/wmi/wql.h"

#include <gtest/gtest.h>

#include "lab/wmi/classobject.h"
#include "platform/comtext.h"

namespace {

using lab::ParseQuery;
using lab::Scalar;

TEST(ParseQuery, UnderstandsEveryServedForm) {
  const struct {
    const wchar_t* text;
    std::vector<std::wstring> properties;
    std::wstring conditionProperty;  ///< empty for no condition
    Scalar value;
  } rows[] = {
      {L"  select\t* from X  ", {}, L"", {}},
      {L"SELECT a,b , __PATH FROM X", {L"a", L"b", L"__PATH"}, L"", {}},
      {L"SELECT * FROM X WHERE Name = 'it\\'s'", {}, L"Name", std::wstring(L"it's")},
      {L"SELECT * FROM X where Name=\"C:\\\\a 'b'\"", {}, L"Name", std::wstring(L"C:\\a 'b'")},
      {L"SELECT * FROM X WHERE Name=''", {}, L"Name", std::wstring()},
      {L"SELECT * FROM X WHERE Index = -3", {}, L"Index", std::int64_t{-3}},
      {L"SELECT * FROM X WHERE Load = 2.5", {}, L"Load", 2.5},
      {L"SELECT * FROM X WHERE Up = true", {}, L"Up", true},
      {L"SELECT from FROM X WHERE where = 1", {L"from"}, L"where", std::int64_t{1}},
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
    EXPECT_TRUE(query->condition->value == row.value);
  }
}

TEST(ParseQuery, RefusesEverythingElse) {
  for (const wchar_t* row :
       {L"", L"SELECT", L"SELECT FROM X", L"SELECT * X", L"SELECT * FROM", L"SELECT a, FROM X", L"SELECT *, a FROM X",
        L"SELECT * FROM X Y", L"SELECT * FROM X WHERE", L"SELECT * FROM X WHERE a", L"SELECT * FROM X WHERE a = b",
        L"SELECT * FROM X WHERE a = 'open", L"SELECT * FROM X WHERE a = 'open\\", L"SELECT * FROM X WHERE a = 12x",
        L"SELECT * FROM X WHERE a <> 1", L"SELECT * FROM X WHERE a = 1 AND b = 2", L"ASSOCIATORS OF {X.a=1}"}) {
    EXPECT_FALSE(ParseQuery(row)) << testing::PrintToString(std::wstring(row));
  }
}

TEST(Matches, ComparesByTheValueNotItsType) {
  lab::Schema schema;
  lab::ReadMof(
      "class Thing { string Name = \"Halvex\"; sint32 Size = 7; uint64 Total = 5000000000; boolean Up = TRUE; "
      "string NoName; sint32 NoSize; };",
      "test.mof", schema);
  const auto thing = lab::MakeInstance(schema.Find(L"Thing"));
  const struct {
    const wchar_t* condition;
    bool expected;
  } rows[] = {{L"Name = 'halvex'", true},    {L"Name = 'Halve'", false}, {L"Size = 7", true},
              {L"Size = '7'", true},         {L"Size = 7.0", true},      {L"Size = 70", false},
              {L"Total = 5000000000", true}, {L"Up = TRUE", true},       {L"Up = FALSE", false},
              {L"size = 7", true},           {L"Absent = 1", false},     {L"__CLASS = 'Thing'", true},
              {L"NoName = ''", false},       {L"NoSize = 0", false}};
  for (const auto& row : rows) {
    const auto query = ParseQuery(std::wstring(L"SELECT * FROM Thing WHERE ") + row.condition);
    EXPECT_EQ(lab::Matches(*query->condition, thing.Get()), row.expected)
        << testing::PrintToString(std::wstring(row.condition));
  }
}

}  // namespace
