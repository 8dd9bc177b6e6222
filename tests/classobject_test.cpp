#include "lab/wmi/classobject.h"

#include <gtest/gtest.h>

#include <string>

#include "lab/schema/mofreader.h"
#include "platform/comtext.h"
#include "tests/support/functiontest.h"

namespace lab {
namespace {

using Microsoft::WRL::ComPtr;
using tests::PropertyText;

std::shared_ptr<const ClassDefinition> Thing() {
  Schema read;
  const char text[] = R"mof(class Known {};
    class Thing { [key] string Id; [key] Known REF Other; sint32 Mode = 7; uint16 Half; uint32 Whole; boolean Flag; };
  )mof";
  ReadMof(text, "classes.mof", read);
  return read.Find(L"Thing");
}

TEST(ClassObject, PutTakesWhatTheTypeCanHold) {
  const long alive = LiveClassObjects();
  const struct {
    const wchar_t* property;
    VARTYPE given;
    LONG number;
    WBEMSTATUS expected;
    const wchar_t* stored;
  } rows[] = {
      {L"mode", VT_I4, -5, WBEM_NO_ERROR, L"-5"},
      {L"Mode", VT_I2, -5, WBEM_NO_ERROR, L"-5"},
      {L"Mode", VT_NULL, 0, WBEM_NO_ERROR, L"null"},
      {L"Mode", VT_BSTR, 5, WBEM_E_TYPE_MISMATCH, L"7"},
      {L"Half", VT_I4, 65535, WBEM_NO_ERROR, L"65535"},
      {L"Half", VT_I4, 65536, WBEM_E_TYPE_MISMATCH, L"null"},
      {L"Id", VT_I4, 5, WBEM_E_TYPE_MISMATCH, L"null"},
      {L"__CLASS", VT_BSTR, 1, WBEM_E_READ_ONLY, L"Thing"},
      {L"Nothing", VT_I4, 1, WBEM_E_NOT_FOUND, L"no such property"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const ComPtr<IWbemClassObject> thing = MakeInstance(Thing());
    qvrn::Variant value(row.number);
    if (row.given == VT_NULL) value.Put()->vt = VT_NULL;
    ASSERT_HRESULT(S_OK, ::VariantChangeType(value.Get(), value.Get(), 0, row.given));
    EXPECT_HRESULT(row.expected, thing->Put(row.property, 0, value.Get(), 0));
    EXPECT_EQ(PropertyText(thing.Get(), row.property), row.stored);
    EXPECT_HRESULT(WBEM_E_TYPE_MISMATCH, thing->Put(L"Half", 0, value.Get(), CIM_SINT32))
        << "a type that is not its own";
  }
  EXPECT_EQ(LiveClassObjects(), alive);
}

TEST(ClassObject, PathsQuoteTextsAndNeedEveryKey) {
  const ComPtr<IWbemClassObject> thing = MakeInstance(Thing());
  qvrn::Variant id(LR"("q" \ ')");
  qvrn::Variant other(L"Thing.Id=\"7\"");
  ASSERT_HRESULT(S_OK, thing->Put(L"Id", 0, id.Get(), CIM_STRING));
  EXPECT_EQ(PropertyText(thing.Get(), L"__RELPATH"), L"null");
  ASSERT_HRESULT(S_OK, thing->Put(L"Other", 0, other.Get(), 0));
  const std::wstring path = LR"(Thing.Id="\"q\" \\ '",Other="Thing.Id=\"7\"")";
  EXPECT_EQ(PropertyText(thing.Get(), L"__RELPATH"), path);
  EXPECT_TRUE(PropertyText(thing.Get(), L"__path").ends_with(L"\\root\\cimv2:" + path));
}

}  // namespace
}  // namespace lab
