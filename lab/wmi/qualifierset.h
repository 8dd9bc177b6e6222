// IWbemQualifierSet over the qualifiers of a declaration.
#pragma once

#include <wrl/client.h>

#include <vector>

#include "lab/schema/schema.h"
#include "platform/wmi.h"

namespace lab {

/// Holds a copy of the qualifiers. Everything but Get answers WBEM_E_NOT_SUPPORTED.
Microsoft::WRL::ComPtr<IWbemQualifierSet> MakeQualifierSet(std::vector<Qualifier> qualifiers);

}  // namespace lab
