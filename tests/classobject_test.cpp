#include "lab/wmi/classobject.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/comtext.h"
#include "tests/support/hresult.h"

namespace lab {
namespace {

using Microsoft::WRL::ComPtr;
using Names = std::vector<std::wstring>;

constexpr char kClasses[] = R"mof(
class Parent
{
  [key] string Id;
  [key] uint32 Number;
};
class Thing : Parent
{
  sint32 Mode = 7;
  uint16 Half; sint16 Short; uint8 Byte; sint64 Big; uint64 Huge;
  boolean Flag; string Text; datetime Time; real32 Ratio; Parent REF Other; uint8 Bytes[];
  [implemented, static] uint32 Save([in] string sFile, [out] string sResult);
};
class Plain { string Text; };
)mof";

std::shared_ptr<const ClassDefinition> Defined(const wchar_t* name) {
  static const Schema schema = [] {
    Schema read;
    ReadMof(kClasses, "classes.mof", read);
    return read;
  }();
  return schema.Find(name);
}

constexpr wchar_t kNull[] = L"(null)";

std::wstring TextOf(IWbemClassObject* object, const wchar_t* name) {
  qvrn::Variant value;
  if (FAILED(object->Get(name, 0, value.Put(), nullptr, nullptr))) return L"(failed)";
  if (value.Get()->vt == VT_NULL) return kNull;
  return value.IsText() ? value.Text() : std::to_wstring(value.Integer());
}

HRESULT PutText(IWbemClassObject* object, const wchar_t* name, const wchar_t* text) {
  qvrn::Variant value(text);
  return object->Put(name, 0, value.Get(), 0);
}

HRESULT PutNumber(IWbemClassObject* object, const wchar_t* name, LONG number) {
  qvrn::Variant value(number);
  return object->Put(name, 0, value.Get(), 0);
}

// Names of the properties of its class, as an enumeration gives them.
Names NamesOf(IWbemClassObject* object) {
  Names names;
  EXPECT_HRESULT(S_OK, object->BeginEnumeration(WBEM_FLAG_NONSYSTEM_ONLY));
  qvrn::Bstr name;
  HRESULT hr = S_OK;
  while ((hr = object->Next(0, name.Put(), nullptr, nullptr, nullptr)) == S_OK) names.emplace_back(name.Get());
  EXPECT_HRESULT(WBEM_S_NO_MORE_DATA, hr);
  return names;
}

// Every test ends with as many objects as it began with.
class ClassObjectTest : public testing::Test {
 protected:
  void TearDown() override {
    m_thing.Reset();
    EXPECT_EQ(m_alive, LiveClassObjects());
  }

