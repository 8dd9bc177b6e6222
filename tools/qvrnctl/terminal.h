// What only a person at a terminal sees: questions and progress.
#pragma once

#include <functional>
#include <string>

namespace qvrn {

/// Whether a person can be asked: standard input is a terminal.
bool CanAsk();
/// Asks a question that is answered with yes or no; anything but yes is no.
bool Confirm(const std::wstring& question);

/// Runs `action`; meanwhile, where standard error is a terminal, shows what `describe` gives, again and again in one
/// line. What `describe` throws leaves the line as it is.
void RunWithProgress(const std::function<void()>& action, const std::function<std::wstring()>& describe);

}  // namespace qvrn
