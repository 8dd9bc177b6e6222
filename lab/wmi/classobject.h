// IWbemClassObject over a class definition.
#pragma once

#include <wrl/client.h>

#include <memory>
#include <string>
#include <vector>

#include "lab/schema/schema.h"

namespace lab {

// Reading one object from several threads is fine; Put, Delete and the enumerations belong to one thread at a time.
// An instance has no methods of its own: GetMethod and the method enumeration answer WBEM_E_ILLEGAL_OPERATION there.

/// The class object itself: SpawnInstance, GetMethod, names, qualifiers; values are the properties' initial ones.
Microsoft::WRL::ComPtr<IWbemClassObject> MakeClassObject(std::shared_ptr<const ClassDefinition> definition);

/// An instance with initial values.
Microsoft::WRL::ComPtr<IWbemClassObject> MakeInstance(std::shared_ptr<const ClassDefinition> definition);

/// An independent copy of an object of this file that shows only the named properties (all when `names` is empty). Null
/// for any other object. A copy without all its keys has no path, unless `names` has "__PATH" or "__RELPATH".
Microsoft::WRL::ComPtr<IWbemClassObject> Project(IWbemClassObject* object, const std::vector<std::wstring>& names);

/// The definition behind an object of this file; null for any other object.
std::shared_ptr<const ClassDefinition> DefinitionOf(IWbemClassObject* object);

/// How many objects of this file, and qualifier sets that they gave out, are alive in the process.
long LiveClassObjects();

}  // namespace lab
