#include "lab/classobject.h"

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
[Description("A thing."), Locale(1033)]
class Thing : Parent
{
  [read, write, Units("ms"), Values{"Off", "On"}] sint32 Mode = 7;
  uint16 Half; sint16 Short; uint8 Byte; char16 Letter; sint64 Big; uint64 Huge;
  boolean Flag; string Text; datetime Time; real32 Ratio; Parent REF Other;
  string Words[] = {"a", "b"}; uint8 Bytes[];
  [implemented, static] uint32 Save([in] string sFile, [out] string sResult);
  void Reset();
};
class Plain { string Text; };
[singleton] class Only {};
)mof";

std::shared_ptr<const ClassDefinition> Defined(const wchar_t* name) {
  static const Schema schema = [] {
    Schema read;
    ReadMof(kClasses, "classes.mof", read);
    return read;
  }();
  return schema.Find(name);
}

// Every test ends with as many objects as it began with.
class ClassObjectTest : public testing::Test {
 protected:
  void SetUp() override { m_alive = LiveClassObjects(); }
  void TearDown() override { EXPECT_EQ(m_alive, LiveClassObjects()); }

 private:
  long m_alive = 0;
};

constexpr wchar_t kNull[] = L"(null)";

std::wstring TextOf(IWbemClassObject* object, const wchar_t* name) {
  qvrn::Variant value;
  const HRESULT hr = object->Get(name, 0, value.Put(), nullptr, nullptr);
  if (FAILED(hr)) return L"(failed)";
  if (value.Get()->vt == VT_NULL) return kNull;
  return value.IsText() ? value.Text() : L"(no text)";
}

LONG NumberOf(IWbemClassObject* object, const wchar_t* name) {
  qvrn::Variant value;
  EXPECT_HRESULT(S_OK, object->Get(name, 0, value.Put(), nullptr, nullptr));
  EXPECT_TRUE(value.IsInteger());
  return value.Integer();
}

HRESULT PutText(IWbemClassObject* object, const wchar_t* name, const wchar_t* text) {
  qvrn::Variant value(text);
  return object->Put(name, 0, value.Get(), 0);
}

HRESULT PutNumber(IWbemClassObject* object, const wchar_t* name, LONG number) {
  qvrn::Variant value(number);
  return object->Put(name, 0, value.Get(), 0);
}

// Takes an array that a method gave out.
Names TakeTexts(SAFEARRAY* array) {
  qvrn::Variant owner;
  owner.Get()->vt = VT_ARRAY | VT_BSTR;
  owner.Get()->parray = array;
  LONG last = -1;
  ::SafeArrayGetUBound(array, 1, &last);
  Names texts;
  for (LONG index = 0; index <= last; ++index) {
    qvrn::Bstr text;
    ::SafeArrayGetElement(array, &index, text.Put());
    texts.emplace_back(text.Get());
  }
  return texts;
}

Names NamesOf(IWbemClassObject* object, LONG flags, const wchar_t* qualifier = nullptr) {
  SAFEARRAY* names = nullptr;
  EXPECT_HRESULT(S_OK, object->GetNames(qualifier, flags, nullptr, &names));
  return TakeTexts(names);
}

TEST_F(ClassObjectTest, InstancesBeginWithInitialValues) {
  const ComPtr<IWbemClassObject> thing = MakeInstance(Defined(L"Thing"));
  EXPECT_EQ(7, NumberOf(thing.Get(), L"MODE"));
  EXPECT_EQ(kNull, TextOf(thing.Get(), L"Text"));
  qvrn::Variant words;
  CIMTYPE type = -1;
  LONG flavor = -1;
  ASSERT_HRESULT(S_OK, thing->Get(L"Words", 0, words.Put(), &type, &flavor));
  EXPECT_EQ(VT_ARRAY | VT_BSTR, words.Get()->vt);
  EXPECT_EQ(CIM_STRING | CIM_FLAG_ARRAY, type);
  EXPECT_EQ(WBEM_FLAVOR_ORIGIN_LOCAL, flavor);
  ASSERT_HRESULT(S_OK, thing->Get(L"Id", 0, nullptr, nullptr, &flavor));
  EXPECT_EQ(WBEM_FLAVOR_ORIGIN_PROPAGATED, flavor);
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, thing->Get(L"Modes", 0, nullptr, nullptr, nullptr));
  EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, thing->Get(nullptr, 0, nullptr, nullptr, nullptr));
}