  const long m_alive = LiveClassObjects();
  ComPtr<IWbemClassObject> m_thing = MakeInstance(Defined(L"Thing"));
};

TEST_F(ClassObjectTest, PutTakesWhatTheTypeCanHold) {
  const HRESULT mismatch = WBEM_E_TYPE_MISMATCH;
  const struct {
    const wchar_t* property;
    VARTYPE given;
    LONG number;
    HRESULT expected;
    VARTYPE stored;
  } cases[] = {
      {L"Mode", VT_I4, -5, S_OK, VT_I4},           {L"Mode", VT_I2, -5, S_OK, VT_I4},
      {L"Mode", VT_UI1, 5, S_OK, VT_I4},           {L"Mode", VT_BSTR, 5, mismatch, VT_I4},
      {L"Mode", VT_R8, 5, mismatch, VT_I4},        {L"Mode", VT_BOOL, 1, mismatch, VT_I4},
      {L"Number", VT_I4, -1, S_OK, VT_I4},         {L"Number", VT_I2, -1, mismatch, VT_NULL},
      {L"Half", VT_I4, 65535, S_OK, VT_I4},        {L"Half", VT_I4, 65536, mismatch, VT_NULL},
      {L"Half", VT_I4, -1, mismatch, VT_NULL},     {L"Short", VT_I2, -2, S_OK, VT_I2},
      {L"Short", VT_I4, 40000, mismatch, VT_NULL}, {L"Byte", VT_UI1, 200, S_OK, VT_UI1},
      {L"Byte", VT_I4, 200, S_OK, VT_UI1},         {L"Byte", VT_I4, 256, mismatch, VT_NULL},
      {L"Big", VT_BSTR, -5, S_OK, VT_BSTR},        {L"Big", VT_I4, -5, S_OK, VT_BSTR},
      {L"Huge", VT_BSTR, -5, mismatch, VT_NULL},   {L"Flag", VT_BOOL, 1, S_OK, VT_BOOL},
      {L"Flag", VT_I4, 1, mismatch, VT_NULL},      {L"Text", VT_BSTR, 1, S_OK, VT_BSTR},
      {L"Text", VT_I4, 1, mismatch, VT_NULL},      {L"Time", VT_BSTR, 20261121, mismatch, VT_NULL},
      {L"Ratio", VT_R8, 2, S_OK, VT_R4},           {L"Ratio", VT_I4, 2, S_OK, VT_R4},
      {L"Bytes", VT_UI1, 2, mismatch, VT_NULL},    {L"Other", VT_BSTR, 2, S_OK, VT_BSTR},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(&row - cases);
    m_thing = MakeInstance(Defined(L"Thing"));
    qvrn::Variant number(row.number);
    qvrn::Variant value;
    qvrn::Variant read;
    qvrn::Variant back;
    ASSERT_HRESULT(S_OK, ::VariantChangeType(value.Get(), number.Get(), 0, row.given));
    EXPECT_HRESULT(row.expected, m_thing->Put(row.property, 0, value.Get(), 0));
    ASSERT_HRESULT(S_OK, m_thing->Get(row.property, 0, read.Put(), nullptr, nullptr));
    EXPECT_EQ(row.stored, read.Get()->vt);
    if (FAILED(row.expected)) continue;
    ASSERT_HRESULT(S_OK, ::VariantChangeType(back.Get(), read.Get(), 0, row.given));
    EXPECT_HRESULT(VARCMP_EQ, ::VarCmp(value.Get(), back.Get(), LOCALE_INVARIANT, 0));
  }
}

TEST_F(ClassObjectTest, ValuesComeAndGoByTheDeclaration) {
  qvrn::Variant text(L"x");
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, m_thing->Get(L"Nothing", 0, nullptr, nullptr, nullptr));
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, PutText(m_thing.Get(), L"Nothing", L"x"));
  EXPECT_HRESULT(WBEM_E_READ_ONLY, PutText(m_thing.Get(), L"__CLASS", L"x"));
  EXPECT_HRESULT(WBEM_E_TYPE_MISMATCH, m_thing->Put(L"Text", 0, text.Get(), CIM_SINT32));
  EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, m_thing->Put(L"Text", 0, nullptr, 0));
  EXPECT_EQ(kNull, TextOf(m_thing.Get(), L"Text"));
  EXPECT_HRESULT(S_OK, m_thing->Put(L"Text", 0, text.Get(), CIM_STRING));
  EXPECT_EQ(L"x", TextOf(m_thing.Get(), L"text"));

  EXPECT_EQ(L"7", TextOf(m_thing.Get(), L"MODE"));
  for (const VARTYPE type : {VT_NULL, VT_EMPTY}) {
    ASSERT_HRESULT(S_OK, PutNumber(m_thing.Get(), L"Mode", 9));
    qvrn::Variant nothing;
    nothing.Get()->vt = type;
    EXPECT_HRESULT(S_OK, m_thing->Put(L"Mode", 0, nothing.Get(), 0));
    EXPECT_EQ(kNull, TextOf(m_thing.Get(), L"Mode"));
  }
  EXPECT_HRESULT(WBEM_S_RESET_TO_DEFAULT, m_thing->Delete(L"Mode"));
  EXPECT_EQ(L"7", TextOf(m_thing.Get(), L"Mode"));
}

TEST_F(ClassObjectTest, PathsQuoteTextsAndNeedEveryKey) {
  const struct {
    const wchar_t* id;
    LONG number;
    const wchar_t* path;
  } cases[] = {
      {nullptr, 3, kNull},
      {L"", 0, LR"(Thing.Id="",Number=0)"},
      {LR"("q" \ ')", -1, LR"(Thing.Id="\"q\" \\ '",Number=4294967295)"},
      {L"a.b:c", 3, LR"(Thing.Id="a.b:c",Number=3)"},
  };
  for (const auto& row : cases) {
    if (row.id != nullptr) PutText(m_thing.Get(), L"Id", row.id);
    PutNumber(m_thing.Get(), L"Number", row.number);
    EXPECT_EQ(row.path, TextOf(m_thing.Get(), L"__RELPATH"));
  }
  EXPECT_TRUE(TextOf(m_thing.Get(), L"__PATH").ends_with(LR"(\root\cimv2:Thing.Id="a.b:c",Number=3)"));
  EXPECT_EQ(kNull, TextOf(MakeInstance(Defined(L"Plain")).Get(), L"__PATH"));
  EXPECT_EQ(L"Thing", TextOf(MakeClassObject(Defined(L"Thing")).Get(), L"__RELPATH"));
}

TEST_F(ClassObjectTest, MethodsBelongToTheClass) {
  const ComPtr<IWbemClassObject> thingClass = MakeClassObject(Defined(L"Thing"));
  ComPtr<IWbemClassObject> in;
  ComPtr<IWbemClassObject> out;
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, thingClass->GetMethod(L"Load", 0, &in, &out));
  ASSERT_HRESULT(S_OK, thingClass->GetMethod(L"save", 0, &in, &out));
  EXPECT_EQ(Names{L"sFile"}, NamesOf(in.Get()));
  EXPECT_EQ((Names{L"sResult", L"ReturnValue"}), NamesOf(out.Get()));
  EXPECT_HRESULT(WBEM_E_ILLEGAL_OPERATION, m_thing->GetMethod(L"Save", 0, &in, &out));
}

}  // namespace
}  // namespace lab
