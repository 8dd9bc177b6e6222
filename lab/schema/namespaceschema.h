// What the namespace's schema says of its providers.
#pragma once

#include "lab/wmi/wbemhost.h"

namespace lab {

enum class Capability { kGet, kPut, kDelete, kEnumerate, kMethods };

/// Whether `schema` registers the provider named `provider` for a kind of request. Absent settings mean what they mean
/// to the service: enumeration is supported, the rest is not.
bool IsCapable(const Schema& schema, const std::wstring& provider, Capability capability);

}  // namespace lab
