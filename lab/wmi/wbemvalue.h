// Values of properties and qualifiers as VARIANTs.
#pragma once

#include "lab/schema/schema.h"
#include "platform/wmi.h"

namespace lab {

/// Fills `variant`, which is empty: VT_NULL, VT_BOOL, VT_I4 (the upper half of uint32 as negative numbers), VT_BSTR, or
/// an array of texts.
void StoreValue(const Value& value, VARIANT& variant);

/// Copies `given` into `stored`, which is empty, if a property of `type` takes it: NULL and empty become VT_NULL,
/// smaller integers widen as long as their value is in range. Else WBEM_E_TYPE_MISMATCH.
HRESULT ConvertVariant(VARIANT& given, const CimType& type, VARIANT& stored);

}  // namespace lab
