// The classes of the namespace root\cimv2.
#pragma once

#include <memory>
#include <string_view>

#include "lab/schema/schema.h"

namespace lab {

/// The namespace's schema: platform.mof of the lab and qvrnwmiprovider.mof, both from the folder of the module that
/// this code is linked into, read once per process. Throws MofError.
const Schema& NamespaceSchema();

/// The class as requests see it, overrides included; null for an unknown one. Throws MofError.
std::shared_ptr<const ClassDefinition> FindClass(std::wstring_view className);

/// Replaces a class of the schema for this process (a lax variant, for tests); null brings all originals back.
void OverrideClass(std::shared_ptr<const ClassDefinition> definition);

}  // namespace lab
