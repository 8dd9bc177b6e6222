#pragma once

#include <windows.h>

namespace lab {

/// Replaces four imports of a provider's module, so that the product runs unchanged where the platform would stop it or
/// drown a client's output:
///   SetupDiSetClassInstallParamsW  accepts the parameters, which the host refuses although it runs class installers
///   vprintf                        into the journal
///   _assert                        into the journal and to standard error, then returns, as after a dismissed report
///   MessageBoxW                    into the journal; IDOK
/// An import that the module does not have is left out. Patching a module twice does no harm.
void PatchProviderImports(HMODULE module);

}  // namespace lab
