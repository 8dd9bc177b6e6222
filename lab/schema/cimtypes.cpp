#include "lab/schema/cimtypes.h"

#include <algorithm>
#include <limits>

#include "lab/schema/textcompare.h"

namespace lab {
namespace {

constexpr std::int64_t kMaximum64 = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMinimum64 = std::numeric_limits<std::int64_t>::min();

// The upper half of uint64 has no literal here.
constexpr CimType kTypes[] = {
    {L"boolean", CIM_BOOLEAN, VT_BOOL, 0, 0},
    {L"sint8", CIM_SINT8, VT_I2, -0x80, 0x7F},
    {L"uint8", CIM_UINT8, VT_UI1, 0, 0xFF},
    {L"sint16", CIM_SINT16, VT_I2, -0x8000, 0x7FFF},
    {L"uint16", CIM_UINT16, VT_I4, 0, 0xFFFF},
    {L"char16", CIM_CHAR16, VT_I2, 0, 0xFFFF},
    {L"sint32", CIM_SINT32, VT_I4, -0x80000000LL, 0x7FFFFFFF},
    {L"uint32", CIM_UINT32, VT_I4, 0, 0xFFFFFFFF},
    {L"sint64", CIM_SINT64, VT_BSTR, kMinimum64, kMaximum64},
    {L"uint64", CIM_UINT64, VT_BSTR, 0, kMaximum64},
    {L"real32", CIM_REAL32, VT_R4, 0, 0},
    {L"real64", CIM_REAL64, VT_R8, 0, 0},
    {L"string", CIM_STRING, VT_BSTR, 0, 0},
    {L"datetime", CIM_DATETIME, VT_BSTR, 0, 0},
    {L"ref", CIM_REFERENCE, VT_BSTR, 0, 0},
};

// Digits or asterisks, except where a character stands for itself and at "s", the sign.
constexpr std::wstring_view kDatetimeForm = L"dddddddddddddd.ddddddsddd";

bool FitsForm(wchar_t character, wchar_t form) {
  if (form == L'd') return (character >= L'0' && character <= L'9') || character == L'*';
  if (form == L's') return character == L'+' || character == L'-' || character == L':';
  return character == form;
}

bool FitsScalar(const Scalar& scalar, const CimType& type) {
  if (std::holds_alternative<std::monostate>(scalar)) return true;
  if (const auto* number = std::get_if<std::int64_t>(&scalar)) {
    if (type.variant == VT_R4 || type.variant == VT_R8) return true;
    return type.IsInteger() && *number >= type.minimum && *number <= type.maximum;
  }
  if (std::holds_alternative<double>(scalar)) return type.variant == VT_R4 || type.variant == VT_R8;
  if (std::holds_alternative<bool>(scalar)) return type.variant == VT_BOOL;
  if (type.type == CIM_DATETIME) return IsDatetime(std::get<std::wstring>(scalar));
  return type.variant == VT_BSTR && !type.IsInteger();
}

Scalar ToScalar(const Value& value) {
  return std::visit(
      [](const auto& held) -> Scalar {
        if constexpr (std::is_constructible_v<Scalar, decltype(held)>) return held;
        return {};
      },
      value);
}

}  // namespace

const CimType* FindCimType(std::wstring_view name) {
  const auto* const found = std::find_if(std::begin(kTypes), std::end(kTypes), [&](const CimType& type) {
    return type.type != CIM_REFERENCE && SameText(type.name, name);
  });
  return found == std::end(kTypes) ? nullptr : found;
}

const CimType& CimTypeOf(CIMTYPE type) {
  const CIMTYPE element = type & ~CIM_FLAG_ARRAY;
  const auto* const found =
      std::find_if(std::begin(kTypes), std::end(kTypes), [&](const CimType& known) { return known.type == element; });
  if (found == std::end(kTypes)) throw std::out_of_range("CIM type without a MOF name");
  return *found;
}

bool Fits(const Value& value, CIMTYPE type) {
  if (std::holds_alternative<std::monostate>(value)) return true;
  const CimType& element = CimTypeOf(type);
  const auto* list = std::get_if<std::vector<Scalar>>(&value);
  const bool isArray = (type & CIM_FLAG_ARRAY) != 0;
  if ((list != nullptr) != isArray) return false;
  if (list == nullptr) return FitsScalar(ToScalar(value), element);
  return std::all_of(list->begin(), list->end(), [&](const Scalar& scalar) { return FitsScalar(scalar, element); });
}

bool IsDatetime(std::wstring_view text) {
  return std::equal(text.begin(), text.end(), kDatetimeForm.begin(), kDatetimeForm.end(), FitsForm);
}

std::wstring Quoted(std::wstring_view text) {
  std::wstring quoted = L"\"";
  for (const wchar_t character : text) {
    if (character == L'"' || character == L'\\') quoted += L'\\';
    quoted += character;
  }
  return quoted + L"\"";
}

}  // namespace lab
