// The program from its command line to its exit status.
#pragma once

#include <span>
#include <string>

namespace qvrn {

/// Runs what `words` (after the program's name) ask for, and reports what goes wrong on standard error.
int RunClient(std::span<const std::wstring> words);

}  // namespace qvrn
