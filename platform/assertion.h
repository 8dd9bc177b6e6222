// Assertions that stay active in the shipped build. Each reports a literal expression text and a literal source name
// that people search logs for; neither follows from how the code happens to be written.
#pragma once

namespace qvrn {

/// Receives a failed assertion. May return: the code after every check goes on as if the check had passed.
using AssertionReporter = void (*)(const char* expression, const char* file, unsigned line);

/// Replaces the reporter of the process; the default is the runtime's _assert. Gives the one that it replaced.
AssertionReporter SetAssertionReporter(AssertionReporter reporter) noexcept;

/// Reports a failed assertion to the reporter in force.
void ReportAssertion(const char* expression, const char* file, unsigned line) noexcept;

/// What a failed HRESULT is reported as.
inline constexpr char kHresultExpression[] = "(((HRESULT)(hr)) >= 0)";

}  // namespace qvrn

/// Reports `text` from source `file` (without extension) unless `condition` holds.
#define QVRN_CHECK(condition, text, file) \
  ((condition) ? static_cast<void>(0) : ::qvrn::ReportAssertion((text), (file), __LINE__))

/// Reports the standard text for a failed HRESULT.
#define QVRN_CHECK_HRESULT(hr, file) QVRN_CHECK((hr) >= 0, ::qvrn::kHresultExpression, (file))