// A VARIANT with some value for each type that clients send.
void Fill(VARTYPE type, LONGLONG number, qvrn::Variant& value) {
  qvrn::Variant wide;
  wide.Get()->vt = VT_I8;
  wide.Get()->llVal = number;
  ASSERT_HRESULT(S_OK, ::VariantChangeType(value.Get(), wide.Get(), 0, type));
}

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
    SCOPED_TRACE(testing::Message() << testing::PrintToString(row.property) << " from variant type " << row.given
                                    << ", number " << row.number);
    const ComPtr<IWbemClassObject> thing = MakeInstance(Defined(L"Thing"));
    qvrn::Variant value;
    Fill(row.given, row.number, value);
    EXPECT_HRESULT(row.expected, thing->Put(row.property, 0, value.Get(), 0));
    qvrn::Variant read;
    ASSERT_HRESULT(S_OK, thing->Get(row.property, 0, read.Put(), nullptr, nullptr));
    EXPECT_EQ(row.stored, read.Get()->vt);
    if (FAILED(row.expected)) continue;
    qvrn::Variant back;
    ASSERT_HRESULT(S_OK, ::VariantChangeType(back.Get(), read.Get(), 0, row.given));
    EXPECT_HRESULT(VARCMP_EQ, ::VarCmp(value.Get(), back.Get(), LOCALE_INVARIANT, 0));
  }
}

TEST_F(ClassObjectTest, PutKeepsToTheDeclaration) {
  const ComPtr<IWbemClassObject> thing = MakeInstance(Defined(L"Thing"));
  qvrn::Variant text(L"x");
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, PutText(thing.Get(), L"Nothing", L"x"));
  EXPECT_HRESULT(WBEM_E_READ_ONLY, PutText(thing.Get(), L"__CLASS", L"x"));
  EXPECT_HRESULT(WBEM_E_TYPE_MISMATCH, thing->Put(L"Text", 0, text.Get(), CIM_SINT32));
  EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, thing->Put(L"Text", 1, text.Get(), 0));
  EXPECT_HRESULT(WBEM_E_INVALID_PARAMETER, thing->Put(L"Text", 0, nullptr, 0));
  EXPECT_EQ(kNull, TextOf(thing.Get(), L"Text"));
  EXPECT_HRESULT(S_OK, thing->Put(L"Text", 0, text.Get(), CIM_STRING));
  EXPECT_EQ(L"x", TextOf(thing.Get(), L"text"));
}

TEST_F(ClassObjectTest, NullAndEmptyTakeAValueAwayAndDeleteBringsTheInitialOneBack) {
  const ComPtr<IWbemClassObject> thing = MakeInstance(Defined(L"Thing"));
  for (const VARTYPE type : {VT_NULL, VT_EMPTY}) {
    ASSERT_HRESULT(S_OK, PutNumber(thing.Get(), L"Mode", 9));
    qvrn::Variant nothing;
    nothing.Get()->vt = type;
    EXPECT_HRESULT(S_OK, thing->Put(L"Mode", 0, nothing.Get(), 0));
    EXPECT_EQ(kNull, TextOf(thing.Get(), L"Mode"));
  }
  EXPECT_HRESULT(WBEM_S_RESET_TO_DEFAULT, thing->Delete(L"Mode"));
  EXPECT_EQ(7, NumberOf(thing.Get(), L"Mode"));
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, thing->Delete(L"Nothing"));
}

std::wstring RelativePath(const wchar_t* id, LONG number) {
  const ComPtr<IWbemClassObject> thing = MakeInstance(Defined(L"Thing"));
  if (id != nullptr) PutText(thing.Get(), L"Id", id);
  PutNumber(thing.Get(), L"Number", number);
  return TextOf(thing.Get(), L"__RELPATH");
}

