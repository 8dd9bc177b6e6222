// IWbemClassObject over a class definition: what clients and providers use of it; the rest answers
// WBEM_E_NOT_SUPPORTED. Reading one object from several threads is fine; Put and the enumerations belong to one thread
// at a time.
#pragma once

#include <wrl/client.h>

#include <memory>

#include "lab/schema/schema.h"
#include "platform/wmi.h"

namespace lab {

/// The class object itself: SpawnInstance, methods, qualifiers; values are the properties' initial ones.
Microsoft::WRL::ComPtr<IWbemClassObject> MakeClassObject(std::shared_ptr<const ClassDefinition> definition);

/// An instance with initial values. Beside its properties it knows __CLASS, __RELPATH and __PATH; the paths are NULL
/// until every key has a value.
Microsoft::WRL::ComPtr<IWbemClassObject> MakeInstance(std::shared_ptr<const ClassDefinition> definition);

/// Whether Get knows a property of this name in objects of the class.
bool IsKnownProperty(const ClassDefinition& definition, std::wstring_view name);

/// How many objects of this file, and qualifier sets that they gave out, are alive in the process.
long LiveClassObjects();

}  // namespace lab
