#include "lab/wmi/wbemvalue.h"

#include <charconv>
#include <new>

#include "lab/schema/cimtypes.h"
#include "lab/schema/moflexer.h"
#include "platform/wmi.h"

namespace lab {
namespace {

// The compiler's declarations of the VARIANT functions lack a const.
VARIANT* Source(const VARIANT& variant) { return const_cast<VARIANT*>(&variant); }

void StoreText(const std::wstring& text, VARIANT& variant) {
  variant.bstrVal = qvrn::Bstr(text.c_str()).Release();
  variant.vt = VT_BSTR;
}

void StoreInteger(std::int64_t number, VARTYPE type, VARIANT& variant) {
  if (type == VT_BSTR) return StoreText(std::to_wstring(number), variant);
  variant.vt = type;
  switch (type) {
    case VT_UI1:
      variant.bVal = static_cast<BYTE>(number);
      break;
    case VT_I2:
      variant.iVal = static_cast<SHORT>(number);
      break;
    case VT_R4:
      variant.fltVal = static_cast<FLOAT>(number);
      break;
    case VT_R8:
      variant.dblVal = static_cast<DOUBLE>(number);
      break;
    default:
      variant.vt = VT_I4;
      variant.lVal = static_cast<LONG>(number);
  }
}

void StoreReal(double number, VARTYPE type, VARIANT& variant) {
  variant.vt = type;
  if (type == VT_R4) {
    variant.fltVal = static_cast<FLOAT>(number);
  } else {
    variant.dblVal = number;
  }
}

void StoreBoolean(bool value, VARIANT& variant) {
  variant.vt = VT_BOOL;
  variant.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
}

SAFEARRAY* StoreArray(VARTYPE element, std::size_t count, VARIANT& variant) {
  variant.parray = ::SafeArrayCreateVector(element, 0, static_cast<ULONG>(count));
  if (variant.parray == nullptr) throw std::bad_alloc();
  variant.vt = static_cast<VARTYPE>(VT_ARRAY | element);
  return variant.parray;
}

// All members of a VARIANT's value share one address, except that an array of texts wants the text itself.
void PutElement(SAFEARRAY* array, LONG index, VARIANT& element) {
  void* const data = element.vt == VT_BSTR ? static_cast<void*>(element.bstrVal) : &element.llVal;
  if (element.vt != VT_NULL && FAILED(::SafeArrayPutElement(array, &index, data))) throw std::bad_alloc();
}

template <typename Literal>
void StoreLiteral(const Literal& literal, VARTYPE type, VARIANT& variant) {
  if (const auto* number = std::get_if<std::int64_t>(&literal)) return StoreInteger(*number, type, variant);
  if (const auto* real = std::get_if<double>(&literal)) return StoreReal(*real, type, variant);
  if (const auto* truth = std::get_if<bool>(&literal)) return StoreBoolean(*truth, variant);
  if (const auto* text = std::get_if<std::wstring>(&literal)) return StoreText(*text, variant);
  variant.vt = VT_NULL;
}

void StoreAs(const Value& value, VARTYPE type, VARIANT& variant) {
  const auto* list = std::get_if<std::vector<Scalar>>(&value);
  if (list == nullptr) return StoreLiteral(value, type, variant);
  SAFEARRAY* const array = StoreArray(type, list->size(), variant);
  LONG index = 0;
  for (const Scalar& scalar : *list) {
    qvrn::Variant element;
    StoreLiteral(scalar, type, *element.Get());
    PutElement(array, index++, *element.Get());
  }
}

template <typename Literal>
VARTYPE QualifierType(const Literal& literal) {
  if (std::holds_alternative<bool>(literal)) return VT_BOOL;
  if (std::holds_alternative<std::int64_t>(literal)) return VT_I4;
  return std::holds_alternative<double>(literal) ? VT_R8 : VT_BSTR;
}

bool IsIntegerVariant(VARTYPE type) {
  switch (type) {
    case VT_I1:
    case VT_UI1:
    case VT_I2:
    case VT_UI2:
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_I8:
      return true;
    default:
      return false;
  }
}

template <typename Number>
bool IsWholeNumber(const std::string& text) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [parsed, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && parsed == end;
}

bool TakesText(const std::wstring& text, CIMTYPE type) {
  switch (type) {
    case CIM_DATETIME:
      return IsDatetime(text);
    case CIM_SINT64:
      return IsWholeNumber<std::int64_t>(NarrowText(text));
    case CIM_UINT64:
      return IsWholeNumber<std::uint64_t>(NarrowText(text));
    default:
      return true;
  }
}

HRESULT StoreGivenInteger(const VARIANT& given, const CimType& type, VARIANT& stored) {
  qvrn::Variant wide;
  if (FAILED(::VariantChangeType(wide.Get(), Source(given), 0, VT_I8))) return WBEM_E_TYPE_MISMATCH;
  const std::int64_t number = wide.Get()->llVal;
  // A VT_I4 below 0 is how the upper half of uint32 travels.
  const bool wraps = type.type == CIM_UINT32 && given.vt == VT_I4;
  if (!wraps && (number < type.minimum || number > type.maximum)) return WBEM_E_TYPE_MISMATCH;
  StoreInteger(number, type.variant, stored);
  return S_OK;
}

bool IsReal(VARTYPE type) { return type == VT_R4 || type == VT_R8; }

HRESULT StoreGiven(const VARIANT& given, const CimType& type, VARIANT& stored) {
  if (type.IsInteger() && IsIntegerVariant(given.vt)) return StoreGivenInteger(given, type, stored);
  if (IsReal(type.variant) && (IsReal(given.vt) || IsIntegerVariant(given.vt))) {
    return ::VariantChangeType(&stored, Source(given), 0, type.variant);
  }
  if (given.vt != type.variant) return WBEM_E_TYPE_MISMATCH;
  if (given.vt == VT_BSTR && !TakesText(given.bstrVal == nullptr ? L"" : given.bstrVal, type.type)) {
    return WBEM_E_TYPE_MISMATCH;
  }
  return StoreCopy(given, stored);
}

std::wstring ScalarText(const VARIANT& value, CIMTYPE type) {
  if (value.vt == VT_NULL || value.vt == VT_EMPTY) return L"NULL";
  if (value.vt == VT_BOOL) return value.boolVal != VARIANT_FALSE ? L"TRUE" : L"FALSE";
  if (value.vt == VT_I4 && type == CIM_UINT32) return std::to_wstring(static_cast<ULONG>(value.lVal));
  if (value.vt == VT_BSTR) {
    const std::wstring text = value.bstrVal == nullptr ? L"" : value.bstrVal;
    return type == CIM_SINT64 || type == CIM_UINT64 ? text : Quoted(text);
  }
  qvrn::Variant text;
  const HRESULT hr =
      ::VariantChangeTypeEx(text.Get(), Source(value), LOCALE_INVARIANT, VARIANT_NOUSEROVERRIDE, VT_BSTR);
  return SUCCEEDED(hr) && text.IsText() ? text.Text() : L"?";
}

std::wstring ElementText(SAFEARRAY* array, LONG index, VARTYPE elementType, CIMTYPE type) {
  qvrn::Variant element;
  VARIANT* const variant = element.Get();
  const bool holdsVariants = elementType == VT_VARIANT;
  if (FAILED(::SafeArrayGetElement(array, &index, holdsVariants ? static_cast<void*>(variant) : &variant->llVal))) {
    return L"?";
  }
  if (!holdsVariants) variant->vt = elementType;
  return ScalarText(*variant, type);
}

}  // namespace

HRESULT StoreCopy(const VARIANT& given, VARIANT& stored) { return ::VariantCopy(&stored, Source(given)); }

void StoreValue(const Value& value, CIMTYPE type, VARIANT& variant) {
  StoreAs(value, CimTypeOf(type).variant, variant);
}

void StoreQualifier(const Value& value, VARIANT& variant) {
  const auto* list = std::get_if<std::vector<Scalar>>(&value);
  const bool hasElements = list != nullptr && !list->empty();
  StoreAs(value, hasElements ? QualifierType(list->front()) : QualifierType(value), variant);
}

HRESULT StoreVariant(const VARIANT& given, CIMTYPE type, VARIANT& stored) {
  if (given.vt == VT_NULL || given.vt == VT_EMPTY) {
    stored.vt = VT_NULL;
    return S_OK;
  }
  const CimType& known = CimTypeOf(type);
  if ((type & CIM_FLAG_ARRAY) == 0) return StoreGiven(given, known, stored);
  if (given.vt != (VT_ARRAY | known.variant)) return WBEM_E_TYPE_MISMATCH;
  return StoreCopy(given, stored);
}

void StoreTexts(const std::vector<std::wstring>& texts, VARIANT& variant) {
  SAFEARRAY* const array = StoreArray(VT_BSTR, texts.size(), variant);
  LONG index = 0;
  for (const std::wstring& text : texts) {
    qvrn::Variant element(text.c_str());
    PutElement(array, index++, *element.Get());
  }
}

std::wstring MofText(const VARIANT& value, CIMTYPE type) {
  if ((value.vt & VT_ARRAY) == 0) return ScalarText(value, type);
  LONG last = -1;
  ::SafeArrayGetUBound(value.parray, 1, &last);
  LONG index = 0;
  ::SafeArrayGetLBound(value.parray, 1, &index);
  std::wstring text;
  for (; index <= last; ++index) {
    text += (text.empty() ? L"" : L", ") +
            ElementText(value.parray, index, static_cast<VARTYPE>(value.vt & VT_TYPEMASK), type & ~CIM_FLAG_ARRAY);
  }
  return L"{" + text + L"}";
}

}  // namespace lab