TEST_F(ClassObjectTest, PathsQuoteTextsAndNeedEveryKey) {
  EXPECT_EQ(LR"(Thing.Id="a.b:c",Number=3)", RelativePath(L"a.b:c", 3));
  EXPECT_EQ(LR"(Thing.Id="\"q\" \\ '",Number=4294967295)", RelativePath(LR"("q" \ ')", -1));
  EXPECT_EQ(LR"(Thing.Id="",Number=0)", RelativePath(L"", 0));
  EXPECT_EQ(kNull, RelativePath(nullptr, 3));
  EXPECT_EQ(kNull, TextOf(MakeInstance(Defined(L"Plain")).Get(), L"__PATH"));
  EXPECT_EQ(L"Only=@", TextOf(MakeInstance(Defined(L"Only")).Get(), L"__RELPATH"));
  EXPECT_EQ(L"Thing", TextOf(MakeClassObject(Defined(L"Thing")).Get(), L"__RELPATH"));
}

TEST_F(ClassObjectTest, SystemPropertiesTellWhatTheObjectIs) {
  const ComPtr<IWbemClassObject> thing = MakeInstance(Defined(L"Thing"));
  PutText(thing.Get(), L"Id", L"1");
  PutNumber(thing.Get(), L"Number", 2);
  wchar_t computer[MAX_PATH] = {};
  DWORD length = MAX_PATH;
  ASSERT_TRUE(::GetComputerNameW(computer, &length));
  const std::wstring path = std::wstring(L"\\\\") + computer + LR"(\root\cimv2:Thing.Id="1",Number=2)";
  EXPECT_EQ(path, TextOf(thing.Get(), L"__PATH"));
  EXPECT_EQ(L"Thing", TextOf(thing.Get(), L"__Class"));
  EXPECT_EQ(L"Parent", TextOf(thing.Get(), L"__SUPERCLASS"));
  EXPECT_EQ(L"Parent", TextOf(thing.Get(), L"__DYNASTY"));
  EXPECT_EQ(kNull, TextOf(MakeInstance(Defined(L"Plain")).Get(), L"__SUPERCLASS"));
  EXPECT_EQ(WBEM_GENUS_INSTANCE, NumberOf(thing.Get(), L"__GENUS"));
  EXPECT_EQ(WBEM_GENUS_CLASS, NumberOf(MakeClassObject(Defined(L"Thing")).Get(), L"__GENUS"));
  EXPECT_EQ(16, NumberOf(thing.Get(), L"__PROPERTY_COUNT"));
  LONG flavor = 0;
  EXPECT_HRESULT(S_OK, thing->Get(L"__PATH", 0, nullptr, nullptr, &flavor));
  EXPECT_EQ(WBEM_FLAVOR_ORIGIN_SYSTEM, flavor);
  EXPECT_HRESULT(S_OK, thing->InheritsFrom(L"PARENT"));
  EXPECT_HRESULT(WBEM_S_FALSE, thing->InheritsFrom(L"Plain"));
}

TEST_F(ClassObjectTest, EnumerationEndsWithNoMoreData) {
  const ComPtr<IWbemClassObject> plain = MakeInstance(Defined(L"Plain"));
  PutText(plain.Get(), L"Text", L"x");
  qvrn::Bstr name;
  EXPECT_HRESULT(WBEM_E_UNEXPECTED, plain->Next(0, name.Put(), nullptr, nullptr, nullptr));
  ASSERT_HRESULT(S_OK, plain->BeginEnumeration(WBEM_FLAG_NONSYSTEM_ONLY));
  qvrn::Variant value;
  CIMTYPE type = 0;
  ASSERT_HRESULT(S_OK, plain->Next(0, name.Put(), value.Put(), &type, nullptr));
  EXPECT_STREQ(L"Text", name.Get());
  EXPECT_STREQ(L"x", value.Text());
  EXPECT_EQ(CIM_STRING, type);
  EXPECT_HRESULT(WBEM_S_NO_MORE_DATA, plain->Next(0, name.Put(), nullptr, nullptr, nullptr));
  EXPECT_EQ(nullptr, name.Get());
  EXPECT_HRESULT(S_OK, plain->EndEnumeration());
  EXPECT_HRESULT(WBEM_E_UNEXPECTED, plain->Next(0, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(ClassObjectTest, MethodsBelongToTheClass) {
  const ComPtr<IWbemClassObject> thing = MakeClassObject(Defined(L"Thing"));
  ComPtr<IWbemClassObject> in;
  ComPtr<IWbemClassObject> out;
  ASSERT_HRESULT(S_OK, thing->GetMethod(L"save", 0, &in, &out));
  EXPECT_EQ(L"__PARAMETERS", TextOf(in.Get(), L"__CLASS"));
  EXPECT_EQ(Names{L"sFile"}, NamesOf(in.Get(), WBEM_FLAG_NONSYSTEM_ONLY));
  EXPECT_EQ((Names{L"sResult", L"ReturnValue"}), NamesOf(out.Get(), WBEM_FLAG_NONSYSTEM_ONLY));
  ComPtr<IWbemClassObject> arguments;
  ASSERT_HRESULT(S_OK, in->SpawnInstance(0, &arguments));
  EXPECT_HRESULT(S_OK, PutText(arguments.Get(), L"sFile", L"a.xml"));

  ComPtr<IWbemQualifierSet> set;
  ASSERT_HRESULT(S_OK, thing->GetMethodQualifierSet(L"Save", &set));
  EXPECT_HRESULT(S_OK, set->Get(L"static", 0, nullptr, nullptr));
  EXPECT_HRESULT(WBEM_E_NOT_FOUND, thing->GetMethod(L"Load", 0, &in, &out));
  EXPECT_EQ(nullptr, in.Get());

  Names names;
  ASSERT_HRESULT(S_OK, thing->BeginMethodEnumeration(0));
  for (qvrn::Bstr name; thing->NextMethod(0, name.Put(), &in, nullptr) == S_OK;) names.emplace_back(name.Get());
  EXPECT_EQ((Names{L"Save", L"Reset"}), names);
  EXPECT_EQ(nullptr, in.Get());

  const ComPtr<IWbemClassObject> instance = MakeInstance(Defined(L"Thing"));
  EXPECT_HRESULT(WBEM_E_ILLEGAL_OPERATION, instance->GetMethod(L"Save", 0, &in, &out));
  EXPECT_HRESULT(WBEM_E_ILLEGAL_OPERATION, instance->BeginMethodEnumeration(0));
}

TEST_F(ClassObjectTest, CopiesAreIndependent) {
  const ComPtr<IWbemClassObject> thing = MakeClassObject(Defined(L"Thing"));
  PutNumber(thing.Get(), L"Mode", 8);
  ComPtr<IWbemClassObject> instance;
  ComPtr<IWbemClassObject> copy;
  ASSERT_HRESULT(S_OK, thing->SpawnInstance(0, &instance));
  ASSERT_HRESULT(S_OK, instance->Clone(&copy));
  EXPECT_HRESULT(WBEM_S_NO_ERROR, instance->CompareTo(0, copy.Get()));
  PutNumber(copy.Get(), L"Mode", 9);
  EXPECT_HRESULT(WBEM_S_DIFFERENT, instance->CompareTo(0, copy.Get()));
  EXPECT_EQ(8, NumberOf(instance.Get(), L"Mode"));
  EXPECT_EQ(7, NumberOf(MakeInstance(Defined(L"Thing")).Get(), L"Mode"));
  EXPECT_HRESULT(WBEM_E_INVALID_OPERATION, instance->SpawnInstance(0, &copy));
  EXPECT_EQ(nullptr, copy.Get());
}

TEST_F(ClassObjectTest, ProjectionsShowOnlyWhatIsNamed) {
  const ComPtr<IWbemClassObject> thing = MakeInstance(Defined(L"Thing"));
  PutText(thing.Get(), L"Id", L"1");
  PutNumber(thing.Get(), L"Number", 2);
  const struct {
    Names names;
    Names shown;
    const wchar_t* path;
  } cases[] = {
      {{L"mode"}, {L"Mode"}, kNull},
      {{L"Number", L"ID"}, {L"Id", L"Number"}, LR"(Thing.Id="1",Number=2)"},
      {{L"Mode", L"__PATH"}, {L"Mode"}, LR"(Thing.Id="1",Number=2)"},
  };
  for (const auto& row : cases) {
    const ComPtr<IWbemClassObject> part = Project(thing.Get(), row.names);
    EXPECT_EQ(row.shown, NamesOf(part.Get(), WBEM_FLAG_NONSYSTEM_ONLY));
    EXPECT_EQ(row.path, TextOf(part.Get(), L"__RELPATH"));
    EXPECT_HRESULT(WBEM_E_NOT_FOUND, part->Get(L"Text", 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(static_cast<LONG>(row.shown.size()), NumberOf(part.Get(), L"__PROPERTY_COUNT"));
    EXPECT_EQ(Defined(L"Thing"), DefinitionOf(part.Get()));
  }
  EXPECT_EQ(16u, NamesOf(Project(thing.Get(), {}).Get(), WBEM_FLAG_NONSYSTEM_ONLY).size());
  EXPECT_EQ(nullptr, DefinitionOf(nullptr));
}

}  // namespace
}  // namespace lab
