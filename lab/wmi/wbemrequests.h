// What the namespace does for a client: finds the class, asks its provider or serves it from the lab itself.
// Texts are as clients give them, null included.
#pragma once

#include "lab/host/providerhost.h"

namespace lab {

/// A class by its name or an instance by its path.
Reply GetByPath(const wchar_t* path, LONG flags, IWbemContext* context);

/// All instances of a class.
Reply Enumerate(const wchar_t* className, LONG flags, IWbemContext* context);

/// A WQL query, filtered and projected here: providers only enumerate.
Reply ExecuteQuery(const wchar_t* language, const wchar_t* text, LONG flags, IWbemContext* context);

Reply Put(IWbemClassObject* instance, LONG flags, IWbemContext* context);

Reply DeleteByPath(const wchar_t* path, LONG flags, IWbemContext* context);

/// The reply holds the out-parameters when there were any.
Reply ExecuteMethod(const wchar_t* path, const wchar_t* method, LONG flags, IWbemContext* context,
                    IWbemClassObject* parameters);

}  // namespace lab
