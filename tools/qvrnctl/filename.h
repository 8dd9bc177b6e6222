// Names of files as the provider can open them.
#pragma once

#include <string>

namespace qvrn {

/// The absolute form of a file's name, as the provider does not run in the client's folder; for another computer, whose
/// folders nobody knows here, it has to be absolute already. Throws ClientError (wrong usage) on a name that the
/// provider would not open as it is written.
std::wstring FullFileName(const std::wstring& name, bool onOtherComputer);

}  // namespace qvrn
