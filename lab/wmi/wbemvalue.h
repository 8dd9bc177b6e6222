// Values of properties and qualifiers as VARIANTs.
#pragma once

#include <string>
#include <vector>

#include "lab/schema/schema.h"
#include "platform/comtext.h"

namespace lab {

/// Fills `variant`, which is empty, with a literal that fits `type`, carried as WMI carries that type.
void StoreValue(const Value& value, CIMTYPE type, VARIANT& variant);

/// The same for a qualifier, whose type follows from its value: VT_BOOL, VT_I4, VT_R8, VT_BSTR or an array of one.
void StoreQualifier(const Value& value, VARIANT& variant);

/// Copies `given` into `stored`, which is empty, if a property of `type` takes it: NULL and empty become VT_NULL,
/// integers widen or narrow as long as their value is in range. Else WBEM_E_TYPE_MISMATCH.
HRESULT StoreVariant(const VARIANT& given, CIMTYPE type, VARIANT& stored);

/// VariantCopy.
HRESULT StoreCopy(const VARIANT& given, VARIANT& stored);

/// Fills `variant`, which is empty, with an array of texts.
void StoreTexts(const std::vector<std::wstring>& texts, VARIANT& variant);

/// The value as a MOF literal.
std::wstring MofText(const VARIANT& value, CIMTYPE type);

}  // namespace lab
