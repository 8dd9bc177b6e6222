#include "lab/wql.h"

#include <gtest/gtest.h>

#include "lab/classobject.h"
#include "platform/comtext.h"

namespace {

using lab::ParseQuery;
using lab::Scalar;

struct Accepted {
  const wchar_t* text;
  std::vector<std::wstring> properties;
  std::wstring className;
  std::wstring conditionProperty;  ///< empty for no condition
  Scalar value;
};

TEST(ParseQuery, UnderstandsEveryServedForm) {
  const Accepted rows[] = {
      {L"SELECT * FROM Win32_NetworkAdapter", {}, L"Win32_NetworkAdapter", L"", {}},
      {L"  select\t* from X  ", {}, L"X", L"", {}},
      {L"SELECT a,b , __PATH FROM _X1", {L"a", L"b", L"__PATH"}, L"_X1", L"", {}},
      {L"SELECT * FROM X WHERE Name = 'it\\'s'", {}, L"X", L"Name", std::wstring(L"it's")},
      {L"SELECT * FROM X where Name=\"C:\\\\a 'b'\"", {}, L"X", L"Name", std::wstring(L"C:\\a 'b'")},
      {L"SELECT * FROM X WHERE Name=''", {}, L"X", L"Name", std::wstring()},
      {L"SELECT * FROM X WHERE Index = 12", {}, L"X", L"Index", std::int64_t{12}},
      {L"SELECT * FROM X WHERE Index = -3", {}, L"X", L"Index", std::int64_t{-3}},
      {L"SELECT * FROM X WHERE Load = 2.5", {}, L"X", L"Load", 2.5},
      {L"SELECT * FROM X WHERE Up = true", {}, L"X", L"Up", true},
      {L"SELECT * FROM X WHERE Up = FALSE", {}, L"X", L"Up", false},
      {L"SELECT from FROM X WHERE where = 1", {L"from"}, L"X", L"where", std::int64_t{1}},
  };
  for (const Accepted& row : rows) {
    SCOPED_TRACE(testing::PrintToString(std::wstring(row.text)));
    const auto query = ParseQuery(row.text);
    ASSERT_TRUE(query);
    EXPECT_EQ(query->properties, row.properties);
    EXPECT_EQ(query->className, row.className);
    ASSERT_EQ(query->condition.has_value(), !row.conditionProperty.empty());
    if (!query->condition) continue;
    EXPECT_EQ(query->condition->property, row.conditionProperty);
    EXPECT_TRUE(query->condition->value == row.value);
  }
}

TEST(ParseQuery, RefusesEverythingElse) {
  const wchar_t* const rows[] = {
      L"",
      L"SELECT",
      L"SELECT FROM X",
      L"SELECT * X",
      L"SELECT * FROM",
      L"SELECT a, FROM X",
      L"SELECT *, a FROM X",
      L"SELECT * FROM X Y",
      L"SELECT * FROM X WHERE",
      L"SELECT * FROM X WHERE a",
      L"SELECT * FROM X WHERE a = b",
      L"SELECT * FROM X WHERE a = 'open",
      L"SELECT * FROM X WHERE a = 'open\\",
      L"SELECT * FROM X WHERE a = 12x",
      L"SELECT * FROM X WHERE a = 99999999999999999999x",
      L"SELECT * FROM X WHERE a <> 1",
      L"SELECT * FROM X WHERE a = 1 AND b = 2",
      L"SELECT * FROM X WHERE a ISA 'Y'",
      L"ASSOCIATORS OF {X.a=1}",
      L"SELECT * FROM X;",
  };
  for (const wchar_t* row : rows) EXPECT_FALSE(ParseQuery(row)) << testing::PrintToString(std::wstring(row));
}

class QueryOverObject : public testing::Test {
 protected:
  void SetUp() override {
    auto definition = std::make_shared<lab::ClassDefinition>();
    definition->name = L"Thing";
    for (const auto& [name, type] : {std::pair(L"Name", CIM_STRING), std::pair(L"Size", CIM_SINT32),
                                     std::pair(L"Total", CIM_UINT64), std::pair(L"Up", CIM_BOOLEAN)}) {
      lab::Property property;
      property.name = name;
      property.type = type;
      definition->properties.push_back(property);
    }
    m_thing = lab::MakeInstance(definition);
  }

  void Put(const wchar_t* name, const VARIANT& value) {
    VARIANT copy = value;
    ASSERT_EQ(m_thing->Put(name, 0, &copy, 0), WBEM_S_NO_ERROR);
  }

  Microsoft::WRL::ComPtr<IWbemClassObject> m_thing;
};

TEST_F(QueryOverObject, ComparesByTheValueNotItsType) {
  const qvrn::Variant name(L"Halvex");
  const qvrn::Variant total(L"5000000000");
  const qvrn::Variant size(LONG{7});
  VARIANT up = {};
  up.vt = VT_BOOL;
  up.boolVal = VARIANT_TRUE;
  Put(L"Name", *name.Get());
  Put(L"Total", *total.Get());
  Put(L"Size", *size.Get());
  Put(L"Up", up);

  const struct {
    const wchar_t* condition;
    bool expected;
  } rows[] = {{L"Name = 'halvex'", true},    {L"Name = 'Halve'", false},   {L"Size = 7", true},
              {L"Size = '7'", true},         {L"Size = 7.0", true},        {L"Size = 70", false},
              {L"Total = 5000000000", true}, {L"Up = TRUE", true},         {L"Up = FALSE", false},
              {L"size = 7", true},           {L"__CLASS = 'Thing'", true}, {L"Absent = 1", false},
              {L"__CLASS = 'Other'", false}};
  for (const auto& row : rows) {
    const auto query = ParseQuery(std::wstring(L"SELECT * FROM Thing WHERE ") + row.condition);
    ASSERT_TRUE(query) << testing::PrintToString(std::wstring(row.condition));
    EXPECT_EQ(lab::Matches(*query->condition, m_thing.Get()), row.expected)
        << testing::PrintToString(std::wstring(row.condition));
  }
}

TEST_F(QueryOverObject, NullMatchesNothing) {
  for (const wchar_t* condition : {L"Name = ''", L"Size = 0", L"Up = FALSE"}) {
    const auto query = ParseQuery(std::wstring(L"SELECT * FROM Thing WHERE ") + condition);
    EXPECT_FALSE(lab::Matches(*query->condition, m_thing.Get())) << testing::PrintToString(std::wstring(condition));
  }
}

TEST_F(QueryOverObject, KnowsWhichPropertiesThereAre) {
  const struct {
    const wchar_t* query;
    bool expected;
  } rows[] = {{L"SELECT * FROM Thing", true},
              {L"SELECT name, SIZE, __RELPATH FROM Thing WHERE up = TRUE", true},
              {L"SELECT Name, Colour FROM Thing", false},
              {L"SELECT * FROM Thing WHERE Colour = 1", false},
              {L"SELECT __COLOUR FROM Thing", false}};
  for (const auto& row : rows) {
    EXPECT_EQ(lab::NamesKnownProperties(*ParseQuery(row.query), m_thing.Get()), row.expected)
        << testing::PrintToString(std::wstring(row.query));
  }
}

}  // namespace
