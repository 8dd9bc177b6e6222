// The import table of a loaded module, and what the lab replaces there in a provider.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

namespace lab {

/// Replaces a function that the module imports by name, for this process; other modules keep theirs. Returns what stood
/// there before, which a second call may put back; null when the module does not import it.
void* PatchImport(HMODULE module, std::string_view function, void* replacement);

/// Names of the functions that the module imports by name.
std::vector<std::string> ImportedFunctions(HMODULE module);

/// Replaces four imports of a provider's module, so that the product runs unchanged where the platform would stop it or
/// drown a client's output:
///   SetupDiSetClassInstallParamsW  accepts the parameters, which the host refuses although it runs class installers
///   vprintf                        into the journal
///   _assert                        into the journal and to standard error, then returns, as after a dismissed report
///   MessageBoxW                    into the journal; IDOK
/// An import that the module does not have is left out. Patching a module twice does no harm.
void PatchProviderImports(HMODULE module);

}  // namespace lab
