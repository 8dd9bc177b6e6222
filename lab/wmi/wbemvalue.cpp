#include "lab/wmi/wbemvalue.h"

#include <new>
#include <utility>

#include "platform/comtext.h"

namespace lab {
namespace {

struct ToVariant {
  VARIANT& variant;

  void operator()(std::monostate) const { variant.vt = VT_NULL; }
  void operator()(bool value) const {
    variant.vt = VT_BOOL;
    variant.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
  }
  void operator()(std::int64_t value) const {
    variant.vt = VT_I4;
    variant.lVal = static_cast<LONG>(value);
  }
  void operator()(const std::wstring& value) const {
    variant.bstrVal = qvrn::Bstr(value.c_str()).Release();
    variant.vt = VT_BSTR;
  }
  void operator()(const std::vector<std::wstring>& value) const {
    variant.parray = ::SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(value.size()));
    if (variant.parray == nullptr) throw std::bad_alloc();
    variant.vt = VT_ARRAY | VT_BSTR;
    for (LONG i = 0; i < static_cast<LONG>(value.size()); ++i) {
      const qvrn::Bstr text(value[static_cast<std::size_t>(i)].c_str());
      if (FAILED(::SafeArrayPutElement(variant.parray, &i, text.Get()))) throw std::bad_alloc();
    }
  }
};

VARTYPE VariantTypeOf(ValueKind kind) {
  if (kind == ValueKind::kFlag) return VT_BOOL;
  if (kind == ValueKind::kTexts) return VT_ARRAY | VT_BSTR;
  return static_cast<VARTYPE>(kind == ValueKind::kNumber ? VT_I4 : VT_BSTR);
}

}  // namespace

void StoreValue(const Value& value, VARIANT& variant) { std::visit(ToVariant{variant}, value); }

HRESULT ConvertVariant(VARIANT& given, const CimType& type, VARIANT& stored) {
  const bool isNull = given.vt == VT_NULL || given.vt == VT_EMPTY;
  const bool widens = type.kind == ValueKind::kNumber && (given.vt == VT_I2 || given.vt == VT_UI1);
  if (!isNull && !widens && given.vt != VariantTypeOf(type.kind)) return WBEM_E_TYPE_MISMATCH;
  qvrn::Variant converted;
  const HRESULT hr =
      widens ? ::VariantChangeType(converted.Get(), &given, 0, VT_I4) : ::VariantCopy(converted.Get(), &given);
  if (FAILED(hr)) return hr;
  const bool wraps = type.type == CIM_UINT32 && given.vt == VT_I4;
  const LONG number = converted.IsInteger() ? converted.Integer() : 0;
  if (!wraps && converted.IsInteger() && (number < type.minimum || number > type.maximum)) return WBEM_E_TYPE_MISMATCH;
  if (isNull) converted.Get()->vt = VT_NULL;
  stored = std::exchange(*converted.Get(), VARIANT{});
  return S_OK;
}

}  // namespace lab
